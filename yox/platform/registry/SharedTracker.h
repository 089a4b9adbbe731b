#pragma once

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "yox/base/ThreadSafety.h"
#include "yox/platform/Platform.h"
#include "yox/platform/registry/Registry.h"

namespace yox::platform {

// Tracks keys of the registry of the platform in use. All callers share one tracker until another
// platform is installed. Safe from any thread.
class SharedTracker {
 public:
  explicit SharedTracker(std::vector<RegistryKey> keys) : keys_(std::move(keys)) {}
  SharedTracker(const SharedTracker&) = delete;
  SharedTracker& operator=(const SharedTracker&) = delete;

  // Never returns null.
  std::shared_ptr<RegistryTracker> Get() {
    const MutexLock lock(mutex_);
    if (tracker_ == nullptr || platform_ != Platform::Generation()) {
      platform_ = Platform::Generation();
      tracker_ = Platform::Get().registry().Track(keys_);
    }
    return tracker_;
  }

 private:
  const std::vector<RegistryKey> keys_;
  Mutex mutex_;
  std::uint64_t platform_ YOX_GUARDED_BY(mutex_) = 0;
  std::shared_ptr<RegistryTracker> tracker_ YOX_GUARDED_BY(mutex_);
};

}  // namespace yox::platform
