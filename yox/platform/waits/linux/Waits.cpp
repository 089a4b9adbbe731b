#include "yox/platform/waits/Waits.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <time.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <optional>
#include <thread>

#include "yox/base/Pause.h"
#include "yox/platform/waits/linux/LinuxWaitable.h"

namespace yox::platform {
namespace {

// A token that comes within a few microseconds is cheaper to spin for than to sleep for.
constexpr int kSpins = 200;

std::int64_t RealMilliseconds() {
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return std::int64_t{time.tv_sec} * 1000 + time.tv_nsec / 1'000'000;
}

WaitResult Signalled(std::size_t index) {
  return {.kind = WaitResult::Kind::kSignalled, .index = index};
}

WaitResult Failed(int error) { return {.error = static_cast<std::uint32_t>(error)}; }

// Counts the calling thread among the sleepers of its handles.
class Sleeper {
 public:
  explicit Sleeper(std::span<const WaitHandle> handles) : handles_(handles) {
    for (const WaitHandle& handle : handles_) {
      if (handle.waitable() != nullptr) handle.waitable()->BeginWait();
    }
  }
  ~Sleeper() {
    for (const WaitHandle& handle : handles_) {
      if (handle.waitable() != nullptr) handle.waitable()->EndWait();
    }
  }
  Sleeper(const Sleeper&) = delete;
  Sleeper& operator=(const Sleeper&) = delete;

 private:
  std::span<const WaitHandle> handles_;
};

class Poll {
 public:
  explicit Poll(std::span<const WaitHandle> handles) : handles_(handles) {
    std::ranges::transform(handles, descriptors_.begin(), [](const WaitHandle& handle) {
      return pollfd{.fd = handle.native(), .events = POLLIN, .revents = 0};
    });
  }

  // Sleeps for at most `milliseconds` (-1: no limit), then takes the first signalled handle.
  std::optional<WaitResult> Once(int milliseconds) {
    if (poll(descriptors_.data(), handles_.size(), milliseconds) < 0) {
      if (errno == EINTR) return std::nullopt;
      return Failed(errno);
    }
    for (std::size_t i = 0; i < handles_.size(); ++i) {
      if (descriptors_[i].revents & POLLNVAL) return Failed(EBADF);
    }
    for (std::size_t i = 0; i < handles_.size(); ++i) {
      LinuxWaitable* const waitable = handles_[i].waitable();
      const bool readable = descriptors_[i].revents != 0;
      if (waitable == nullptr ? readable
          : readable          ? waitable->TakeAfterWake()
                              : waitable->TryTake()) {
        return Signalled(i);
      }
    }
    return std::nullopt;
  }

 private:
  std::span<const WaitHandle> handles_;
  std::array<pollfd, kMostWaitHandles + 1> descriptors_;
};

}  // namespace

WaitResult NativeWaitForAny(std::span<const WaitHandle> handles, std::int64_t milliseconds) {
  if (LinuxWaitable* const first = handles[0].waitable()) {
    if (first->TryTake()) return Signalled(0);
    static const bool kSeveralProcessors = std::thread::hardware_concurrency() > 1;
    if (handles.size() == 1 && milliseconds != 0 && kSeveralProcessors) {
      for (int i = 0; i < kSpins; ++i) {
        Pause();
        if (first->TryTake()) return Signalled(0);
      }
    }
  }
  const Sleeper sleeper(handles);
  Poll waits(handles);
  const std::int64_t deadline = milliseconds > 0 ? RealMilliseconds() + milliseconds : 0;
  std::int64_t left = 0;
  while (true) {
    if (const auto result = waits.Once(static_cast<int>(left))) return *result;
    if (milliseconds == kNoTimeLimit) {
      left = -1;
    } else if (milliseconds == 0 || (left = deadline - RealMilliseconds()) <= 0) {
      return {.kind = WaitResult::Kind::kTimedOut};
    }
    left = std::min<std::int64_t>(left, INT_MAX);
  }
}

bool SignalEvent(WaitHandle event) {
  if (event.null() || event.waitable() != nullptr) return false;
  // EAGAIN: the counter is at its maximum, so the event is set.
  return eventfd_write(event.native(), 1) == 0 || errno == EAGAIN;
}

bool ClearEvent(WaitHandle event) {
  if (event.null() || event.waitable() != nullptr) return false;
  // Reading a host's eventfd that is clear would block, if the host did not make it non-blocking.
  pollfd readable{.fd = event.native(), .events = POLLIN, .revents = 0};
  if (poll(&readable, 1, 0) < 0 || (readable.revents & POLLNVAL)) return false;
  eventfd_t ignored = 0;
  return !(readable.revents & POLLIN) || eventfd_read(event.native(), &ignored) == 0 ||
         errno == EAGAIN;
}

}  // namespace yox::platform
