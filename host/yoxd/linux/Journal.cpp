#include "host/yoxd/Journal.h"

#include <sys/stat.h>
#include <unistd.h>
#define SD_JOURNAL_SUPPRESS_LOCATION
#include <systemd/sd-journal.h>

#include <cstdlib>
#include <string>

namespace yoxd {
namespace {

bool to_journal = false;

// systemd names device and inode of the stream that it connected to the journal.
bool StandardErrorIsTheJournal() {
  const char* const stream = std::getenv("JOURNAL_STREAM");
  struct stat file {};
  return stream != nullptr && fstat(STDERR_FILENO, &file) == 0 &&
         std::to_string(file.st_dev) + ":" + std::to_string(file.st_ino) == stream;
}

}  // namespace

void Journal::Open() { to_journal = StandardErrorIsTheJournal(); }

void Journal::WriteLine(Priority priority, const std::string& part, const std::string& text) {
  if (to_journal) {
    sd_journal_send("MESSAGE=%s", text.c_str(), "PRIORITY=%i", static_cast<int>(priority),
                    "YOX_PART=%s", part.c_str(), "SYSLOG_IDENTIFIER=yoxd", nullptr);
    return;
  }
  const std::string line = "yoxd: " + part + ": " + text + "\n";
  // One call, so that lines of several threads do not mix. A closed stream is no reason to stop.
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, line.data(), line.size());
}

}  // namespace yoxd
