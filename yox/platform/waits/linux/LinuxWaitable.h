#pragma once

#include <atomic>

namespace yox::platform {

// Base of the objects from which a wait takes a token. The tokens are counted in memory, and an
// eventfd is only for threads that sleep, so that neither putting nor taking a token needs a system
// call while no thread sleeps (an "event count").
//
// All atomics use sequentially consistent order on purpose. The proof of no lost wake-up needs it:
// a putting thread adds the token and then reads `waiters_`; a waiting thread adds itself to
// `waiters_` and then looks for a token. In a single total order of these four, at least one of the
// two sees the other's write (the store-load pattern of Dekker's algorithm), which acquire and
// release do not guarantee.
class LinuxWaitable {
 public:
  // Throws std::system_error when there is no descriptor left.
  LinuxWaitable();
  virtual ~LinuxWaitable();
  LinuxWaitable(const LinuxWaitable&) = delete;
  LinuxWaitable& operator=(const LinuxWaitable&) = delete;

  int descriptor() const { return descriptor_; }

  // Takes a token if there is one.
  virtual bool TryTake() = 0;

  // Called before and after a thread sleeps on the descriptor. In between, a thread that puts a
  // token also makes the descriptor readable.
  void BeginWait() { waiters_.fetch_add(1); }
  void EndWait() { waiters_.fetch_sub(1); }
  // Called after the descriptor was readable: takes a token if there is one, and wakes the next
  // sleeper if there are more.
  bool TakeAfterWake();

 protected:
  // To be called after a token was put.
  void Wake();

 private:
  virtual bool MoreToTake() const = 0;

  void Announce();

  int descriptor_;
  std::atomic<int> waiters_{0};
  std::atomic<bool> announced_{false};  // the descriptor is readable, and no thread has read it yet
};

}  // namespace yox::platform
