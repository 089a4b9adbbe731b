#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "yox/base/String.h"
#include "yox/platform/registry/Registry.h"
#include "yox/platform/registry/RegistryPlatform.h"
#include "yox/tags/Persona.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/Rows.h"

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

// Subkeys and tag keys are read and written by other programs: do not edit. In the order in which
// the tags are generated.
struct GoldenRow {
  const char* name;
  bool (yox::PersonaUtility::*question)();
  WString subkey;
  const char* tag;
};
const GoldenRow kGolden[] = {
    {"Business", &yox::PersonaUtility::IsBusinessProfessional, "business"_w,
     "User.Usage.Detected.Business=Windows "},
    {"Gaming", &yox::PersonaUtility::IsGamer, "gaming"_w, "User.Usage.Detected.Gaming=Windows "},
    {"SchoolWork", &yox::PersonaUtility::IsStudent, "schoolWork"_w,
     "User.Usage.Detected.SchoolWork=Windows "},
    {"Creative", &yox::PersonaUtility::IsCreator, "creative"_w,
     "User.Usage.Detected.Creative=Windows "},
    {"Entertainment", &yox::PersonaUtility::IsEntertainer, "entertainment"_w,
     "User.Usage.Detected.Entertainment=Windows "},
    {"Developer", &yox::PersonaUtility::IsDeveloper, "developer"_w,
     "User.Usage.Detected.Developer=Windows "},
    {"Family", &yox::PersonaUtility::IsFamily, "family"_w, "User.Usage.Detected.Family=Windows "},
};

// Says yes for one subkey, or for every.
class Chosen : public yox::PersonaUtility {
 public:
  explicit Chosen(WString subkey) : subkey_(std::move(subkey)) {}
  bool RegistryPersonaValueExists(const yox::WChar* subkey) override {
    return subkey_.empty() || subkey == subkey_;
  }

 private:
  const WString subkey_;
};

class PersonaGolden : public testing::TestWithParam<GoldenRow> {};

TEST_P(PersonaGolden, IsTheAnswerToItsQuestionAloneAndGivesItsTag) {
  Chosen chosen(GetParam().subkey);
  for (const GoldenRow& row : kGolden) {
    EXPECT_EQ((chosen.*row.question)(), row.subkey == GetParam().subkey) << row.name;
  }
  std::vector<YOXTag> tags;
  TestPersona::GeneratePersonaTagsInternal(tags, chosen);
  EXPECT_EQ(TextOf(tags), GetParam().tag);
  yox::Persona::RemovePersonaTags(tags);
  EXPECT_EQ(TextOf(tags), "");
}

INSTANTIATE_TEST_SUITE_P(Rows, PersonaGolden, testing::ValuesIn(kGolden), yox_test::RowName());

TEST(PersonaTest, TagsComeInTheOrderOfTheTable) {
  Chosen all({});
  std::vector<YOXTag> tags;
  TestPersona::GeneratePersonaTagsInternal(tags, all);
  std::string expected;
  for (const GoldenRow& row : kGolden) expected += row.tag;
  EXPECT_EQ(TextOf(tags), expected);
  yox::Persona::RemovePersonaTags(tags);
  EXPECT_EQ(TextOf(tags), "");
}

// A host may implement the questions in a class that was compiled apart from the library.
#if defined(__GXX_ABI_VERSION)
TEST(PersonaTest, TheQuestionsHaveTheFirstSlotsInTheirOrder) {
  const auto slot = [](auto function) {
    // A pointer to a virtual member function starts with 1 plus its offset in the table.
    std::size_t words[sizeof(function) / sizeof(std::size_t)];
    std::memcpy(words, &function, sizeof(function));
    return (words[0] - 1) / sizeof(void*);
  };
  std::size_t expected = 0;
  for (const GoldenRow& row : kGolden) EXPECT_EQ(slot(row.question), expected++) << row.name;
  EXPECT_EQ(slot(&yox::PersonaUtility::RegistryPersonaValueExists), expected);
}
#endif

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

TEST(PersonaTest, TheLogHasEachTagAndTheLengthOfTheList) {
  Chosen gaming("gaming"_w);
  std::vector<YOXTag> tags{{"Other"_w, "x"_w}};
  const yox_test::CapturedLog log;
  TestPersona::GeneratePersonaTagsInternal(tags, gaming);
  yox::Persona::RemovePersonaTags(tags);
  EXPECT_EQ(log.Text(),
            "yox D yox::Persona::GeneratePersonaTagsInternal: persona tags\n"
            "yox D yox::Persona::GeneratePersonaTagsInternal: Added persona tag "
            "[User.Usage.Detected.Gaming]=[Windows]\n"
            "yox D yox::Persona::GeneratePersonaTagsInternal:generate persona tags 2\n"
            "yox D yox::Persona::RemovePersonaTags:Remove persona tags 2\n"
            "yox D yox::Persona::RemovePersonaTags:Remove persona tags 1\n");
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
