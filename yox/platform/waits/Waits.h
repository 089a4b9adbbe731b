#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>

#include "yox/base/Export.h"

namespace yox::platform {

class LinuxWaitable;

// What a thread can wait for: a HANDLE on Windows, and on Linux a file descriptor, which is
// signalled while it can be read, such as an eventfd of the host's. A plain value that owns
// nothing. Null unless constructed from a handle.
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
  // The object from which a wait takes a token. Null for a handle that waits only look at, and
  // always on Windows.
  LinuxWaitable* waitable() const { return waitable_; }

  friend bool operator==(const WaitHandle&, const WaitHandle&) = default;

 private:
  Native native_ = kNone;
  LinuxWaitable* waitable_ = nullptr;
};

// How a wait ended. It fails as a whole if one of its handles is null or is not a handle, if there
// are none, and if there are more than kMostWaitHandles.
struct WaitResult {
  enum class Kind { kSignalled, kTimedOut, kFailed };

  Kind kind = Kind::kFailed;
  std::size_t index = 0;    // of the handle that ended the wait, for kSignalled
  std::uint32_t error = 0;  // the system's error number, for kFailed

  bool signalled() const { return kind == Kind::kSignalled; }
};

// Time limits are milliseconds of the platform's clock. If that clock is moved by hand
// (Clock::MovedByHand), moving it ends the waits whose limit it reaches.
inline constexpr std::int64_t kNoTimeLimit = -1;
inline constexpr std::size_t kMostWaitHandles = 63;
// The error number of a null handle, the same on every system.
inline constexpr std::uint32_t kInvalidHandleError = 6;

// Waits until one of the handles is signalled. If several are, the first in the given order ends
// the wait, and only from that one a token is taken: a semaphore counts down by one, a mutex
// becomes the calling thread's, an event stays set. With a limit of 0 it does not block. May be
// called from any thread.
YOX_API WaitResult WaitForAny(std::span<const WaitHandle> handles,
                              std::int64_t milliseconds = kNoTimeLimit);
inline WaitResult WaitForAny(std::initializer_list<WaitHandle> handles,
                             std::int64_t milliseconds = kNoTimeLimit) {
  return WaitForAny(std::span(handles.begin(), handles.size()), milliseconds);
}
inline WaitResult WaitFor(WaitHandle handle, std::int64_t milliseconds = kNoTimeLimit) {
  return WaitForAny(std::span(&handle, 1), milliseconds);
}

// Sets or clears the event of a handle. Returns false if the handle is null or not an event.
YOX_API bool SignalEvent(WaitHandle event);
YOX_API bool ClearEvent(WaitHandle event);

// Blocks for a time of the platform's clock.
YOX_API void SleepFor(std::int64_t milliseconds);

// The same as WaitForAny with a limit in real time, whatever the platform's clock. At least one
// handle, and none may be null.
YOX_API WaitResult NativeWaitForAny(std::span<const WaitHandle> handles, std::int64_t milliseconds);
inline WaitResult NativeWaitForAny(std::initializer_list<WaitHandle> handles,
                                   std::int64_t milliseconds) {
  return NativeWaitForAny(std::span(handles.begin(), handles.size()), milliseconds);
}

}  // namespace yox::platform
