#include "yox/platform/waits/Waits.h"

#include <algorithm>
#include <array>

#include "yox/platform/Platform.h"
#include "yox/platform/clock/Clock.h"
#include "yox/platform/waits/Event.h"

namespace yox::platform {

WaitResult WaitForAny(std::span<const WaitHandle> handles, std::int64_t milliseconds) {
  if (handles.empty() || handles.size() > kMostWaitHandles ||
      std::ranges::any_of(handles, &WaitHandle::null)) {
    return {.error = kInvalidHandleError};
  }
  if (milliseconds > 0) {
    Clock& clock = Platform::Get().clock();
    if (clock.MovedByHand()) {
      Event rung;
      std::array<WaitHandle, kMostWaitHandles + 1> all;
      std::ranges::copy(handles, all.begin());
      all[handles.size()] = rung.handle();
      const auto alarm =
          clock.RingAt(clock.SteadyMilliseconds() + milliseconds, [&] { rung.Set(); });
      const WaitResult result =
          NativeWaitForAny(std::span(all.data(), handles.size() + 1), kNoTimeLimit);
      if (!result.signalled() || result.index < handles.size()) return result;
      return {.kind = WaitResult::Kind::kTimedOut};
    }
  }
  return NativeWaitForAny(handles, milliseconds);
}

void SleepFor(std::int64_t milliseconds) {
  const Event never;
  WaitFor(never.handle(), milliseconds);
}

}  // namespace yox::platform
