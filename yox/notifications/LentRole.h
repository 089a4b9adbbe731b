#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>

#include "yox/base/TaskPool.h"

namespace yox::notifications {

// A role that exactly one thread has. Its owner lends it to a thread of the task pool, which makes
// one short call after the other without any hand-over between them. The owner looks on meanwhile,
// and takes the role back out of a call that does not end: then the borrower has only that call
// left to finish.
//
// Whoever has the role has what it guards; the memory is handed over with it.
class LentRole final : private TaskPool::Work, public std::enable_shared_from_this<LentRole> {
 public:
  // `borrow` is called on the pool's thread, with the role. It returns right after GiveBack, or
  // after an EndCall that was answered by false.
  explicit LentRole(std::function<void(LentRole&)> borrow) : borrow_(std::move(borrow)) {}

  enum class Return { kGivenBack, kTakenBack, kNeverLent };
  // The owner lends the role and waits until it is back. Taken back: a call is still running.
  // Never lent: the pool had no memory left.
  Return Lend();

  // The borrower, around each call. The role may be taken back between the two and at no other
  // time; EndCall, with what BeginCall answered, is false then.
  std::uint64_t BeginCall() {
    const std::uint64_t call =
        ((word_.load(std::memory_order_relaxed) & ~kPlace) | kCalling) + kOneCall;
    word_.store(call, std::memory_order_release);
    return call;
  }
  bool EndCall(std::uint64_t call) {
    return word_.compare_exchange_strong(call, (call & ~kPlace) | kLent);
  }
  // The borrower, in front of a wait for more to do: there are few calls because there is little to
  // call.
  void Idle() { word_.fetch_add(kFewCalls * kOneCall, std::memory_order_relaxed); }
  // The borrower has the role no longer, and nothing that it guards.
  void GiveBack();

 private:
  // The word: how many calls were begun, and where the role is.
  static constexpr std::uint64_t kOwned = 0;
  static constexpr std::uint64_t kLent = 1;
  static constexpr std::uint64_t kCalling = 2;
  static constexpr std::uint64_t kPlace = 3;
  static constexpr std::uint64_t kOneCall = 4;

  // Fewer calls than this between two looks of the owner are not short: they last longer than
  // waking a thread for each.
  static constexpr std::uint64_t kFewCalls = 50;

  void Run() noexcept override;

  const std::function<void(LentRole&)> borrow_;
  std::shared_ptr<LentRole> self_;  // from the lending to the borrower's first step

  std::atomic<std::uint64_t> word_{kOwned};
  std::atomic<bool> asleep_{false};  // the owner
  std::mutex mutex_;
  std::condition_variable returned_;
};

}  // namespace yox::notifications
