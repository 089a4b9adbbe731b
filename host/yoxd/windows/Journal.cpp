#include "host/yoxd/Journal.h"

#include <windows.h>

#include <string>

#include "yox/base/Log.h"
#include "yox/base/Printable.h"

#include "host/yoxd/Text.h"
#include "host/yoxd/windows/EventLog.h"
#include "yoxd-events.h"

namespace yoxd {
namespace {

Journal::Priority least_priority = Journal::Priority::kNotice;
HANDLE event_log = nullptr;

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

WORD TypeOf(Journal::Priority priority) {
  switch (priority) {
    case Journal::Priority::kError:
      return EVENTLOG_ERROR_TYPE;
    case Journal::Priority::kWarning:
      return EVENTLOG_WARNING_TYPE;
    default:
      return EVENTLOG_INFORMATION_TYPE;
  }
}

}  // namespace

void UseEventLog(const std::wstring& source) {
  event_log = RegisterEventSourceW(nullptr, source.c_str());
}

void Journal::Begin(Priority least) {
  least_priority = least;
  // The library keeps its log files; the journal gets its warnings and errors too.
  YOX::Log::SetSink([](std::string_view log, yox::LogLevel level, std::string_view line) {
    Write(Of(level), log, line);
  });
}

void Journal::Write(Priority priority, std::string_view part, std::string_view message) {
  if (priority > least_priority) return;
  const std::string line = std::string(part) + ": " + yox::OneLine(message);
  if (event_log != nullptr) {
    const std::wstring wide = Wide(line);
    const wchar_t* text = wide.c_str();
    ReportEventW(event_log, TypeOf(priority), 0, YOXD_EVENT, nullptr, 1, 0, &text, nullptr);
    return;
  }
  const std::string whole = "yoxd: " + line + "\n";
  // One call, so that lines of several threads do not mix.
  DWORD written = 0;
  WriteFile(GetStdHandle(STD_ERROR_HANDLE), whole.data(), static_cast<DWORD>(whole.size()),
            &written, nullptr);
}

}  // namespace yoxd
