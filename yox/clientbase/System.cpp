#include "yox/clientbase/System.h"

#include <chrono>
#include <cstdio>

#include "yox/base/String.h"
#include "yox/platform/Platform.h"
#include "yox/platform/clock/Clock.h"
#include "yox/platform/users/Users.h"

namespace YOX {

WString System::GetTime() {
  using namespace std::chrono;
  const sys_seconds now{seconds{platform::Platform::Get().clock().Now()}};
  const sys_days day = floor<days>(now);
  const year_month_day date{day};
  const hh_mm_ss time{now - day};
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
                static_cast<int>(time.seconds().count()));
  return String::UTF8ToUTF16(text);
}

bool System::GetLoggedInUserSID(WString& sid) {
  sid = platform::Platform::Get().users().LoggedInUserSid();
  return !sid.empty();
}

}  // namespace YOX
