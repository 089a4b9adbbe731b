#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>

#include "yox/base/TaskPool.h"
#include "yox/base/ThreadSafety.h"

namespace yox::notifications {

// A role that exactly one thread has at a time, as the leader in the leader/followers pattern. Its
// owner leases it to a thread of the task pool, which makes one short call after the other without
// handing anything over between them. Meanwhile the owner looks at it once a millisecond, and
// revokes the lease during a call that does not end; the holder then has only that call left to
// finish. What the role guards is accessed only by the thread that has the role.
class RoleLease final : private TaskPool::Work, public std::enable_shared_from_this<RoleLease> {
 public:
  // `use` is called on the pool's thread, with the role. It returns right after Return, or after an
  // EndCall that returned false.
  explicit RoleLease(std::function<void(RoleLease&)> use) : use_(std::move(use)) {}

  // How a lease ended: the holder returned the role; it was revoked during a call that is still
  // running; or it was never granted, because no memory was left to start the task.
  enum class End { kReturned, kRevoked, kNotGranted };

  // The owner: leases the role and waits until it has it back.
  End Grant();

  // The holder: around each call. The lease may be revoked between the two and at no other time;
  // EndCall, given what BeginCall returned, then returns false.
  std::uint64_t BeginCall() {
    const std::uint64_t call =
        ((word_.load(std::memory_order_relaxed) & ~kStateMask) | kCalling) + kOneCall;
    // Release: the owner that revokes the lease sees all that was done up to this call.
    word_.store(call, std::memory_order_release);
    return call;
  }
  bool EndCall(std::uint64_t call) {
    return word_.compare_exchange_strong(call, (call & ~kStateMask) | kLeased);
  }
  // The holder: before a wait for more to do. Makes the owner not take few calls for long ones.
  void Idle() { word_.fetch_add(kFewCalls * kOneCall, std::memory_order_relaxed); }
  // The holder: it no longer has the role, nor what it guards.
  void Return();

 private:
  // One word, so that revoking and ending a call are one compare and swap each: the state in the
  // lowest two bits, and above them how many calls were begun, which tells one call from the next.
  static constexpr std::uint64_t kOwned = 0;
  static constexpr std::uint64_t kLeased = 1;
  static constexpr std::uint64_t kCalling = 2;
  static constexpr std::uint64_t kStateMask = 3;
  static constexpr std::uint64_t kOneCall = 4;

  // With fewer calls than this between two looks of the owner, calls are not short: they take
  // longer than waking a thread for each.
  static constexpr std::uint64_t kFewCalls = 50;

  void Run() noexcept override;

  const std::function<void(RoleLease&)> use_;
  std::shared_ptr<RoleLease> self_;  // from Grant to the holder's first step

  std::atomic<std::uint64_t> word_{kOwned};
  std::atomic<bool> asleep_{false};  // the owner
  Mutex mutex_;
  ConditionVariable returned_;
};

}  // namespace yox::notifications
