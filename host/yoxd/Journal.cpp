#include "host/yoxd/Journal.h"

#include "yox/base/Log.h"
#include "yox/base/Printable.h"

namespace yoxd {
namespace {

Journal::Priority least_priority = Journal::Priority::kNotice;

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
  Open();
  // The library keeps its log files; the journal gets its warnings and errors too.
  YOX::Log::SetSink([](std::string_view log, yox::LogLevel level, std::string_view line) {
    Write(Of(level), log, line);
  });
}

void Journal::Write(Priority priority, std::string_view part, std::string_view message) {
  if (priority <= least_priority) WriteLine(priority, std::string(part), yox::OneLine(message));
}

}  // namespace yoxd
