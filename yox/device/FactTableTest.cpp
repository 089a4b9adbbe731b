#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>

#include "yox/device/DeviceInfoProvider.h"
#include "yox/device/FactTable.h"
#include "yox/device/InstalledDevice.h"
#include "yox/device/MachineInformation.h"

namespace {

using yox::device::Fact;

TEST(DeviceFactsTest, EveryFactHasAGroupASourceAndANameOfItsOwn) {
  std::set<std::string> groups;
  for (const auto& group : yox::device::FactGroups()) groups.insert(group.name);
  std::set<std::string> names;
  for (const Fact& fact : yox::device::Facts()) {
    EXPECT_TRUE(groups.contains(fact.group)) << fact.name;
    EXPECT_NE(fact.source, std::string());
    EXPECT_TRUE(names.insert(std::string(fact.group) + "." + fact.name).second) << fact.name;
  }
}

TEST(DeviceFactsTest, ValuesComeFromTheDevice) {
  yox_test::InstalledDevice device;
  YOX::DeviceInfoProvider::GetInstance()->Init(MachineInformation::GetShared());
  std::map<std::string, Json::Value> values;
  for (const Fact& fact : yox::device::Facts()) {
    values[std::string(fact.group) + "." + fact.name] = fact.read();
  }
  EXPECT_EQ(values["hardware.device_manufacturer"], "Contoso");
  EXPECT_EQ(values["hardware.device_extension_keyvalue"], Json::Value(Json::arrayValue));
  EXPECT_EQ(values["accelerators.gpu_names"], Json::Value(Json::arrayValue));
  EXPECT_EQ(values["operating_system.os_is_s_mode"], true);
  EXPECT_EQ(values["operating_system.os_version"], "10.0.22631.4460");
  EXPECT_EQ(values["region.country_code"], "US");
  EXPECT_EQ(values["identity.machine_type"], "FA14");
  EXPECT_EQ(values["identity.mtm"], "FA14-2210");
  EXPECT_EQ(values["identity.architecture"].asUInt(), 9U);
  EXPECT_EQ(values["identity.legacy_device_id"], "1A00AD57-1D9D-5E3E-BCD7-A6C44957DF08");
  EXPECT_EQ(values["management.managed"], false);
  EXPECT_EQ(values["management.edition"], false);
}

}  // namespace
