#pragma once

#include <memory>

#include "yox/base/ThreadSafety.h"
#include "yox/platform/devices/DeviceTree.h"

namespace yox::platform {

// The kernel's devices as libudev shows them, under the names that Windows would give them
// (docs/hardware-ids.md). Events come from the udev daemon, or where none runs from the kernel
// itself. As long as there is a registration, one thread listens and runs the callbacks.
class LinuxDeviceTree final : public DeviceTree {
 public:
  enum class Source { kDetect, kDaemon, kKernel };

  explicit LinuxDeviceTree(Source source = Source::kDetect);
  ~LinuxDeviceTree() override;
  LinuxDeviceTree(const LinuxDeviceTree&) = delete;
  LinuxDeviceTree& operator=(const LinuxDeviceTree&) = delete;

  std::unique_ptr<DeviceRegistration> Register(PCM_NOTIFY_CALLBACK callback,
                                               void* context) override;
  void Enumerate(const Visitor& visit) override;
  std::vector<WString> HardwareIds(const WString& instance_id) override;

 private:
  class Known;
  class Monitor;
  class Registration;

  const Source source_;
  const std::shared_ptr<Known> known_;
  yox::Mutex mutex_;
  std::weak_ptr<Monitor> monitor_ YOX_GUARDED_BY(mutex_);
};

}  // namespace yox::platform
