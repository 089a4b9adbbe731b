#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "yox/applicability/SimulatedProcess.h"
#include "yox/base/String.h"
#include "yox/decision/Dates.h"
#include "yox/decision/FactsDocument.h"
#include "yox/decision/FilterDocument.h"
#include "yox/platform/simulated/DeviceProfileReader.h"
#include "yox/platform/simulated/SimulatedDevice.h"

namespace {

using yox::applicability::FactsOf;
using yox::applicability::SimulatedProcess;
using yox::decision::FactsJson;
using yox::platform::ReadDeviceProfile;

// A device with something of every kind.
constexpr const char* kWholeProfile = R"({
  "clock": {"now": "2026-03-14T12:00:00", "time_zone": "Europe/Zurich"},
  "firmware": {"manufacturer": "Contoso", "family": "Falcon", "model_number": "FA14",
               "enclosure_type": "Notebook", "sku": "FALCON14", "serial_number": "C0FFEE12"},
  "os": {"architecture": 9, "caption": "Contoso OS Pro", "version": "10.0.22631"},
  "region": {"country_code": "CH", "language_code": "fr-CH"},
  "client": {"version": "4.2.10"},
  "organisation": {"realm": "contoso", "subscriptions": ["first", "second"]},
  "registry": {"HKLM\\SOFTWARE\\Contoso": {"Channel": {"type": "REG_SZ", "data": "beta"}},
               "HKCU\\SOFTWARE\\Contoso": {"Level": {"type": "REG_DWORD", "data": 5}}},
  "devices": [{"instance_id": "PCI\\A\\1", "hardware_ids": ["PCI\\VEN_8086"]}],
  "installed_apps": [{"key": "{1}", "name": "Editor", "version": "7.1.0"}],
  "store_apps": {"Contoso.Notes": "2.0"}
})";

std::string FactsOfProfile(const char* profile) {
  const std::vector<ApplicabilityFilter> lists = {yox::decision::ReadFilterDocument(
      R"([{"registry": "HKLM\\SOFTWARE\\Contoso:Channel|x,HKCU\\SOFTWARE\\Contoso:Level|x"}])")};
  return FactsJson(FactsOf(ReadDeviceProfile(profile), lists));
}

TEST(FactsOfAProfile, AreAllThatItSays) {
  EXPECT_EQ(
      FactsOfProfile(kWholeProfile),
      R"({"time_zone":"Europe/Zurich","country":"CH","language":"fr-CH","enclosure":"Notebook",)"
      R"("family":"Falcon","mfr":"Contoso","model":"FA14","sku":"FALCON14","os":"Windows",)"
      R"("os_bitness":"64","os_description":"Contoso OS Pro","os_version":"10.0.22631",)"
      R"("version":"4.2.10","serial_number":"C0FFEE12","realm":"contoso",)"
      R"("device_subscription":["first","second"],)"
      R"("tags":{"Device.Usage.IsManagedDevice":"true"},)"
      R"("installed_items":[["{1}","7.1.0"],["Editor","7.1.0"],["Contoso.Notes","2.0"]],)"
      R"("hardware_ids":["PCI\\VEN_8086"],)"
      R"("registry":{"HKLM\\SOFTWARE\\Contoso":{"Channel":"beta"},)"
      R"("HKCU\\SOFTWARE\\Contoso":{"Level":"5"}}})");
}

TEST(FactsOfAProfile, AreNotThoseOfTheOneBefore) {
  FactsOfProfile(kWholeProfile);
  EXPECT_EQ(FactsOfProfile(R"({"clock": {"time_zone": "+02:00"}})"),
            R"({"time_zone":"+02:00","country":null,"language":null,"firmware":false,)"
            R"("enclosure":null,"family":null,"mfr":null,"model":null,"sku":null,"os":"Windows",)"
            R"("os_bitness":"64","os_description":null,"os_version":null,"version":null,)"
            R"("serial_number":"","realm":null,"device_subscription":null,)"
            R"("tags":{"Device.Usage.IsManagedDevice":"false"},"installed_items":[],)"
            R"("hardware_ids":[],"registry":{"HKLM\\SOFTWARE\\Contoso":{"Channel":null},)"
            R"("HKCU\\SOFTWARE\\Contoso":{"Level":null}}})");
}

TEST(FactsOfAProfile, HaveTheBucketsOfTheDeviceAndOfItsOrganisation) {
  const auto facts = FactsOf(ReadDeviceProfile(kWholeProfile), {});
  const auto bucket_of = [](const char* text) {
    return yox::decision::RolloutBucket(
        yox::decision::SaltedHashOf(YOX::String::UTF8ToUTF16(text)));
  };
  EXPECT_EQ(facts.rollout_bucket.value, bucket_of("C0FFEE12"));
  EXPECT_EQ(facts.organisation_bucket.value, bucket_of("contoso"));
}

TEST(FactsOfAProfile, HaveNoHardwareIdsWhereDevicesCannotBeFollowed) {
  const SimulatedProcess process(ReadDeviceProfile(kWholeProfile));
  static_cast<yox::platform::SimulatedDevice&>(yox::platform::Platform::Get())
      .device_tree()
      .AcceptRegistrations(false);
  const auto record = ApplicabilityEvaluator::CreateWithoutTasks()->CollectFacts({});
  ASSERT_TRUE(record.hardware_ids.has_value());
  EXPECT_TRUE(record.hardware_ids->empty());
}

}  // namespace
