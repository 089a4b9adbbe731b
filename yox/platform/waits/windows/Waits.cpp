#include "yox/platform/waits/Waits.h"

#include <windows.h>

#include <algorithm>
#include <array>

namespace yox::platform {

WaitResult NativeWaitForAny(std::span<const WaitHandle> handles, std::int64_t milliseconds) {
  static_assert(kMostWaitHandles + 1 == MAXIMUM_WAIT_OBJECTS);
  std::array<HANDLE, MAXIMUM_WAIT_OBJECTS> natives;
  std::ranges::transform(handles, natives.begin(), &WaitHandle::native);
  const auto count = static_cast<DWORD>(handles.size());
  const ULONGLONG deadline =
      GetTickCount64() + static_cast<ULONGLONG>(std::max<std::int64_t>(milliseconds, 0));
  // The longest wait that is not endless.
  constexpr ULONGLONG kLongest = INFINITE - 1;
  while (true) {
    DWORD limit = INFINITE;
    if (milliseconds != kNoTimeLimit) {
      const ULONGLONG now = GetTickCount64();
      limit = static_cast<DWORD>(std::min(deadline > now ? deadline - now : 0, kLongest));
    }
    const DWORD result = WaitForMultipleObjects(count, natives.data(), FALSE, limit);
    if (result < WAIT_OBJECT_0 + count) {
      return {.kind = WaitResult::Kind::kSignalled, .index = result - WAIT_OBJECT_0};
    }
    if (result >= WAIT_ABANDONED_0 && result < WAIT_ABANDONED_0 + count) {
      return {.kind = WaitResult::Kind::kSignalled, .index = result - WAIT_ABANDONED_0};
    }
    if (result != WAIT_TIMEOUT) return {.error = GetLastError()};
    if (limit != kLongest) return {.kind = WaitResult::Kind::kTimedOut};
  }
}

bool SignalEvent(WaitHandle event) { return SetEvent(event.native()) != FALSE; }

bool ClearEvent(WaitHandle event) { return ResetEvent(event.native()) != FALSE; }

}  // namespace yox::platform
