#include "yox/device/DeviceInfoProvider.h"

#include <array>
#include <utility>
#include <variant>
#include <vector>

#include "yox/base/Log.h"
#include "yox/base/String.h"
#include "yox/clientbase/CGuid.h"
#include "yox/clientbase/DeveloperSettings.h"
#include "yox/clientbase/WmiUtility.h"
#include "yox/clientbase/XMLConfigAgent.h"
#include "yox/device/MachineInformation.h"
#include "yox/foundation/YOXHelperFactory.h"
#include "yox/platform/Platform.h"

namespace YOX {
namespace {

constexpr std::size_t kMachineTypeSize = 4;
constexpr std::size_t kHubPrefixSize = 4;

const WString& OrElse(const WString& first, const WString& second) {
  return first.empty() ? second : first;
}

}  // namespace

constinit std::atomic<DeviceInfoProvider*> DeviceInfoProvider::device_info_provider_{nullptr};
yox::Mutex DeviceInfoProvider::instance_mutex_;

DeviceInfoProvider* DeviceInfoProvider::GetInstance() {
  const yox::MutexLock lock(instance_mutex_);
  if (device_info_provider_.load(std::memory_order_relaxed) == nullptr) {
    g_log.d("%s Creating object of DeviceInfoProvider", "YOX::DeviceInfoProvider::GetInstance");
    device_info_provider_.store(new DeviceInfoProvider, std::memory_order_release);
  }
  DeviceInfoProvider* const provider = device_info_provider_.load(std::memory_order_relaxed);
  provider->force_refresh_.store(false);
  return provider;
}

DeviceInfoProvider::~DeviceInfoProvider() {
  g_log.d("%s destructor of DeviceInfoProvider called",
          "YOX::DeviceInfoProvider::~DeviceInfoProvider");
}

std::uint32_t DeviceInfoProvider::Init(std::shared_ptr<MachineInformation> record) {
  return UpdateMachineInformation(std::move(record));
}

std::uint32_t DeviceInfoProvider::UpdateMachineInformation(
    std::shared_ptr<MachineInformation> record) {
  try {
    if (machine_information_agent_ && !force_refresh_.load()) return kSuccess;
    if (!record) record = yox::YOXHelperFactory::GetInstance()->GetMachineInformationAgent();
    if (!record) return kFailure;
    machine_information_agent_ = std::move(record);

    WString machine_type, serial, bios, mtm, model;
    try {
      const XMLConfigAgent configured = XMLConfigAgent::GetInstance(0);
      machine_type = configured.GetMachineType();
      serial = configured.GetSerialNumber();
      bios = configured.GetBIOSVersion();
      const WString overridden = DeveloperSettings::GetInstance().OverrideDeviceModel();
      if (!overridden.empty()) {
        machine_type = overridden.substr(0, kMachineTypeSize);
        mtm = overridden;
        model = overridden;
      } else {
        mtm = configured.GetMTM();
        model = configured.GetMachineModel();
      }
    } catch (...) {  // NOLINT(bugprone-empty-catch): the record supplies what is missing
    }

    const MachineInformation& machine = *machine_information_agent_;
    manufacturer_ = machine.device_manufacturer();
    enclosure_type_ = machine.device_enclosuretype();
    family_ = machine.device_family();
    mtm_ = OrElse(mtm, machine.device_model());
    mt_ = OrElse(machine_type, machine.device_mt());
    real_serial_number_ = machine.serial_number();
    system_serial_number_ = OrElse(serial, real_serial_number_);
    bios_version_ = OrElse(bios, machine.device_bios_version());
    model_ = OrElse(model, machine.device_model());
    category_ = GetDeviceIsHub() ? "HUB"_w : "PC"_w;
    GetCPUArchitecture();
    return mt_.empty() || system_serial_number_.empty() ? kFailure : kSuccess;
  } catch (...) {
    return kFailure;
  }
}

bool DeviceInfoProvider::GetDeviceIsHub() const {
  return (mt_ == hub_machine_type_first_ || mt_ == hub_machine_type_second_) &&
         bios_version_.substr(0, kHubPrefixSize) == hub_bios_prefix_;
}

Architecture DeviceInfoProvider::GetCPUArchitecture() {
  constexpr const char* kName = "YOX::DeviceInfoProvider::GetCPUArchitecture";
  const std::uint64_t generation = platform::Platform::Generation();
  std::uint32_t architecture = generation_.load(std::memory_order_acquire) == generation
                                   ? architecture_.load(std::memory_order_relaxed)
                                   : kUnknown;
  if (architecture == kUnknown) {
    try {
      std::vector<platform::ManagementValue> values;
      WmiUtility::ExecQuery("ROOT\\CIMV2"_w, "SELECT Architecture FROM Win32_Processor"_w,
                            "Architecture"_w, values);
      const auto* const number =
          values.empty() ? nullptr : std::get_if<std::int32_t>(&values.front());
      if (number != nullptr) {
        architecture = static_cast<std::uint32_t>(*number);
        architecture_.store(architecture, std::memory_order_relaxed);
        generation_.store(generation, std::memory_order_release);
        g_log.e("%s Architecture is: %d", kName, architecture);
      }
    } catch (...) {
      g_log.e("%s: Exception in wmi query for win32_processor", kName);
    }
  }
  return architecture == kUnknown ? Architecture::x64 : Architecture{architecture};
}

std::uint32_t DeviceInfoProvider::GetLegacyDeviceID(WString& id) const {
  // The name space is the client's own identifier.
  constexpr std::array<unsigned char, 16> kClient = {0x0F, 0x9C, 0x83, 0x9C, 0xB3, 0x66,
                                                     0x47, 0xFC, 0x92, 0x51, 0x97, 0xB6,
                                                     0x75, 0xDC, 0x39, 0xBB};
  if (system_serial_number_.empty()) return kFailure;
  try {
    id = String::ToUpper(
        Utility::CGuid::FromName(kClient, String::UTF16ToUTF8(system_serial_number_)));
    return kSuccess;
  } catch (...) {
    return kFailure;
  }
}

}  // namespace YOX
