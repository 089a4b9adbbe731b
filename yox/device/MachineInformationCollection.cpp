#include <algorithm>
#include <utility>

#include "yox/base/Log.h"
#include "yox/base/String.h"
#include "yox/clientbase/BrandAgent.h"
#include "yox/clientbase/CRegUtil.h"
#include "yox/clientbase/MTMAgent.h"
#include "yox/clientbase/OperatingSystemAgent.h"
#include "yox/clientbase/SMBiosInformationRetriever.h"
#include "yox/clientbase/SubBrandAgent.h"
#include "yox/clientbase/System.h"
#include "yox/device/Environment.h"
#include "yox/device/MachineInformation.h"
#include "yox/device/RegionInformation.h"
#include "yox/device/UpdateHistory.h"
#include "yox/platform/Platform.h"
#include "yox/platform/devices/Accelerators.h"
#include "yox/platform/devices/DisplayAdapters.h"
#include "yox/platform/system/OperatingSystem.h"

using namespace yox::literals;
using YOX::g_log;
using YOX::String;
using yox::WString;
using yox::platform::DisplayAdapter;
using yox::platform::Platform;

namespace {

// Three tests, each of which alone finds most adapters that are not real graphics processors.
bool IsGraphicsHardware(const DisplayAdapter& adapter) {
  return !adapter.software &&
         adapter.description.find("Microsoft Basic Render Driver"_wv) == WString::npos &&
         (adapter.dedicated_video_memory != 0 || adapter.dedicated_system_memory != 0 ||
          adapter.shared_system_memory != 0);
}

}  // namespace

void MachineInformation::ReadMachineInformation(bool force) {
  try {
    using Firmware = SMBiosInformationRetriever;
    if (force) Firmware::ReInitialize();
    Firmware* const firmware = Firmware::GetInstance();
    const auto text = [firmware](WString (Firmware::*get)() const) {
      return firmware != nullptr ? (firmware->*get)() : WString();
    };
    set_device_enclosuretype(text(&Firmware::GetEnclosureType));
    set_device_family(text(&Firmware::GetFamily));
    set_device_manufacturer(text(&Firmware::GetManufacturer));
    set_device_bios_version(text(&Firmware::GetBiosVersion));
    set_device_bios_version_short(text(&Firmware::GetBiosVersionShort));
    set_device_bios_release_date(text(&Firmware::GetBiosReleaseDate));
    set_device_ec_release_date(text(&Firmware::GetECReleaseDate));
    set_device_smbios_version(text(&Firmware::GetSmBiosVersion));
    set_device_ec_version(text(&Firmware::GetEcVersion));
    const WString mtm = MTMAgent::GetMTM(text(&Firmware::GetModelNumber));
    set_device_model(mtm);
    SetMachineType(mtm);
    SetSerialNumber(text(&Firmware::GetSerialNumber));
    set_baseboard_serial_number(text(&Firmware::GetOrlaSerialNumber));
    const WString sku = text(&Firmware::GetSKU);
    const WString family = text(&Firmware::GetFamily);
    set_device_brand(BrandAgent::GetBrand(sku, family, text(&Firmware::GetManufacturer)));
    set_device_subbrand(SubBrandAgent::GetSubBrand(sku, family));

    RegionInformation* const region = RegionInformation::GetInstance();
    if (force) region->Init(true);
    set_os_region(region->country_code());
    set_os_language(region->language_code());

    set_os_name(OperatingSystemAgent::GetOperatingSystemProductName());
    set_os_version(OperatingSystemAgent::GetOperatingSystemVersion());
    set_os_is_s_mode(OperatingSystemAgent::IsSMode());
    set_device_info_datetime(YOX::System::GetTime());

    WString title, description;
    yox::device::ReadNewestUpdate(Platform::Get().operating_system(), title, description);
    set_os_update_title(title);
    set_os_update_description(description);

    std::string caption;
    YOX::Environment::GetOsDescription(caption);
    set_os_description(String::UTF8ToUTF16(caption));
  } catch (...) {  // NOLINT(bugprone-empty-catch): the collection ends where a source failed
  }
}

void MachineInformation::SetMachineType(WString mtm) {
  WString simulated;
  const bool read = YOX::CRegUtil::GetRegValueOfStringType(HKEY_LOCAL_MACHINE,
                                                           "Software\\Tervan\\YOXDeviceSimulator"_w,
                                                           "MachineType"_w, simulated) != 0;
  set_device_mt(read && !simulated.empty() ? simulated : MTMAgent::GetMTFromMTM(mtm));
}

void MachineInformation::SetSerialNumber(WString serial) { set_serial_number(serial); }

void MachineInformation::CollectNpuInfo() {
  constexpr const char* kName = "MachineInformation::CollectNpuInfo";
  const auto accelerators = Platform::Get().accelerators().Enumerate();
  if (!accelerators) {
    g_log.d("%s Invalid class guid", kName);
    return;
  }
  for (const yox::platform::Accelerator& accelerator : *accelerators) {
    if (accelerator.manufacturer) {
      g_log.d("%s Manufacturer : %s", kName, *accelerator.manufacturer);
      set_npu_mfr(*accelerator.manufacturer);
    }
    if (accelerator.description) {
      g_log.d("%s Description : %s", kName, *accelerator.description);
      set_npu_description(*accelerator.description);
    }
  }
  if (accelerators->empty()) {
    set_npu_exists("false"_w);
    g_log.d("%s NPU doesnt exist, set to false", kName);
  } else {
    set_npu_exists("true"_w);
    g_log.d("%s NPU exists, set to true", kName);
  }
  g_log.d("%s exiting", kName);
}

void MachineInformation::CollectGpuNames() {
  constexpr const char* kName = "MachineInformation::CollectGpuNames";
  std::vector<WString> names;
  const auto adapters = Platform::Get().display_adapters().Enumerate();
  for (const DisplayAdapter& adapter : adapters.value_or(std::vector<DisplayAdapter>())) {
    if (IsGraphicsHardware(adapter)) names.push_back(adapter.description);
  }
  if (names.empty()) {
    g_log.e("%s Failed to collect GPU names using DXGI", kName);
    return;
  }
  {
    const yox::MutexLock lock(lists_mutex_);
    gpu_names_ = names;
  }
  for (const WString& name : names) g_log.d("%s GPU Name : %s", kName, name);
}

void MachineInformation::CollectAdditionalInfo(bool with_npu) {
  if (with_npu) CollectNpuInfo();
  CollectGpuNames();
}
