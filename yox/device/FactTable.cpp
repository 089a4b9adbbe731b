#include "yox/device/FactTable.h"

#include "yox/base/String.h"
#include "yox/device/DeviceInfoProvider.h"
#include "yox/device/DeviceManagementStatus.h"
#include "yox/device/MachineInformation.h"
#include "yox/device/RegionInformation.h"
#include "yox/platform/Platform.h"
#include "yox/platform/apps/Applications.h"

namespace yox::device {
namespace {

constexpr FactGroup kGroups[] = {
    {"hardware", "Hardware and firmware"},    {"accelerators", "Accelerators"},
    {"operating_system", "Operating system"}, {"region", "Region"},
    {"identity", "Presented identity"},       {"management", "Management"},
    {"applications", "Applications"},
};

Json::Value ToJson(const WString& text) { return String::UTF16ToUTF8(text); }

Json::Value ToJson(const std::vector<WString>& list) {
  Json::Value array(Json::arrayValue);
  for (const WString& text : list) array.append(ToJson(text));
  return array;
}

MachineInformation& Record() { return *MachineInformation::GetInstance(); }
YOX::DeviceInfoProvider& Provider() { return *YOX::DeviceInfoProvider::GetInstance(); }

template <WString (YOX::DeviceInfoProvider::*kGet)() const>
Json::Value Presented() {
  return ToJson((Provider().*kGet)());
}

Json::Value LegacyDeviceId() {
  WString id;
  Provider().GetLegacyDeviceID(id);
  return ToJson(id);
}

Json::Value UnreadDatabases() { return ToJson(platform::Platform::Get().applications().Unread()); }

}  // namespace

std::span<const FactGroup> FactGroups() { return kGroups; }

#define YOX_RECORD_FACT(name, position, group, source) \
  {#group, #name, source, [] { return ToJson(Record().name()); }},
#define YOX_REGION_FACT(name, source) \
  {"region", #name, source, [] { return ToJson(RegionInformation::GetInstance()->name()); }},

std::vector<Fact> Facts() {
  using Provided = YOX::DeviceInfoProvider;
  std::vector<Fact> facts = {
      YOX_MACHINE_TEXTS(YOX_RECORD_FACT, YOX_RECORD_FACT)  //
      {"hardware", "device_extension_keyvalue", "host",
       [] { return ToJson(Record().device_extension_keyvalue()); }},
      {"accelerators", "gpu_names", "display adapters",
       [] { return ToJson(Record().gpu_names()); }},
      {"operating_system", "os_is_s_mode", "operating system",
       [] { return Json::Value(Record().os_is_s_mode()); }},
      YOX_REGION_TEXTS(YOX_REGION_FACT)  //
      {"applications", "unread_databases", "package databases", UnreadDatabases},
      {"identity", "mtm", "developer, configuration, record", Presented<&Provided::GetMTM>},
      {"identity", "machine_type", "developer, configuration, record", Presented<&Provided::GetMT>},
      {"identity", "system_serial_number", "configuration, record",
       Presented<&Provided::GetSystemSerialNumber>},
      {"identity", "real_serial_number", "record", Presented<&Provided::GetRealSerialNumber>},
      {"identity", "manufacturer", "record", Presented<&Provided::GetDeviceManufacturer>},
      {"identity", "enclosure_type", "record", Presented<&Provided::GetDeviceEnclosureType>},
      {"identity", "family", "record", Presented<&Provided::GetDeviceFamily>},
      {"identity", "category", "machine type, BIOS version",
       Presented<&Provided::GetDeviceCategory>},
      {"identity", "architecture", "processor",
       [] { return Json::Value(static_cast<unsigned>(Provider().GetCPUArchitecture())); }},
      {"identity", "legacy_device_id", "system serial number", LegacyDeviceId},
      {"management", "managed", "any of those below",
       [] { return Json::Value(DeviceManagementStatus::IsDeviceManaged()); }},
  };
  for (const ManagementSignal& signal : ManagementSignals()) {
    facts.push_back({"management", signal.name, signal.source,
                     [signal] { return Json::Value(signal.query()); }});
  }
  return facts;
}

#undef YOX_REGION_FACT
#undef YOX_RECORD_FACT

}  // namespace yox::device
