#include "yox/platform/registry/RegistryPlatform.h"
#include "yox/platform/system/RegistryFacts.h"

#include "tests/support/Rows.h"
#include "tests/support/ScriptedUsers.h"

namespace yox::platform {
namespace {

const WString kGeo = "Control Panel\\International\\Geo"_w;
constexpr WStringView kDeviceRegion =
    "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Control Panel\\DeviceRegion"_wv;

// The keys of the process's own user are the real ones on Windows: a test begins without the user's
// choice there, and leaves it as it was.
class RegistryFactsTest : public yox_test::OnEveryRegistry {
 protected:
  RegistryFactsTest() {
    users_.sid = own_user();
    users_.system_process = true;
    registry().Values(OfUser(), former_);
    Clear();
  }
  ~RegistryFactsTest() override {
    Clear();
    for (const auto& [name, value] : former_) registry().SetValue(OfUser(), name, value);
  }

  void Clear() {
    registry().DeleteValue(OfUser(), "Nation"_w);
    registry().DeleteValue(OfUser(), "Name"_w);
  }

  RegistryKey OfUser() { return {HKEY_CURRENT_USER, kGeo, {}, own_user()}; }
  ChosenRegion Read() { return ReadChosenRegion(registry(), users_); }

  yox_test::ScriptedUsers users_;
  std::vector<yox::platform::RegistryEntry> former_;
};
YOX_ON_EVERY_REGISTRY(RegistryFactsTest);

TEST_P(RegistryFactsTest, TextsAndNumbersOfAnotherTypeAreNotKnown) {
  const RegistryKey key = KeyOfMachine("SOFTWARE\\Contoso"_wv);
  EXPECT_EQ(ReadText(registry(), key, "Name"_wv), ""_w);
  EXPECT_EQ(ReadNumber(registry(), key, "Number"_wv), std::nullopt);
  Set(key, "Text"_w, RegistryValue::Text("seven"_w));
  Set(key, "Expandable"_w, RegistryValue::ExpandableText("%seven%"_w));
  Set(key, "Number"_w, RegistryValue::Dword(7));
  EXPECT_EQ(ReadText(registry(), key, "Text"_wv), "seven"_w);
  EXPECT_EQ(ReadText(registry(), key, "Expandable"_wv), "%seven%"_w);
  EXPECT_EQ(ReadText(registry(), key, "Number"_wv), ""_w);
  EXPECT_EQ(ReadNumber(registry(), key, "Number"_wv), 7U);
  EXPECT_EQ(ReadNumber(registry(), key, "Text"_wv), std::nullopt);
}

TEST_P(RegistryFactsTest, AServiceReadsTheRegionOfTheUserWhoIsLoggedOn) {
  Set(KeyOfMachine(kDeviceRegion), "DeviceRegion"_w, RegistryValue::Dword(244));
  Set(OfUser(), "Nation"_w, RegistryValue::Text("94"_w));
  Set(OfUser(), "Name"_w, RegistryValue::Text("DE"_w));
  EXPECT_EQ(Read(), (ChosenRegion{94, "DE"_w}));
  users_.system_process = false;
  users_.sid.clear();
  EXPECT_EQ(Read(), (ChosenRegion{94, "DE"_w})) << "of this process's own user";
}

TEST_P(RegistryFactsTest, WithoutAUserTheMachinesRegionCounts) {
  Set(OfUser(), "Nation"_w, RegistryValue::Text("94"_w));
  users_.sid.clear();
  EXPECT_EQ(Read(), ChosenRegion());
  Set(KeyOfMachine(kDeviceRegion), "DeviceRegion"_w, RegistryValue::Dword(244));
  EXPECT_EQ(Read(), (ChosenRegion{244, ""_w}));
}

TEST_P(RegistryFactsTest, AUserWhoChoseNoRegionHasTheMachines) {
  Set(KeyOfMachine(kDeviceRegion), "DeviceRegion"_w, RegistryValue::Dword(244));
  for (const WString& number : {""_w, "many"_w, "94 "_w, "12345678901"_w}) {
    Set(OfUser(), "Nation"_w, RegistryValue::Text(number));
    EXPECT_EQ(Read(), (ChosenRegion{244, ""_w}));
  }
  Set(OfUser(), "Name"_w, RegistryValue::Text("DE"_w));
  EXPECT_EQ(Read(), (ChosenRegion{0, "DE"_w}));
}

}  // namespace
}  // namespace yox::platform
