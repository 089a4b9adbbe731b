#include "yox/foundation/YOXHelperFactory.h"

namespace yox {

constinit std::atomic<YOXHelperFactory*> YOXHelperFactory::_YOXHelperFactory{nullptr};
Mutex YOXHelperFactory::mutex_;

// Double-checked locking: the acquire load pairs with the release store after construction.
YOXHelperFactory* YOXHelperFactory::GetInstance() {
  if (auto* const factory = _YOXHelperFactory.load(std::memory_order_acquire)) return factory;
  const MutexLock lock(mutex_);
  if (_YOXHelperFactory.load(std::memory_order_relaxed) == nullptr) {
    _YOXHelperFactory.store(new YOXHelperFactory, std::memory_order_release);
  }
  return _YOXHelperFactory.load(std::memory_order_relaxed);
}

void YOXHelperFactory::ReleaseInstance() {
  if (_YOXHelperFactory.load(std::memory_order_acquire) == nullptr) return;
  const MutexLock lock(mutex_);
  // The pointer is cleared last: the destructor of a held object may call GetInstance, which must
  // not wait for this lock.
  delete _YOXHelperFactory.load(std::memory_order_relaxed);
  _YOXHelperFactory.store(nullptr, std::memory_order_release);
}

}  // namespace yox
