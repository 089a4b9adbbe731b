#include "yox/base/TaskPool.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <utility>

#include "yox/base/Pause.h"
#include "yox/base/SchedulePoint.h"

namespace yox {
namespace {

// The interval between two looks of the watcher. A thread that is running the same piece of work at
// both counts as blocked.
constexpr std::chrono::milliseconds kLook{1};
// A thread spins for some microseconds before it sleeps, because sleeping and waking cost more.
constexpr int kSpins = 400;
// Data that different threads write is kept in different cache lines.
constexpr std::size_t kCacheLine = 64;

}  // namespace

// A bounded MPMC queue after Dmitry Vyukov, with a locked list for what does not fit. The turn of a
// cell says who may use it next: position p puts into it when the turn is p, and takes from it when
// the turn is p + 1. Storing the turn with release order publishes the cell's content to the thread
// that loads it with acquire order; the positions themselves need no order.
class TaskPool::Queue {
 public:
  Queue() {
    for (std::size_t i = 0; i < kCells; ++i) cells_[i].turn.store(i, std::memory_order_relaxed);
  }

  void Put(Work* work) {
    if (overflowed_.load(std::memory_order_relaxed) == 0) {
      std::size_t position = filled_.load(std::memory_order_relaxed);
      while (true) {
        Cell& cell = cells_[position % kCells];
        const std::size_t turn = cell.turn.load(std::memory_order_acquire);
        if (turn == position) {
          if (filled_.compare_exchange_weak(position, position + 1)) {
            YOX_SCHEDULE_POINT();
            cell.work = work;
            cell.turn.store(position + 1, std::memory_order_release);
            return;
          }
        } else if (turn < position) {
          break;
        } else {
          position = filled_.load(std::memory_order_relaxed);
        }
      }
    }
    const MutexLock lock(overflow_mutex_);
    overflow_.push_back(work);
    overflowed_.store(overflow_.size());
  }

  Work* Take() {
    std::size_t position = taken_.load(std::memory_order_relaxed);
    while (true) {
      Cell& cell = cells_[position % kCells];
      const std::size_t turn = cell.turn.load(std::memory_order_acquire);
      if (turn == position + 1) {
        if (taken_.compare_exchange_weak(position, position + 1, std::memory_order_relaxed)) {
          YOX_SCHEDULE_POINT();
          Work* const work = cell.work;
          cell.turn.store(position + kCells, std::memory_order_release);
          return work;
        }
      } else if (turn < position + 1) {
        break;
      } else {
        position = taken_.load(std::memory_order_relaxed);
      }
    }
    if (overflowed_.load(std::memory_order_relaxed) == 0) return nullptr;
    const MutexLock lock(overflow_mutex_);
    if (overflow_.empty()) return nullptr;
    Work* const work = overflow_.front();
    overflow_.pop_front();
    overflowed_.store(overflow_.size(), std::memory_order_relaxed);
    return work;
  }

  bool Empty() const { return filled_.load() == taken_.load() && overflowed_.load() == 0; }

 private:
  struct Cell {
    std::atomic<std::size_t> turn;
    Work* work = nullptr;
  };
  static constexpr std::size_t kCells = 1024;

  alignas(kCacheLine) std::atomic<std::size_t> filled_{0};
  alignas(kCacheLine) std::atomic<std::size_t> taken_{0};
  alignas(kCacheLine) std::atomic<std::size_t> overflowed_{0};
  Mutex overflow_mutex_;
  std::deque<Work*> overflow_ YOX_GUARDED_BY(overflow_mutex_);
  Cell cells_[kCells];
};

struct alignas(kCacheLine) TaskPool::Thread {
  // Incremented when a piece of work begins and when it ends, so it is odd while one is running.
  std::atomic<std::uint64_t> turns{0};
  std::atomic<bool> blocked{false};
  std::uint64_t seen = 0;  // `turns` at the watcher's former look
  std::thread thread;
  std::list<Thread>::iterator self;
};

TaskPool::TaskPool(std::size_t progressing, std::chrono::milliseconds idle)
    : progressing_(progressing != 0 ? progressing
                                    : std::max(1U, std::thread::hardware_concurrency())),
      idle_limit_(idle),
      queue_(std::make_unique<Queue>()) {}

TaskPool::~TaskPool() {
  {
    MutexLock lock(mutex_);
    stopping_ = true;
    work_.NotifyAll();
    while (!threads_.empty()) work_.Wait(lock);
    watched_.NotifyAll();
    JoinEnded();
  }
  if (watcher_.joinable()) watcher_.join();
}

TaskPool& TaskPool::Process() {
  static auto* const pool = new TaskPool;
  return *pool;
}

void TaskPool::Start(Work& work) {
  queue_->Put(&work);
  // Sequentially consistent, as are the operations of a thread that stops searching, which looks at
  // the queue once more afterwards: so either this sees the thread or the thread sees the work.
  if (searching_.load() > 0) return;
  const MutexLock lock(mutex_);
  WakeOne();
}

std::size_t TaskPool::ThreadCount() const {
  const MutexLock lock(mutex_);
  return threads_.size();
}

void TaskPool::WakeOne() {
  if (searching_.load() > 0) return;
  if (running_.load() < progressing_ + blocked_.load()) {
    if (idle_ > calls_) {
      ++calls_;
      searching_.fetch_add(1);
      work_.NotifyOne();
      return;
    }
    if (StartThread()) return;
  }
  if (watching_) return;
  try {
    if (!watcher_.joinable()) watcher_ = std::thread([this] { Watch(); });
    watching_ = true;
    watched_.NotifyOne();
  } catch (const std::exception&) {
    // The existing threads will do the work in time, or the next Start tries again.
  }
}

bool TaskPool::StartThread() {
  JoinEnded();
  auto thread = threads_.end();
  try {
    thread = threads_.emplace(threads_.end());
    thread->self = thread;
    searching_.fetch_add(1);
    thread->thread = std::thread([this, thread] { Body(*thread); });
    return true;
  } catch (const std::exception&) {
    if (thread == threads_.end()) return false;
    searching_.fetch_sub(1);
    threads_.erase(thread);
    return false;
  }
}

void TaskPool::JoinEnded() {
  for (std::thread& thread : ended_) thread.join();
  ended_.clear();
}

void TaskPool::Body(Thread& self) {
  // The thread that started or woke this one has already counted it as searching.
  while (true) {
    Work* work = nullptr;
    if (SpinUntil(kSpins, [&] { return (work = queue_->Take()) != nullptr; })) {
      running_.fetch_add(1);
      if (searching_.fetch_sub(1) == 1 && !queue_->Empty()) {
        const MutexLock lock(mutex_);
        WakeOne();
      }
      do {
        self.turns.fetch_add(1, std::memory_order_relaxed);
        work->Run();
        self.turns.fetch_add(1, std::memory_order_relaxed);
        if (self.blocked.load(std::memory_order_relaxed) && self.blocked.exchange(false)) {
          blocked_.fetch_sub(1);
        }
      } while ((work = queue_->Take()) != nullptr);
      // In this order, so that Start never sees this thread as neither.
      searching_.fetch_add(1);
      running_.fetch_sub(1);
      continue;
    }
    MutexLock lock(mutex_);
    searching_.fetch_sub(1);
    if (!queue_->Empty()) {
      searching_.fetch_add(1);
      continue;
    }
    ++idle_;
    const auto limit = std::chrono::steady_clock::now() + idle_limit_;
    while (calls_ == 0 && !stopping_ && work_.WaitUntil(lock, limit)) {
    }
    --idle_;
    if (calls_ > 0) {
      --calls_;
      continue;
    }
    if (self.blocked.load()) blocked_.fetch_sub(1);
    ended_.push_back(std::move(self.thread));
    threads_.erase(self.self);
    if (stopping_) {
      work_.NotifyAll();
      watched_.NotifyAll();
    }
    return;
  }
}

void TaskPool::Watch() {
  MutexLock lock(mutex_);
  while (true) {
    while (!watching_ && !(stopping_ && threads_.empty())) watched_.Wait(lock);
    if (queue_->Empty()) {
      watching_ = false;
      if (stopping_ && threads_.empty()) return;
      continue;
    }
    for (Thread& thread : threads_) {
      thread.seen = thread.turns.load(std::memory_order_relaxed);
    }
    watched_.WaitFor(lock, kLook);
    for (Thread& thread : threads_) {
      const std::uint64_t turns = thread.turns.load(std::memory_order_relaxed);
      if (turns % 2 == 1 && turns == thread.seen && !thread.blocked.exchange(true)) {
        blocked_.fetch_add(1);
      }
    }
    if (!queue_->Empty()) WakeOne();
  }
}

}  // namespace yox
