#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>

#include "yox/clientbase/Export.h"

namespace YOX {

// The processor's architecture, as Win32_Processor numbers it.
enum class Architecture : std::uint32_t { x86 = 0, ARM = 5, IA64 = 6, x64 = 9, ARM64 = 12 };

// The device's identity as the client presents it to its services. A process-wide singleton.
class YOX_API DeviceInfoProvider {
 public:
  static DeviceInfoProvider* GetInstance();
  virtual ~DeviceInfoProvider();

  // x64 when nothing is known. A success is remembered, a failure is not.
  virtual Architecture GetCPUArchitecture();

 protected:
  DeviceInfoProvider() = default;

 private:
  static constexpr std::uint32_t kUnknown = 65535;

  static std::atomic<DeviceInfoProvider*> device_info_provider_;
  static std::mutex instance_mutex_;

  std::atomic<std::uint32_t> architecture_{kUnknown};
};

}  // namespace YOX
