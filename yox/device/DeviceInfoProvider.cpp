#include "yox/device/DeviceInfoProvider.h"

#include <exception>

#include "yox/clientbase/Log.h"
#include "yox/clientbase/platform/Platform.h"

namespace YOX {

constinit std::atomic<DeviceInfoProvider*> DeviceInfoProvider::device_info_provider_{nullptr};
std::mutex DeviceInfoProvider::instance_mutex_;

DeviceInfoProvider* DeviceInfoProvider::GetInstance() {
  const std::lock_guard lock(instance_mutex_);
  if (device_info_provider_.load(std::memory_order_relaxed) == nullptr) {
    g_log.d("%s Creating object of DeviceInfoProvider", "YOX::DeviceInfoProvider::GetInstance");
    device_info_provider_.store(new DeviceInfoProvider, std::memory_order_release);
  }
  return device_info_provider_.load(std::memory_order_relaxed);
}

DeviceInfoProvider::~DeviceInfoProvider() = default;

Architecture DeviceInfoProvider::GetCPUArchitecture() {
  constexpr const char* kName = "YOX::DeviceInfoProvider::GetCPUArchitecture";
  std::uint32_t architecture = architecture_.load(std::memory_order_relaxed);
  if (architecture == kUnknown) {
    try {
      architecture = platform::Platform::Get().operating_system().Architecture();
      if (architecture != kUnknown) {
        architecture_.store(architecture, std::memory_order_relaxed);
        g_log.e("%s Architecture is: %d", kName, architecture);
      }
    } catch (const std::exception&) {
      g_log.e("%s: Exception in wmi query for win32_processor", kName);
    }
  }
  return architecture == kUnknown ? Architecture::x64 : Architecture{architecture};
}

}  // namespace YOX
