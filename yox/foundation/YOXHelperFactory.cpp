#include "yox/foundation/YOXHelperFactory.h"

namespace yox {

constinit std::atomic<YOXHelperFactory*> YOXHelperFactory::_YOXHelperFactory{nullptr};
std::mutex YOXHelperFactory::mutex_;

YOXHelperFactory* YOXHelperFactory::GetInstance() {
  if (auto* const factory = _YOXHelperFactory.load(std::memory_order_acquire)) return factory;
  const std::lock_guard lock(mutex_);
  if (_YOXHelperFactory.load(std::memory_order_relaxed) == nullptr) {
    _YOXHelperFactory.store(new YOXHelperFactory, std::memory_order_release);
  }
  return _YOXHelperFactory.load(std::memory_order_relaxed);
}

void YOXHelperFactory::ReleaseInstance() {
  if (_YOXHelperFactory.load(std::memory_order_acquire) == nullptr) return;
  const std::lock_guard lock(mutex_);
  // What is held may ask for the factory while it goes.
  delete _YOXHelperFactory.load(std::memory_order_relaxed);
  _YOXHelperFactory.store(nullptr, std::memory_order_release);
}

}  // namespace yox
