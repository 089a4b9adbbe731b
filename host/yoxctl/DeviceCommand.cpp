#include <json/writer.h>

#include <functional>
#include <memory>

#include "yox/base/String.h"
#include "yox/device/DeviceInfoProvider.h"
#include "yox/device/DeviceManagementStatus.h"
#include "yox/device/MachineInformation.h"
#include "yox/device/RegionInformation.h"
#include "yox/platform/Platform.h"
#include "yox/platform/devices/DeviceTree.h"

#include "host/yoxctl/ChosenDevice.h"
#include "host/yoxctl/CommandLine.h"
#include "host/yoxctl/Output.h"
#include "host/yoxctl/PresentDevices.h"
#include "host/yoxctl/ProgressLine.h"
#include "host/yoxctl/Table.h"

namespace yoxctl {
namespace {

using YOX::String;
using yox::WString;

struct DeviceOptions {
  bool refresh = false;
  bool hardware_ids = false;
};

// Each signal by itself.
class Signals : public DeviceManagementStatus {
 public:
  using DeviceManagementStatus::IsEnterpriseOrEducationEdition;
  using DeviceManagementStatus::IsGroupPolicySetForManagedDevice;
  using DeviceManagementStatus::IsJoinedToAadDomain;
  using DeviceManagementStatus::IsJoinedToAnyDomain;
  using DeviceManagementStatus::IsManagedBySCCM;
};

// Facts under a heading; each is read when the table is walked.
struct Fact {
  const char* name;
  const char* source;
  std::function<Json::Value()> read;
};
struct Group {
  const char* name;
  const char* title;
  std::vector<Fact> facts;
};

std::vector<Group> Groups() {
  MachineInformation* const record = MachineInformation::GetInstance();
  record->CollectAdditionalInfo(true);
  RegionInformation* const region = RegionInformation::GetInstance();
  auto* const provider = YOX::DeviceInfoProvider::GetInstance();
  provider->setForceRefresh(true);
  provider->Init(std::shared_ptr<MachineInformation>(record, [](MachineInformation*) {}));

  const auto text = [](const WString& value) { return Json::Value(String::UTF16ToUTF8(value)); };
  const auto of_record = [=](const char* name, const char* source,
                             WString (MachineInformation::*get)() const) {
    return Fact{name, source, [=] { return text((record->*get)()); }};
  };
  const auto of_region = [=](const char* name, const char* source,
                             WString (RegionInformation::*get)() const) {
    return Fact{name, source, [=] { return text((region->*get)()); }};
  };
  const auto of_provider = [=](const char* name, const char* source,
                               WString (YOX::DeviceInfoProvider::*get)() const) {
    return Fact{name, source, [=] { return text((provider->*get)()); }};
  };
  const auto signal = [](const char* name, const char* source, bool (*ask)()) {
    return Fact{name, source, [=] { return Json::Value(ask()); }};
  };

#define RECORD(member, source) of_record(#member, source, &MachineInformation::member)
#define REGION(member, source) of_region(#member, source, &RegionInformation::member)
#define PROVIDER(name, source, get) of_provider(name, source, &YOX::DeviceInfoProvider::get)
  return {
      {"hardware",
       "Hardware and firmware",
       {RECORD(device_manufacturer, "firmware, system"),
        RECORD(device_brand, "SKU, family, manufacturer"), RECORD(device_subbrand, "SKU, family"),
        RECORD(device_family, "firmware, system"), RECORD(device_model, "firmware, system"),
        RECORD(device_mt, "simulator, model"), RECORD(device_enclosuretype, "firmware, enclosure"),
        RECORD(serial_number, "firmware, system"),
        RECORD(baseboard_serial_number, "firmware, baseboard; not cached"),
        RECORD(device_bios_version, "firmware, BIOS"),
        RECORD(device_bios_version_short, "firmware, BIOS"),
        RECORD(device_bios_release_date, "firmware, BIOS"),
        RECORD(device_ec_version, "firmware, BIOS"), RECORD(device_ec_release_date, "firmware"),
        RECORD(device_smbios_version, "firmware, entry point"), RECORD(device_tag, "host")}},
      {"accelerators",
       "Accelerators",
       {RECORD(npu_exists, "accelerator devices"), RECORD(npu_mfr, "accelerator devices"),
        RECORD(npu_description, "accelerator devices"),
        Fact{"gpu_names", "display adapters",
             [=] {
               Json::Value names(Json::arrayValue);
               for (const WString& name : record->gpu_names()) names.append(text(name));
               return names;
             }}}},
      {"operating_system",
       "Operating system",
       {RECORD(os_name, "operating system"), RECORD(os_version, "operating system"),
        RECORD(os_description, "operating system, caption"),
        Fact{"os_is_s_mode", "operating system",
             [=] { return Json::Value(record->os_is_s_mode()); }},
        RECORD(os_region, "region"), RECORD(os_language, "region"),
        RECORD(os_update_title, "update history"), RECORD(os_update_description, "update history"),
        RECORD(device_info_datetime, "clock, at the last collection")}},
      {"region",
       "Region",
       {REGION(country_code, "locale"), REGION(country_name, "locale"),
        REGION(region_name, "locale"), REGION(language_code, "locale"),
        REGION(language_name, "locale"),
        REGION(region_info_datetime, "clock, at the last reading")}},
      {"identity",
       "Presented identity",
       {PROVIDER("mtm", "developer, configuration, record", GetMTM),
        PROVIDER("machine_type", "developer, configuration, record", GetMT),
        PROVIDER("system_serial_number", "configuration, record", GetSystemSerialNumber),
        PROVIDER("real_serial_number", "record", GetRealSerialNumber),
        PROVIDER("manufacturer", "record", GetDeviceManufacturer),
        PROVIDER("enclosure_type", "record", GetDeviceEnclosureType),
        PROVIDER("family", "record", GetDeviceFamily),
        PROVIDER("category", "machine type, BIOS version", GetDeviceCategory),
        Fact{"architecture", "processor",
             [=] { return Json::Value(static_cast<unsigned>(provider->GetCPUArchitecture())); }},
        Fact{"legacy_device_id", "system serial number",
             [=] {
               WString id;
               provider->GetLegacyDeviceID(id);
               return text(id);
             }}}},
      {"management",
       "Management",
       {signal("managed", "any of those below", DeviceManagementStatus::IsDeviceManaged),
        signal("domain", "join state", Signals::IsJoinedToAnyDomain),
        signal("cloud_device", "join state", Signals::IsJoinedToAadDomain),
        signal("edition", "operating system, edition", Signals::IsEnterpriseOrEducationEdition),
        signal("policy", "registry, policies", Signals::IsGroupPolicySetForManagedDevice),
        signal("organisation", "registry, subscriptions",
               DeviceManagementStatus::IsDeviceClaimedInCommercialOrg),
        signal("management_service", "services", Signals::IsManagedBySCCM)}},
  };
#undef RECORD
#undef REGION
#undef PROVIDER
}

// One line, and a hyphen for what there is none of.
std::string Line(const Json::Value& value) {
  std::string line;
  if (value.isArray()) {
    for (const Json::Value& element : value) {
      line += (line.empty() ? "" : ", ") + yox::Printable(element.asString());
    }
  } else {
    line = yox::Printable(value.asString());
  }
  return line.empty() ? "-" : line;
}

std::string AsText(const std::vector<Group>& groups) {
  constexpr std::size_t kNameColumns = 28;
  constexpr std::size_t kValueColumns = 44;
  std::string text;
  for (const Group& group : groups) {
    text += (text.empty() ? "" : "\n") + std::string(group.title) + "\n";
    for (const Fact& fact : group.facts) {
      text += "  " + Padded(fact.name, kNameColumns) + Padded(Line(fact.read()), kValueColumns) +
              "  [" + fact.source + "]\n";
    }
  }
  return text;
}

std::string AsJson(const std::vector<Group>& groups) {
  Json::Value document;
  for (const Group& group : groups) {
    for (const Fact& fact : group.facts) {
      Json::Value& entry = document[group.name][fact.name];
      entry["value"] = fact.read();
      entry["source"] = fact.source;
    }
  }
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "  ";
  return Json::writeString(builder, document) + "\n";
}

int Show(const GlobalOptions& global, bool refresh) {
  const ChosenDevice device(global);
  std::string answer;
  {
    const ProgressLine progress("still asking the device");
    if (refresh) MachineInformation::GetInstance()->ReInitialize(true);
    const std::vector<Group> groups = Groups();
    answer = (global.json ? AsJson : AsText)(groups);
  }
  Print(answer);
  return kDone;
}

int ShowHardwareIds(const GlobalOptions& global) {
  const ChosenDevice device(global);
  Print(HardwareIdListing(yox::platform::Platform::Get().device_tree(), global.json));
  return kDone;
}

}  // namespace

Command DeviceCommand() {
  const auto options = std::make_shared<DeviceOptions>();
  return {.name = "device",
          .help = "What the device is, how it presents itself, and who manages it",
          .options = {{.name = "--refresh",
                       .help = "Read the device again, and renew what is kept of it",
                       .target = &options->refresh},
                      {.name = "--hardware-ids",
                       .help = "Instead of all that, the devices that are present, with their "
                               "hardware IDs",
                       .target = &options->hardware_ids}},
          .run = [options](const GlobalOptions& global) {
            return options->hardware_ids ? ShowHardwareIds(global) : Show(global, options->refresh);
          }};
}

}  // namespace yoxctl
