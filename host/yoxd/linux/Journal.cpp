#include "host/yoxd/Journal.h"

#include <sys/stat.h>
#include <unistd.h>
#define SD_JOURNAL_SUPPRESS_LOCATION
#include <systemd/sd-journal.h>

#include <cstdlib>
#include <string>

#include "yox/base/Log.h"
#include "yox/base/Printable.h"

namespace yoxd {
namespace {

Journal::Priority least_priority = Journal::Priority::kNotice;
bool to_journal = false;

// systemd names device and inode of the stream that it connected to the journal.
bool StandardErrorIsTheJournal() {
  const char* const stream = std::getenv("JOURNAL_STREAM");
  struct stat file {};
  return stream != nullptr && fstat(STDERR_FILENO, &file) == 0 &&
         std::to_string(file.st_dev) + ":" + std::to_string(file.st_ino) == stream;
}

Journal::Priority Of(yox::LogLevel level) {
  switch (level) {
    case yox::LogLevel::Error:
      return Journal::Priority::kError;
    case yox::LogLevel::Warning:
      return Journal::Priority::kWarning;
    case yox::LogLevel::Debug:
      break;
  }
  return Journal::Priority::kDebug;
}

}  // namespace

void Journal::Begin(Priority least) {
  least_priority = least;
  to_journal = StandardErrorIsTheJournal();
  // The library keeps its log files; the journal gets its warnings and errors too.
  YOX::Log::SetSink([](std::string_view log, yox::LogLevel level, std::string_view line) {
    Write(Of(level), log, line);
  });
}

void Journal::Write(Priority priority, std::string_view part, std::string_view message) {
  if (priority > least_priority) return;
  const std::string text = yox::OneLine(message);
  if (to_journal) {
    sd_journal_send("MESSAGE=%s", text.c_str(), "PRIORITY=%i", static_cast<int>(priority),
                    "YOX_PART=%s", std::string(part).c_str(), "SYSLOG_IDENTIFIER=yoxd", nullptr);
    return;
  }
  const std::string line = "yoxd: " + std::string(part) + ": " + text + "\n";
  // One call, so that lines of several threads do not mix. A closed stream is no reason to stop.
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, line.data(), line.size());
}

}  // namespace yoxd
