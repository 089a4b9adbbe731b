#pragma once

#include <atomic>

namespace yox::platform {

// What stands behind a handle whose wait takes something: a count kept in memory, with an eventfd
// on which threads sleep when there is nothing to take.
class LinuxWaitable {
 public:
  // Throws std::system_error when there is no descriptor left.
  LinuxWaitable();
  virtual ~LinuxWaitable();
  LinuxWaitable(const LinuxWaitable&) = delete;
  LinuxWaitable& operator=(const LinuxWaitable&) = delete;

  int descriptor() const { return descriptor_; }

  // Takes what the calling thread waits for, if it is there.
  virtual bool TryTake() = 0;

  // Around a sleep. Between the two, whoever puts something back also makes the descriptor
  // readable.
  void BeginWait() { waiters_.fetch_add(1); }
  void EndWait() { waiters_.fetch_sub(1); }
  // After the descriptor was readable: tries to take, and wakes the next sleeper if there is more.
  bool TakeAfterWake();

 protected:
  // Something was put back.
  void Wake();

 private:
  virtual bool MoreToTake() const = 0;

  void Announce();

  int descriptor_;
  std::atomic<int> waiters_{0};
  std::atomic<bool> announced_{false};  // readable, and nobody has read it
};

}  // namespace yox::platform
