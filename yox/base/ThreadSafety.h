#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <shared_mutex>
#if defined(YOX_PERTURB_SCHEDULES)  // in tests
#include "yox/base/SchedulePoint.h"
#define YOX_AT_LOCK YOX_SCHEDULE_POINT();
#else
#define YOX_AT_LOCK
#endif

// Annotations that state which lock guards which data and which function needs which lock. Clang
// checks them with -Wthread-safety (https://clang.llvm.org/docs/ThreadSafetyAnalysis.html); for
// other compilers they are empty. The standard library's locks have none: use the classes below.
//   void Counter::Add() { const yox::MutexLock lock(mutex_); ++count_; }
//   yox::Mutex mutex_;
//   int count_ YOX_GUARDED_BY(mutex_) = 0;
#if defined(__clang__)
#define YOX_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define YOX_THREAD_ATTRIBUTE(x)
#endif

#define YOX_CAPABILITY(name) YOX_THREAD_ATTRIBUTE(capability(name))
#define YOX_SCOPED_CAPABILITY YOX_THREAD_ATTRIBUTE(scoped_lockable)
// A member that may be read and written only while the lock is held.
#define YOX_GUARDED_BY(lock) YOX_THREAD_ATTRIBUTE(guarded_by(lock))
// The same for the target of a pointer.
#define YOX_PT_GUARDED_BY(lock) YOX_THREAD_ATTRIBUTE(pt_guarded_by(lock))
// A function whose caller must hold the lock exclusively, at least shared, or not at all.
#define YOX_REQUIRES(...) YOX_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define YOX_REQUIRES_SHARED(...) YOX_THREAD_ATTRIBUTE(requires_shared_capability(__VA_ARGS__))
#define YOX_EXCLUDES(...) YOX_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define YOX_ACQUIRED_BEFORE(...) YOX_THREAD_ATTRIBUTE(acquired_before(__VA_ARGS__))
#define YOX_ACQUIRED_AFTER(...) YOX_THREAD_ATTRIBUTE(acquired_after(__VA_ARGS__))
// A function that locks or unlocks.
#define YOX_ACQUIRE(...) YOX_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define YOX_ACQUIRE_SHARED(...) YOX_THREAD_ATTRIBUTE(acquire_shared_capability(__VA_ARGS__))
#define YOX_RELEASE(...) YOX_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define YOX_RELEASE_SHARED(...) YOX_THREAD_ATTRIBUTE(release_shared_capability(__VA_ARGS__))
#define YOX_RELEASE_GENERIC(...) YOX_THREAD_ATTRIBUTE(release_generic_capability(__VA_ARGS__))
#define YOX_TRY_ACQUIRE(...) YOX_THREAD_ATTRIBUTE(try_acquire_capability(__VA_ARGS__))
#define YOX_RETURN_CAPABILITY(lock) YOX_THREAD_ATTRIBUTE(lock_returned(lock))
// Turns the check off for a function that is correct for a reason that clang cannot see. State the
// reason beside it.
#define YOX_NO_THREAD_SAFETY_ANALYSIS YOX_THREAD_ATTRIBUTE(no_thread_safety_analysis)

namespace yox {

// std::mutex with attributes.
class YOX_CAPABILITY("mutex") Mutex {
 public:
  Mutex() = default;  // constexpr where that of std::mutex is: not with mingw
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  void lock() YOX_ACQUIRE() { YOX_AT_LOCK mutex_.lock(); }
  void unlock() YOX_RELEASE() { YOX_AT_LOCK mutex_.unlock(); }
  bool try_lock() YOX_TRY_ACQUIRE(true) { return mutex_.try_lock(); }

 private:
  friend class ConditionVariable;
  std::mutex mutex_;
};

// std::recursive_mutex with attributes. The analysis takes a second lock on the same path for a
// mistake: enter again only through functions that do not say what they lock.
class YOX_CAPABILITY("mutex") RecursiveMutex {
 public:
  RecursiveMutex() = default;
  RecursiveMutex(const RecursiveMutex&) = delete;
  RecursiveMutex& operator=(const RecursiveMutex&) = delete;

  void lock() YOX_ACQUIRE() { YOX_AT_LOCK mutex_.lock(); }
  void unlock() YOX_RELEASE() { YOX_AT_LOCK mutex_.unlock(); }
  bool try_lock() YOX_TRY_ACQUIRE(true) { return mutex_.try_lock(); }

 private:
  std::recursive_mutex mutex_;
};

// std::shared_mutex with attributes.
class YOX_CAPABILITY("mutex") SharedMutex {
 public:
  SharedMutex() = default;
  SharedMutex(const SharedMutex&) = delete;
  SharedMutex& operator=(const SharedMutex&) = delete;

  void lock() YOX_ACQUIRE() { YOX_AT_LOCK mutex_.lock(); }
  void unlock() YOX_RELEASE() { YOX_AT_LOCK mutex_.unlock(); }
  void lock_shared() YOX_ACQUIRE_SHARED() { YOX_AT_LOCK mutex_.lock_shared(); }
  void unlock_shared() YOX_RELEASE_SHARED() { YOX_AT_LOCK mutex_.unlock_shared(); }

 private:
  std::shared_mutex mutex_;
};

// Locks for the length of a block; may be unlocked and locked again within it.
template <class Lockable>
class YOX_SCOPED_CAPABILITY BasicMutexLock {
 public:
  explicit BasicMutexLock(Lockable& mutex) YOX_ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
  ~BasicMutexLock() YOX_RELEASE() {
    if (locked_) mutex_.unlock();
  }
  BasicMutexLock(const BasicMutexLock&) = delete;
  BasicMutexLock& operator=(const BasicMutexLock&) = delete;

  // Unlocks before the block ends. Must be locked.
  void Unlock() YOX_RELEASE() {
    mutex_.unlock();
    locked_ = false;
  }
  // Locks again after Unlock; waits for the mutex.
  void Lock() YOX_ACQUIRE() {
    mutex_.lock();
    locked_ = true;
  }
  // For another thread that needs the same mutex.
  Lockable& mutex() YOX_RETURN_CAPABILITY(mutex_) { return mutex_; }

 private:
  friend class ConditionVariable;
  Lockable& mutex_;
  bool locked_ = true;
};
using MutexLock = BasicMutexLock<Mutex>;
using RecursiveMutexLock = BasicMutexLock<RecursiveMutex>;
using ExclusiveLock = BasicMutexLock<SharedMutex>;

// Locks a SharedMutex together with other readers, for the length of a block.
class YOX_SCOPED_CAPABILITY SharedLock {
 public:
  explicit SharedLock(SharedMutex& mutex) YOX_ACQUIRE_SHARED(mutex) : mutex_(mutex) {
    mutex_.lock_shared();
  }
  ~SharedLock() YOX_RELEASE_GENERIC() { mutex_.unlock_shared(); }
  SharedLock(const SharedLock&) = delete;
  SharedLock& operator=(const SharedLock&) = delete;

 private:
  SharedMutex& mutex_;
};

// std::condition_variable for a Mutex. The condition is written as a loop around Wait, so that the
// analysis sees that it is read with the lock:
//   while (!ready_) changed_.Wait(lock);
class ConditionVariable {
 public:
  void Wait(MutexLock& lock) {
    std::unique_lock<std::mutex> inner(lock.mutex_.mutex_, std::adopt_lock);
    condition_.wait(inner);
    inner.release();
  }
  // Returns false when the time is over.
  template <class Rep, class Period>
  bool WaitFor(MutexLock& lock, const std::chrono::duration<Rep, Period>& limit) {
    std::unique_lock<std::mutex> inner(lock.mutex_.mutex_, std::adopt_lock);
    const bool in_time = condition_.wait_for(inner, limit) == std::cv_status::no_timeout;
    inner.release();
    return in_time;
  }
  template <class Clock, class Duration>
  bool WaitUntil(MutexLock& lock, const std::chrono::time_point<Clock, Duration>& moment) {
    std::unique_lock<std::mutex> inner(lock.mutex_.mutex_, std::adopt_lock);
    const bool in_time = condition_.wait_until(inner, moment) == std::cv_status::no_timeout;
    inner.release();
    return in_time;
  }
  void NotifyOne() { condition_.notify_one(); }
  void NotifyAll() { condition_.notify_all(); }

 private:
  std::condition_variable condition_;
};

}  // namespace yox
