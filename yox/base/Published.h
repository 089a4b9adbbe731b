#pragma once

#include <atomic>
#include <memory>
#include <utility>
#include <vector>

#include "yox/base/HazardMark.h"
#include "yox/base/ThreadSafety.h"

namespace yox {

// An immutable object that many threads read while others put another one in its place. As
// SharedSnapshot, and for readers that only need it for the length of a block: a Lease takes no
// lock and counts no reference. Safe from any thread.
template <class T>
class Published {
 public:
  using Pointer = std::shared_ptr<const T>;

  // `first` must not be null.
  explicit Published(Pointer first) : value_(std::move(first)), current_(value_.get()) {}
  Published(const Published&) = delete;
  Published& operator=(const Published&) = delete;

  // Never null.
  Pointer Get() const {
    const MutexLock lock(mutex_);
    return value_;
  }

  // The former object is freed once no lease is left, and no pointer to it. Throws std::bad_alloc,
  // with nothing changed. `next` must not be null.
  void Set(Pointer next) {
    {
      const MutexLock lock(mutex_);
      retired_.reserve(retired_.size() + 1);
      current_ = next.get();
      value_.swap(next);
      retired_.push_back(std::move(next));
      has_retired_ = true;
    }
    FreeRetired();
  }

  // The object at the moment of construction; what is published must outlive the lease. For the
  // thread that created it; leases of a thread nest like blocks. Throws as HazardMark does.
  class Lease {
   public:
    explicit Lease(const Published& published)
        : cleaning_{published}, mark_(&published), object_(published.current_.load()) {}
    Lease(const Lease&) = delete;
    Lease& operator=(const Lease&) = delete;

    const T& operator*() const { return *object_; }
    const T* operator->() const { return object_; }

   private:
    // Outlives the mark. A lease that does not see in time that an object has been retired leaves
    // it to the next lease or the next object; so the way out needs no fence.
    struct Cleaning {
      ~Cleaning() {
        if (published.has_retired_.load(std::memory_order_relaxed)) [[unlikely]]
          published.FreeRetired();
      }
      const Published& published;
    };

    const Cleaning cleaning_;
    const HazardMark mark_;  // of `published`
    const T* const object_;
  };

 private:
  // Not inlined: a lease would keep registers for it.
  [[gnu::noinline]] void FreeRetired() const {
    std::vector<Pointer> unused;  // freed without the lock
    const MutexLock lock(mutex_);
    if (HazardMark::IsInUse(this)) return;
    has_retired_ = false;
    unused.swap(retired_);
  }

  mutable Mutex mutex_;
  Pointer value_ YOX_GUARDED_BY(mutex_);
  // Objects that were replaced while there were leases.
  mutable std::vector<Pointer> retired_ YOX_GUARDED_BY(mutex_);
  std::atomic<const T*> current_;  // value_, for leases
  mutable std::atomic<bool> has_retired_{false};
};

}  // namespace yox
