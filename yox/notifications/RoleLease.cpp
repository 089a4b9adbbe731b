#include "yox/notifications/RoleLease.h"

#include <chrono>
#include <utility>

#include "yox/base/Pause.h"
#include "yox/base/SchedulePoint.h"

namespace yox::notifications {
namespace {

// How often the owner looks at the lease.
constexpr std::chrono::milliseconds kLook{1};

// A role that comes back within a few microseconds is not worth a sleep.
constexpr int kSpins = 400;

}  // namespace

RoleLease::End RoleLease::Grant() {
  const std::uint64_t leased = word_.load(std::memory_order_relaxed) | kLeased;
  self_ = shared_from_this();
  word_.store(leased);
  try {
    TaskPool::Process().Start(*this);
  } catch (...) {
    self_ = nullptr;
    return End::kNotGranted;
  }
  const auto returned = [this] { return (word_.load() & kStateMask) == kOwned; };
  if (SpinUntil(kSpins, returned)) return End::kReturned;
  MutexLock lock(mutex_);
  // Dekker's algorithm with the store and the load in Return, hence sequentially consistent: either
  // the holder sees that the owner sleeps, or the owner sees that the role was returned.
  asleep_ = true;
  YOX_SCHEDULE_POINT();
  End end = End::kReturned;
  std::uint64_t seen = leased;
  while (true) {
    const auto deadline = std::chrono::steady_clock::now() + kLook;
    bool in_time = true;
    while (!returned() && in_time) in_time = returned_.WaitUntil(lock, deadline);
    if (returned()) break;
    std::uint64_t word = word_.load();
    const bool begun = seen != leased;
    if (begun && (word & kStateMask) == kCalling && (word - seen) / kOneCall < kFewCalls &&
        word_.compare_exchange_strong(word, word & ~kStateMask)) {
      end = End::kRevoked;
      break;
    }
    seen = word;
  }
  asleep_ = false;
  return end;
}

void RoleLease::Return() {
  word_.store(word_.load(std::memory_order_relaxed) & ~kStateMask);
  YOX_SCHEDULE_POINT();
  if (!asleep_) return;
  // The owner is between its look and its sleep, or asleep: wait for the latter.
  { const MutexLock lock(mutex_); }
  returned_.NotifyOne();
}

void RoleLease::Run() noexcept {
  const std::shared_ptr<RoleLease> self = std::move(self_);
  use_(*this);
}

}  // namespace yox::notifications
