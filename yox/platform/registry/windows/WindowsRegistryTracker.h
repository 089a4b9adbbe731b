#pragma once

#include <windows.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "yox/base/Published.h"
#include "yox/base/ThreadSafety.h"
#include "yox/platform/registry/Registry.h"

namespace yox::platform {

// A tracker by notifications of the system (RegNotifyChangeKeyValue), which sets an event when a
// key changes: as long as the event is not set, no key has changed. The keys above a tracked one
// are followed as well, because the tracked one changes when one of them is created, deleted or
// renamed.
class WindowsRegistryTracker final : public RegistryTracker {
 public:
  explicit WindowsRegistryTracker(std::vector<RegistryKey> keys);
  ~WindowsRegistryTracker() override;

  std::uint64_t Generation() override;

 private:
  class Notification;

  const std::vector<RegistryKey> keys_;
  yox::Mutex renewing_;
  Published<Notification> current_;
};

}  // namespace yox::platform
