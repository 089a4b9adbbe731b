#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <utility>

#include "yox/base/ThreadSafety.h"

namespace yox {

// A value that many threads read while others replace it. Read-copy-update with reference counts:
// readers share one immutable object, and a writer puts another object in its place. A reader keeps
// what it got for as long as it likes. Safe from any thread; a copy starts with the same object.
//
// Keep the pointer in a variable while the object is used: a range-based for over `*snapshot.Get()`
// iterates an object that may be gone (scripts/check --rule temporaries).
template <class T>
class SharedSnapshot {
 public:
  using Pointer = std::shared_ptr<const T>;

  SharedSnapshot() : value_(std::make_shared<const T>()) {}
  SharedSnapshot(const SharedSnapshot& other) : value_(other.Get()) {}
  SharedSnapshot& operator=(const SharedSnapshot& other) {
    Exchange(other.Get());
    return *this;
  }

  // Never null.
  Pointer Get() const {
    const MutexLock lock(mutex_);
    return value_;
  }

  // Changes whenever the object is replaced. Costs one load.
  std::uint64_t Generation() const { return generation_.load(std::memory_order_acquire); }

  void Set(T value) { Exchange(std::make_shared<const T>(std::move(value))); }

  // Compare and swap. Returns false, with nothing changed, when `expected` is no longer the current
  // object. The caller's reference keeps `expected` alive, so no new object can have its address.
  bool CompareAndSet(const Pointer& expected, T value) {
    auto replacement = std::make_shared<const T>(std::move(value));
    const MutexLock lock(mutex_);
    if (value_ != expected) return false;
    Replace(replacement);
    return true;
  }

 private:
  // The former object is released after the lock.
  void Exchange(Pointer replacement) {
    const MutexLock lock(mutex_);
    Replace(replacement);
  }
  void Replace(Pointer& replacement) YOX_REQUIRES(mutex_) {
    value_.swap(replacement);
    generation_.fetch_add(1, std::memory_order_release);
  }

  mutable Mutex mutex_;
  Pointer value_ YOX_GUARDED_BY(mutex_);
  std::atomic<std::uint64_t> generation_{0};
};

}  // namespace yox
