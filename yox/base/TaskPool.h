#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <list>
#include <memory>
#include <thread>
#include <vector>

#include "yox/base/Export.h"
#include "yox/base/ThreadSafety.h"

namespace yox {

// A thread pool for short pieces of work. It has as many threads as there are processors while all
// of them make progress, and one more for each thread that is found blocked, so that a piece of
// work that never returns does not delay the others. Idle threads end after a while. Starting work
// does not allocate memory. Safe from any thread.
class YOX_API TaskPool {
 public:
  // A piece of work. The caller of Start owns it and must keep it alive until Run has returned. It
  // may be started again as soon as Run has begun, and then Run may execute on two threads at once.
  class Work {
   public:
    virtual void Run() noexcept = 0;

   protected:
    ~Work() = default;
  };

  // `progressing` is the number of threads that are to make progress at the same time; 0 means one
  // for each processor. A thread that has been idle for `idle` ends.
  explicit TaskPool(std::size_t progressing = 0,
                    std::chrono::milliseconds idle = std::chrono::seconds(10));
  // Waits until all work that was started has run and all threads have ended.
  ~TaskPool();
  TaskPool(const TaskPool&) = delete;
  TaskPool& operator=(const TaskPool&) = delete;

  // Returns the pool that the library shares. It is never destroyed.
  static TaskPool& Process();

  // Runs `work` once on a thread of the pool, in no particular order with other work. Throws
  // std::bad_alloc if more than about a thousand pieces are waiting and memory has run out; then
  // nothing is started.
  void Start(Work& work);

  // Returns the number of threads that exist at the moment.
  std::size_t ThreadCount() const;

 private:
  class Queue;
  struct Thread;

  void Body(Thread& self);
  void Watch();
  void WakeOne() YOX_REQUIRES(mutex_);
  bool StartThread() YOX_REQUIRES(mutex_);
  void JoinEnded() YOX_REQUIRES(mutex_);

  const std::size_t progressing_;
  const std::chrono::milliseconds idle_limit_;
  std::unique_ptr<Queue> queue_;

  // The numbers of threads that are looking for work, that are running some, and, of the latter,
  // that have been running the same piece for so long that they count as blocked.
  std::atomic<std::size_t> searching_{0};
  std::atomic<std::size_t> running_{0};
  std::atomic<std::size_t> blocked_{0};

  mutable Mutex mutex_;
  ConditionVariable work_;                        // wakes an idle thread
  ConditionVariable watched_;                     // wakes the watcher
  std::size_t idle_ YOX_GUARDED_BY(mutex_) = 0;   // threads that wait for work_
  std::size_t calls_ YOX_GUARDED_BY(mutex_) = 0;  // how many of them have been woken
  bool watching_ YOX_GUARDED_BY(mutex_) = false;
  bool stopping_ YOX_GUARDED_BY(mutex_) = false;
  std::list<Thread> threads_ YOX_GUARDED_BY(mutex_);
  std::vector<std::thread> ended_ YOX_GUARDED_BY(mutex_);  // to be joined
  std::thread watcher_ YOX_GUARDED_BY(mutex_);
};

}  // namespace yox
