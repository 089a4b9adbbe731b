#include "host/yoxd/Journal.h"

#include <windows.h>

#include <string>

#include "host/yoxd/Text.h"
#include "host/yoxd/windows/EventLog.h"
#include "yoxd-events.h"

namespace yoxd {
namespace {

HANDLE event_log = nullptr;

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

void Journal::Open() {}

void Journal::WriteLine(Priority priority, const std::string& part, const std::string& text) {
  const std::string line = part + ": " + text;
  if (event_log != nullptr) {
    const std::wstring wide = Wide(line);
    const wchar_t* string = wide.c_str();
    ReportEventW(event_log, TypeOf(priority), 0, YOXD_EVENT, nullptr, 1, 0, &string, nullptr);
    return;
  }
  const std::string whole = "yoxd: " + line + "\n";
  // One call, so that lines of several threads do not mix.
  DWORD written = 0;
  WriteFile(GetStdHandle(STD_ERROR_HANDLE), whole.data(), static_cast<DWORD>(whole.size()),
            &written, nullptr);
}

}  // namespace yoxd
