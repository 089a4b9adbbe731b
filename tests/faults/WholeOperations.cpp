#include "tests/faults/WholeOperations.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <string>
#include <utility>

#include "yox/applicability/ApplicabilityEvaluator.h"
#include "yox/applicability/HardwareIdRepository.h"
#include "yox/applicability/PnPDeviceTracker.h"
#include "yox/base/Base64.h"
#include "yox/base/Log.h"
#include "yox/base/String.h"
#include "yox/clientbase/FileSystem.h"
#include "yox/clientbase/Paths.h"
#include "yox/decision/FilterDocument.h"
#include "yox/device/DeviceInfoProvider.h"
#include "yox/device/MachineInformation.h"
#include "yox/device/RegionInformation.h"
#include "yox/notifications/YOXPublisherSubscriber.h"
#include "yox/platform/Platform.h"
#include "yox/platform/files/Files.h"
#include "yox/platform/files/PathText.h"
#include "yox/platform/registry/Registry.h"
#include "yox/platform/waits/Event.h"
#include "yox/policy/PlatformPolicy.h"
#include "yox/policy/ProvisionFileUtility.h"
#include "yox/tags/AppAndTagCollection.h"
#include "yox/tags/PersonaTagRegistryMonitor.h"

#include "tests/support/Latch.h"
#include "tests/trust/Material.h"

namespace yox_test {

const char* const kDevice = R"~({
  "clock": {"now": "2026-03-01T12:00:00", "uptime_seconds": 7200},
  "client": {"version": "4.2.10.0"},
  "firmware": {"manufacturer": "Contoso", "family": "Falcon 14", "model_number": "FA14-2210",
    "sku": "FALCON14-16-512", "serial_number": "C0FFEE12", "enclosure_type": "Notebook"},
  "os": {"product_name": "Windows 11 Pro", "edition_id": "Professional",
    "version": "10.0.22631.4460", "caption": "Microsoft Windows 11 Pro", "architecture": 9},
  "region": {"country_code": "US", "country_name": "United States", "region_name": "USA",
    "language_code": "en-US", "language_name": "English (United States)"
}
, "user" : {"sid" : "S-1-5-21-1-2-3-1001"},
           "registry" : {
             "HKLM\\SOFTWARE\\Contoso\\App" : {"Channel" : {"type" : "REG_SZ", "data" : "beta"}},
             "HKLM\\SOFTWARE\\Tervan\\YOX\\Applicability\\Tags" :
                 {"Ring" : {"type" : "REG_SZ", "data" : "pilot"}}
           },
                        "devices" : [ {
                          "instance_id" : "PCI\\VEN_8086&DEV_7D45\\3",
                          "hardware_ids" : ["PCI\\VEN_8086&DEV_7D45"]
                        } ],
                                    "accelerators"
    : [ {"manufacturer" : "Contoso", "description" : "Contoso AI Boost"} ],
      "display_adapters" : [ {
        "description" : "Contoso Graphics 7",
        "software" : false,
        "dedicated_video_memory" : 134217728,
        "dedicated_system_memory" : 0,
        "shared_system_memory" : 8589934592
      } ],
                           "installed_apps"
    : [ {"key" : "{1234}", "name" : "Contoso Editor", "version" : "7.1.0"} ],
      "store_apps" : {"Contoso.Notes" : "2.0.1.0"},
                     "first_run_date" : "2025-01-10"
})~";

namespace {
using namespace yox::literals;
using YOX::String;
using yox::WString;

std::string Utf8(const WString& text) { return String::UTF16ToUTF8(text); }

std::string TextsOf(const MachineInformation& record) {
  std::string texts;
  for (std::size_t i = 0; i < static_cast<std::size_t>(MachineInformation::Text::kCount); ++i) {
    texts += Utf8(WString(record.View(static_cast<MachineInformation::Text>(i)))) + "\n";
  }
  return texts;
}

std::string Collect() {
  const auto record = MachineInformation::Publish();
  record->ReInitialize(true);
  record->CollectAdditionalInfo(true);
  return TextsOf(*record);
}

std::string Region() {
  RegionInformation* const region = RegionInformation::GetInstance();
  region->ReInitialize();
  return Utf8(region->country_code() + "|"_w + region->language_code());
}

class OwnCollection : public AppAndTagCollection {
 public:
  OwnCollection() = default;
};

std::string RefreshTags() {
  MachineInformation::Publish();
  auto& registry = yox::platform::Platform::Get().registry();
  const yox::platform::RegistryKey key{
      HKEY_LOCAL_MACHINE, AppAndTagCollection::szRegKeySubPath, {}, {}};
  registry.DeleteKey(key);
  registry.CreateKey(key);
  registry.SetValue(key, "Ring"_w, yox::platform::RegistryValue::Text("pilot"_w));
  yox::platform::Event stop;
  OwnCollection tags;
  tags.RefreshTags(stop.handle(), true);
  return Utf8(tags.getTagsAsString());
}

// Every criterion that reads the device, each of them true of it.
const ApplicabilityFilter& EveryCriterion() {
  static const ApplicabilityFilter list = yox::decision::ReadFilterDocument(R"([{
    "country": "US", "language": "en-US", "enclosure": "Notebook", "family": "Falcon*",
    "mfr": "Contoso", "model": "FA14-2210", "sku": "FALCON14-16-512", "os": "Windows",
    "os_bitness": "64", "os_description": "*11 Pro", "os_version": "10.0.22631.4460",
    "installed_items": "Contoso Editor|7.1.0", "hardware_id": "PCI\\VEN_8086&DEV_7D45",
    "registry": "HKLM\\SOFTWARE\\Contoso\\App\\Channel|beta",
    "date_range": "2026-01-01|2027-01-01", "value": "true"}])");
  return list;
}

std::string Decide() {
  MachineInformation::Publish()->ReInitialize(true);
  AppAndTagCollection::GetInstance()->setTags({});
  WString reason;
  const bool applies = ApplicabilityEvaluator::CreateWithoutTasks()->IsApplicable(
      EveryCriterion(), nullptr, {}, reason);
  return (applies ? "applies: " : "does not apply: ") + Utf8(reason);
}

std::string ReadWhole(const std::string& path) {
  std::ifstream stream = FileSystem::OpenToRead(String::UTF8ToUTF16(path));
  return {std::istreambuf_iterator<char>(stream), {}};
}

std::string SaveCertificates() {
  static YOX::Log log("faults");
  std::string bridge;
  if (!YOX::utility::getBridgeMqttPemFilePath(bridge)) return "no folder";
  const std::string combined = YOX::utility::getMqttPemFilePath();
  for (const std::string& file : {bridge, combined}) {
    std::error_code ignored;
    std::filesystem::remove(FileSystem::Locate(String::UTF8ToUTF16(file)), ignored);
  }
  PlatformPolicy policy(&log);
  policy.set_mqtt_chain_pem64(String::UTF8ToUTF16(yox::ToBase64(kRootACertificate)));
  const bool done = policy.updateMqttCertChain();
  return (done ? "done: " : "failed: ") + ReadWhole(combined);
}

class OwnProvision : public ProvisionFileUtility {
 public:
  OwnProvision() = default;
};

std::string Provision() {
  const WString folder =
      FileSystem::GetCommonApplicationDataPath() + yox::platform::NativePath("\\tervan\\YOX\\"_wv);
  if (!FileSystem::createDirectory(folder, true)) return "no folder";
  FileSystem::OpenToWrite(folder + "yox-provision.json"_w, std::ios::out | std::ios::binary)
      << R"({"provisionToken": "a.b.c"})";
  OwnProvision provision;
  provision.ExtractProvisionFileInfo();
  provision.PopulateProvisionInfo();
  const DeviceProvisionInfo info = provision.GetProvisionInfo();
  return Utf8(info.provisionToken) + (info.isTokenValid ? " valid" : " invalid");
}

std::string Watch() {
  HardwareIdRepository repository;
  PnPDeviceTracker tracker(repository);
  const bool started = tracker.Start();
  tracker.Stop();
  auto ids = repository.Snapshot();
  std::ranges::sort(ids);
  std::string text = started ? "started:" : "not started:";
  for (const WString& id : ids) text += " " + Utf8(id);

  yox::PersonaTagRegistryMonitor monitor;
  monitor.Start();
  monitor.Stop();
  return text;
}

class OwnBus : public YOXPublisherSubscriber {
 public:
  OwnBus() = default;
  ~OwnBus() override = default;
};

// Subscribes, publishes, and returns what was received; leaves again, whatever fails.
std::string ReceivedOn(OwnBus& bus) {
  struct Subscription {
    ~Subscription() { bus.Unsubscribe(id); }
    OwnBus& bus;
    WString id;
  };
  Latch received;
  int event = 0;
  const Subscription subscription{bus, bus.Subscribe(
                                           [&](YOXNotificationData& record) {
                                             event = record.getEventState();
                                             received.CountDown();
                                           },
                                           true)};
  bus.Notify({7, 307, "payload"_w}, {});
  return received.Wait() ? std::to_string(event) : "lost";
}

// On a bus that lives on, whose worker a lock that was left behind would stop, and on one that
// ends.
std::string PublishRecord() {
  static auto& lasting = *new OwnBus;
  OwnBus own;
  const std::string text = ReceivedOn(lasting) + " " + ReceivedOn(own);
  own.Cleanup();
  return text;
}

}  // namespace

const std::vector<WholeOperation>& WholeOperations() {
  static const std::vector<WholeOperation> operations = {
      {"Collect", Collect},
      {"Region", Region},
      {"RefreshTags", RefreshTags},
      {"Decide", Decide},
      {"SaveCertificates", SaveCertificates},
      {"Provision", Provision, false},
      {"Watch", Watch},
      {"Publish", PublishRecord, false},
  };
  return operations;
}

}  // namespace yox_test
