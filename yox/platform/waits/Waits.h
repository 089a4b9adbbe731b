#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>

#include "yox/base/Export.h"

namespace yox::platform {

class LinuxWaitable;

// Something that can be waited for, as the system knows it: a HANDLE on Windows; on Linux a
// descriptor that is signalled while it can be read (an eventfd of the host's own takes part as it
// is). A plain value that owns nothing; null unless told otherwise.
class WaitHandle {
 public:
#if defined(_WIN32)
  using Native = void*;
  static constexpr Native kNone = nullptr;
  bool null() const { return native_ == kNone; }
#else
  using Native = int;
  static constexpr Native kNone = -1;
  bool null() const { return native_ < 0; }
#endif

  constexpr WaitHandle() = default;
  constexpr WaitHandle(std::nullptr_t) {}                   // NOLINT
  constexpr WaitHandle(Native native) : native_(native) {}  // NOLINT
  constexpr WaitHandle(Native native, LinuxWaitable* waitable)
      : native_(native), waitable_(waitable) {}

  Native native() const { return native_; }
  // What takes the token when the wait ends, or null for a descriptor that is only looked at.
  LinuxWaitable* waitable() const { return waitable_; }

  friend bool operator==(const WaitHandle&, const WaitHandle&) = default;

 private:
  Native native_ = kNone;
  LinuxWaitable* waitable_ = nullptr;
};

// How a wait ended. A wait fails as a whole when one of its handles is null or not a handle, and
// when there is none or more than kMostWaitHandles.
struct WaitResult {
  enum class Kind { kSignalled, kTimedOut, kFailed };

  Kind kind = Kind::kFailed;
  std::size_t index = 0;    // of the handle that ended the wait, for kSignalled
  std::uint32_t error = 0;  // the system's error number, for kFailed

  bool signalled() const { return kind == Kind::kSignalled; }
};

// Time limits are milliseconds of the platform's clock. A clock that is moved by hand ends waits
// when it is moved.
inline constexpr std::int64_t kNoTimeLimit = -1;
inline constexpr std::size_t kMostWaitHandles = 63;
// The error number of a null handle, the same on every system.
inline constexpr std::uint32_t kInvalidHandleError = 6;

// Waits until one of the handles is signalled. When several are, the first in order ends the wait
// and it alone is taken: a semaphore counts down by one, a mutex becomes the thread's own, an event
// stays set. A limit of 0 only looks.
YOX_API WaitResult WaitForAny(std::span<const WaitHandle> handles,
                              std::int64_t milliseconds = kNoTimeLimit);
inline WaitResult WaitForAny(std::initializer_list<WaitHandle> handles,
                             std::int64_t milliseconds = kNoTimeLimit) {
  return WaitForAny(std::span(handles.begin(), handles.size()), milliseconds);
}
inline WaitResult WaitFor(WaitHandle handle, std::int64_t milliseconds = kNoTimeLimit) {
  return WaitForAny(std::span(&handle, 1), milliseconds);
}

// Sets or clears an event that is known by its handle only. False for a null handle, or one that is
// not an event.
YOX_API bool SignalEvent(WaitHandle event);
YOX_API bool ClearEvent(WaitHandle event);

// Lets the time pass on the platform's clock.
YOX_API void SleepFor(std::int64_t milliseconds);

// As WaitForAny, for one handle or more that are not null; its limit is real time on every clock.
YOX_API WaitResult NativeWaitForAny(std::span<const WaitHandle> handles, std::int64_t milliseconds);
inline WaitResult NativeWaitForAny(std::initializer_list<WaitHandle> handles,
                                   std::int64_t milliseconds) {
  return NativeWaitForAny(std::span(handles.begin(), handles.size()), milliseconds);
}

}  // namespace yox::platform
