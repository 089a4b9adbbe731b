#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <list>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "yox/base/Export.h"

namespace yox {

// Threads that run short pieces of work. There are as many as processors while all of them make
// progress; for each one that is found blocked another takes its place, so that a piece of work
// that never returns holds back no other. Threads that find nothing to do for a while end. Starting
// work allocates nothing. Safe from any thread.
class YOX_API TaskPool {
 public:
  // A piece of work, owned by its starter: it must live until Run has returned. It may be started
  // again as soon as Run has begun, and may then run twice at once.
  class Work {
   public:
    virtual void Run() noexcept = 0;

   protected:
    ~Work() = default;
  };

  // `progressing` threads make progress at once; 0: one for each processor. A thread that no work
  // has called for `idle` ends.
  explicit TaskPool(std::size_t progressing = 0,
                    std::chrono::milliseconds idle = std::chrono::seconds(10));
  // Waits for everything that was started, then for the threads.
  ~TaskPool();
  TaskPool(const TaskPool&) = delete;
  TaskPool& operator=(const TaskPool&) = delete;

  // The process's pool; lives until the process ends.
  static TaskPool& Process();

  // Runs the piece once, on a thread of the pool; pieces come in no promised order. Throws
  // std::bad_alloc, with nothing started, when very many wait already and memory has run out.
  void Start(Work& work);

  // How many threads there are at the moment.
  std::size_t ThreadCount() const;

 private:
  // A bounded queue that many may fill and many may empty without a lock; what does not fit
  // overflows into a list under a lock.
  class Queue;
  struct Thread;

  void Body(Thread& self);
  void Watch();
  // Called with the lock held.
  void WakeOne();
  bool StartThread();
  void JoinEnded();

  const std::size_t progressing_;
  const std::chrono::milliseconds idle_limit_;
  std::unique_ptr<Queue> queue_;

  // Threads that look for work and have none; threads that run some; and of these, the ones that
  // have been at the same piece for so long that they count as blocked.
  std::atomic<std::size_t> searching_{0};
  std::atomic<std::size_t> running_{0};
  std::atomic<std::size_t> blocked_{0};

  mutable std::mutex mutex_;
  std::condition_variable work_;     // an idle thread is called
  std::condition_variable watched_;  // the watcher is called
  // All below: guarded by mutex_.
  std::size_t idle_ = 0;
  std::size_t calls_ = 0;
  bool watching_ = false;
  bool stopping_ = false;
  std::list<Thread> threads_;
  std::vector<std::thread> ended_;
  std::thread watcher_;
};

}  // namespace yox
