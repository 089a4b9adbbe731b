#include "yox/base/String.h"
#include "yox/platform/registry/Registry.h"
#include "yox/platform/registry/RegistryPlatform.h"
#include "yox/tags/Persona.h"

#include "tests/support/CapturedLog.h"

namespace {

using namespace yox::literals;
using yox::WString;
using yox::platform::RegistryKey;
using yox::platform::RegistryValue;

class TestPersona : public yox::Persona {
 public:
  using Persona::GeneratePersonaTagsInternal;
};

class PlayingDeveloper : public yox::PersonaUtility {
  bool IsGamer() override { return true; }
  bool IsDeveloper() override { return true; }
  bool RegistryPersonaValueExists(const yox::WChar*) override { return false; }
};

std::string TextOf(const std::vector<YOXTag>& tags) {
  std::string text;
  for (const YOXTag& tag : tags) {
    text += YOX::String::UTF16ToUTF8(tag.key()) + "=" + YOX::String::UTF16ToUTF8(tag.value()) + " ";
  }
  return text;
}

constexpr const char* kBoth =
    "User.Usage.Detected.Gaming=Windows User.Usage.Detected.Developer=Windows ";

TEST(PersonaTest, EachUseHasItsTagInOrderAndASecondCallAppendsAgain) {
  PlayingDeveloper utility;
  std::vector<YOXTag> tags;
  TestPersona::GeneratePersonaTagsInternal(tags, utility);
  EXPECT_EQ(TextOf(tags), kBoth);
  TestPersona::GeneratePersonaTagsInternal(tags, utility);
  EXPECT_EQ(TextOf(tags), std::string(kBoth) + kBoth);
  tags.emplace_back("Other"_w, "x"_w);
  tags.emplace_back("User.Usage.Detected.Family"_w, "whatever"_w);
  tags.emplace_back("User.Usage.Detected.Unknown"_w, "Windows"_w);
  yox::Persona::RemovePersonaTags(tags);
  EXPECT_EQ(TextOf(tags), "Other=x User.Usage.Detected.Unknown=Windows ");
}

TEST(PersonaTest, TheRegistryOfTheUserWhoIsLoggedOnDecides) {
  yox::platform::DeviceProfile profile;
  profile.user.sid = "S-1-5-21-1-2-3-1001"_w;
  yox::platform::SimulatedDevice device(profile);
  const yox::platform::ScopedPlatform installed(device);
  const auto set = [&](const WString& subkey, const RegistryValue& value) {
    const RegistryKey key{
        HKEY_USERS,
        profile.user.sid + "\\"_w + yox::Persona::kIntentRegistryPath + "\\"_w + subkey,
        {},
        {}};
    ASSERT_EQ(device.registry().CreateKey(key), yox::platform::RegistryStatus::kOk);
    ASSERT_EQ(device.registry().SetValue(key, "Intent"_w, value),
              yox::platform::RegistryStatus::kOk);
  };
  set("family"_w, RegistryValue::Dword(1));
  set("business"_w, RegistryValue::Dword(1));
  set("gaming"_w, RegistryValue::Dword(2));
  set("creative"_w, RegistryValue::Text("1"_w));
  const yox_test::CapturedLog log;
  std::vector<YOXTag> tags;
  yox::Persona::GeneratePersonaTags(tags);
  EXPECT_EQ(TextOf(tags),
            "User.Usage.Detected.Business=Windows User.Usage.Detected.Family=Windows ");
  const std::string path =
      "S-1-5-21-1-2-3-1001\\Software\\Microsoft\\Windows\\CurrentVersion\\CloudExperienceHost\\"
      "Intent\\";
  const std::string text = log.Text();
  EXPECT_THAT(text, testing::HasSubstr("D yox::PersonaUtility::RegistryPersonaValueExists:"
                                       "subkeyapth " +
                                       path + "gaming exists 1 value 2\n"));
  EXPECT_THAT(text, testing::HasSubstr(path + "schoolWork exists 0 value 0\n"));
  EXPECT_THAT(text, testing::HasSubstr("D yox::Persona::GeneratePersonaTagsInternal: Added persona "
                                       "tag [User.Usage.Detected.Family]=[Windows]\n"));
  EXPECT_THAT(text, testing::HasSubstr(
                        "D yox::Persona::GeneratePersonaTagsInternal:generate persona tags 2\n"));
}

}  // namespace
