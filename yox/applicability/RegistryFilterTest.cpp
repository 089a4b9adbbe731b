#include "yox/applicability/TestEvaluator.h"
#include "yox/base/String.h"
#include "yox/platform/registry/RecordingRegistry.h"
#include "yox/platform/registry/Registry.h"
#include "yox/platform/registry/RegistryPlatform.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/SubstitutedPlatform.h"

namespace {

using namespace yox::literals;
using yox::WString;
using yox::platform::RegistryKey;
using yox::platform::RegistryType;
using yox::platform::RegistryValue;

constexpr const char* kFilter =
    "ApplicabilityEvaluator D ApplicabilityEvaluator::EvaluateRegistryFilter ";
constexpr const char* kLookUp =
    "ApplicabilityEvaluator D "
    "ApplicabilityEvaluator::DoesRequirementPathandValueExistInRegistry ";

class RegistryFilterTest : public yox_test::OnEveryRegistry {
 protected:
  void SetUp() override {
    const RegistryKey key{HKEY_LOCAL_MACHINE, "SOFTWARE\\Fabrikam\\Key"_w, {}, {}};
    const WString texts[] = {"one"_w, "two"_w};
    Set(key, "Text"_w, RegistryValue::Text("beta"_w));
    Set(key, "Level"_w, RegistryValue::Dword(10));
    Set(key, "Two"_w, RegistryValue::Dword(2));
    Set(key, "Big"_w, RegistryValue::Qword(5'000'000'000));
    Set(key, "Blob"_w, RegistryValue::Binary({1, 171}));
    Set(key, "Names"_w, RegistryValue::MultiText(texts));
    Set(key, "Expandable"_w, RegistryValue::ExpandableText("%PATH%"_w));
    Set(key, "None"_w, {RegistryType::kNone, {1}});
    Set(key, "Name:with:colons"_w, RegistryValue::Text("a:b|c"_w));
    Set(key, {}, RegistryValue::Text("default"_w));
    Set(key, "Fits"_w, RegistryValue::Binary(std::vector<std::uint8_t>(4096)));
    Set(key, "TooLong"_w, RegistryValue::Binary(std::vector<std::uint8_t>(4097)));
    Set({HKEY_LOCAL_MACHINE, "achine\\Key"_w, {}, {}}, "Name"_w, RegistryValue::Dword(1));
  }

  bool Holds(const WString& requirements) {
    log_.Clear();
    return evaluator_.EvaluateRegistryFilter(requirements);
  }
  std::string Log() const { return log_.Text(); }

  yox_test::CapturedLog log_;
  yox_test::TestEvaluator evaluator_;
};
YOX_ON_EVERY_REGISTRY(RegistryFilterTest);

TEST_P(RegistryFilterTest, EmptyDataHoldsForEveryValueThatExists) {
  for (const char* const name : {"Text", "Level", "Big", "Blob", "Names", "None", "Fits", ""}) {
    EXPECT_TRUE(Holds("HKLM/SOFTWARE/Fabrikam/Key:"_w + YOX::String::UTF8ToUTF16(name) + "|"_w));
    EXPECT_EQ(Log(), "") << name;
  }
}

TEST_P(RegistryFilterTest, AStarHoldsForEveryValueThatExists) {
  for (const char* const name : {"Text", "Level", "Big", "Blob", "Names", "None", "Fits", ""}) {
    EXPECT_TRUE(Holds("HKLM/SOFTWARE/Fabrikam/Key:"_w + YOX::String::UTF8ToUTF16(name) + "|*"_w));
  }
}

TEST_P(RegistryFilterTest, AListWithoutPieceHolds) { EXPECT_TRUE(Holds({})); }

TEST_P(RegistryFilterTest, EveryRequirementMustHold) {
  EXPECT_TRUE(
      Holds("HKLM\\SOFTWARE\\Fabrikam\\Key:Text|beta,HKLM/SOFTWARE/Fabrikam/Key:Level|10"_w));
  EXPECT_FALSE(
      Holds("HKLM\\SOFTWARE\\Fabrikam\\Key:Text|beta,HKLM/SOFTWARE/Fabrikam/Key:Level|11"_w));
}

TEST_P(RegistryFilterTest, ABadRequirementEndsTheList) {
  EXPECT_FALSE(Holds("bad,HKLM:Name|,worse"_w));
  EXPECT_EQ(Log(), kFilter + std::string("Registry filter failed due to invalid input\n"));
}

TEST_P(RegistryFilterTest, AnEmptyPieceIsARequirement) {
  EXPECT_FALSE(Holds("HKLM\\SOFTWARE\\Fabrikam\\Key:Text|beta,"_w));
  EXPECT_EQ(Log(), kFilter + std::string("Registry filter failed due to invalid input\n"));
}

TEST_P(RegistryFilterTest, WithoutColonTheInputIsInvalid) {
  EXPECT_FALSE(Holds("HKLM\\SOFTWARE\\Fabrikam\\Key"_w));
  EXPECT_EQ(Log(), kFilter + std::string("Registry filter failed due to invalid input\n"));
}

TEST_P(RegistryFilterTest, WithoutBarTheValueIsInvalid) {
  EXPECT_FALSE(Holds("HKLM\\SOFTWARE\\Fabrikam\\Key:Text"_w));
  EXPECT_EQ(Log(), kFilter + std::string("Registry filter failed due to invalid input provided for "
                                         "required registry value and data\n"));
}

struct BadHive {
  const char* name;
  WString path;
  const char* left;  // of the path
};
const BadHive kBadHives[] = {
    {"MixedSeparators", "HKLM\\SOFTWARE\\Fabrikam\\Key/Sub"_w, "HKLM\\SOFTWARE\\Fabrikam\\Key/Sub"},
    {"LowerCase", "hklm\\SOFTWARE\\Fabrikam"_w, "SOFTWARE\\Fabrikam"},
    {"NoSeparator", "HKLM"_w, "HKLM"},
    {"LongName", "HKEY_LOCAL_MACHINE\\SOFTWARE"_w, "SOFTWARE"},
    {"Users", "HKU\\SOFTWARE"_w, "SOFTWARE"},
    {"BlankInFront", " HKLM\\SOFTWARE"_w, "SOFTWARE"},
    {"Empty", {}, ""},
    {"NoHive", "\\SOFTWARE"_w, "SOFTWARE"},
};

TEST_P(RegistryFilterTest, AnotherHiveOrMixedSeparatorsAreRefused) {
  for (const BadHive& row : kBadHives) {
    EXPECT_FALSE(Holds(row.path + ":Text|beta"_w)) << row.name;
    EXPECT_EQ(Log(), kLookUp +
                         std::string("Registry filter failed due to invalid HKEY. Expected HKEY is "
                                     "HKLM/HKCU\n") +
                         kFilter + "Registry filter failed due to entry not found : : " + row.left +
                         " Text beta\n")
        << row.name;
  }
}

TEST_P(RegistryFilterTest, DoubledSeparatorsInsideThePathAreRefused) {
  for (const WString& path : {"HKLM\\A\\\\B"_w, "HKLM/A//B"_w}) {
    EXPECT_FALSE(Holds(path + ":Name|x"_w));
    EXPECT_EQ(Log(), kLookUp +
                         std::string("Registry filter failed since registry path A\\\\B contains "
                                     "redundant / or \\ characters.\n") +
                         kFilter +
                         "Registry filter failed due to entry not found : : A\\\\B Name x\n");
  }
}

TEST_P(RegistryFilterTest, DoubledSeparatorsBehindTheHiveAreEaten) {
  EXPECT_TRUE(Holds("HKLM\\\\SOFTWARE\\Fabrikam\\Key:Text|beta"_w));
}

TEST_P(RegistryFilterTest, TheHivesLettersAreEatenFromTheKeysName) {
  EXPECT_TRUE(Holds("HKLM\\Machine\\Key:Name|1"_w));
}

TEST_P(RegistryFilterTest, AMissingKeyFails) {
  EXPECT_FALSE(Holds("HKLM\\SOFTWARE\\Missing:Text|beta"_w));
  EXPECT_EQ(Log(),
            kLookUp +
                std::string("Registry filter failed since registry path SOFTWARE\\Missing is "
                            "not found in registry.\n") +
                kFilter +
                "Registry filter failed due to entry not found : : SOFTWARE\\Missing Text "
                "beta\n");
}

TEST_P(RegistryFilterTest, AMissingOrTooLongValueFails) {
  for (const char* const name : {"Missing", "TooLong"}) {
    EXPECT_FALSE(
        Holds("HKLM\\SOFTWARE\\Fabrikam\\Key:"_w + YOX::String::UTF8ToUTF16(name) + "|*"_w));
    EXPECT_EQ(Log(), kLookUp + std::string("Registry filter failed since the value name ") + name +
                         " is not found in the given registry path SOFTWARE\\Fabrikam\\Key.\n" +
                         kFilter +
                         "Registry filter failed due to entry not found : : "
                         "SOFTWARE\\Fabrikam\\Key " +
                         name + " *\n");
  }
}

TEST_P(RegistryFilterTest, OtherDataFails) {
  EXPECT_FALSE(Holds("HKLM\\SOFTWARE\\Fabrikam\\Key:Text|stable"_w));
  EXPECT_EQ(Log(),
            kLookUp +
                std::string("Registry filter failed since the actual data beta doesn't match "
                            "with the required data stable.\n") +
                kFilter +
                "Registry filter failed due to entry not found : : "
                "SOFTWARE\\Fabrikam\\Key Text stable\n");
}

TEST_P(RegistryFilterTest, ANumberIsMatchedAsText) {
  EXPECT_TRUE(Holds("HKLM\\SOFTWARE\\Fabrikam\\Key:Level|10"_w));
  EXPECT_TRUE(Holds("HKLM\\SOFTWARE\\Fabrikam\\Key:Level|1*"_w));
  EXPECT_FALSE(Holds("HKLM\\SOFTWARE\\Fabrikam\\Key:Level|>5"_w));
  EXPECT_TRUE(Holds("HKLM\\SOFTWARE\\Fabrikam\\Key:Big|5000000000"_w));
}

TEST_P(RegistryFilterTest, OnlyTheFirstOfSeveralTextsIsSeen) {
  EXPECT_TRUE(Holds("HKLM\\SOFTWARE\\Fabrikam\\Key:Names|one"_w));
  EXPECT_FALSE(Holds("HKLM\\SOFTWARE\\Fabrikam\\Key:Names|*two*"_w));
  EXPECT_TRUE(Holds("HKLM\\SOFTWARE\\Fabrikam\\Key:Expandable|%PATH%"_w));
}

TEST_P(RegistryFilterTest, BytesAreMatchedAsHexadecimalText) {
  EXPECT_TRUE(Holds("HKLM\\SOFTWARE\\Fabrikam\\Key:Blob|01 ab"_w));
}

TEST_P(RegistryFilterTest, OtherTypesAreMatchedByTheirLiteral) {
  EXPECT_TRUE(Holds("HKLM\\SOFTWARE\\Fabrikam\\Key:None|[Unsupported Value Type]"_w));
}

TEST_P(RegistryFilterTest, NegatedDataNeedsTheValueAllTheSame) {
  EXPECT_TRUE(Holds("HKLM\\SOFTWARE\\Fabrikam\\Key:Two|!1"_w));
  EXPECT_FALSE(Holds("HKLM\\SOFTWARE\\Fabrikam\\Key:Two|!2"_w));
  EXPECT_FALSE(Holds("HKLM\\SOFTWARE\\Fabrikam\\Key:Missing|!1"_w));
}

TEST_P(RegistryFilterTest, NameAndDataMayHoldColonsAndBars) {
  EXPECT_TRUE(Holds("HKLM\\SOFTWARE\\Fabrikam\\Key:Name:with:colons|a:b|c"_w));
}

TEST_P(RegistryFilterTest, AnEmptiedPathIsTheHiveItself) {
  EXPECT_FALSE(Holds("HKLM\\:NoSuchValueInTheRoot|"_w));
  EXPECT_NE(Log().find("is not found in the given registry path ."), std::string::npos);
}

// The service runs as the system's account and asks for the user at the console.
TEST(RegistryFilterUserTest, TheSystemsAccountReadsTheHiveOfTheUserWhoIsLoggedOn) {
  yox::platform::DeviceProfile profile;
  profile.user = {"S-1-5-21-1-2-3-1001"_w, true};
  yox::platform::SimulatedDevice device(profile);
  const yox::platform::ScopedPlatform installed(device);
  const RegistryKey his{HKEY_USERS, profile.user.sid + "\\Software\\Fabrikam"_w, {}, {}};
  ASSERT_EQ(device.registry().CreateKey(his), yox::platform::RegistryStatus::kOk);
  device.registry().SetValue(his, "Name"_w, RegistryValue::Text("his"_w));
  const RegistryKey own{HKEY_USERS, "S-1-5-18\\Software\\Contoso"_w, {}, {}};
  ASSERT_EQ(device.registry().CreateKey(own), yox::platform::RegistryStatus::kOk);
  device.registry().SetValue(own, "Name"_w, RegistryValue::Text("own"_w));

  yox_test::TestEvaluator evaluator;
  EXPECT_TRUE(evaluator.EvaluateRegistryFilter("HKCU\\Software\\Fabrikam:Name|his"_w));
  EXPECT_FALSE(evaluator.EvaluateRegistryFilter("HKCU\\Software\\Contoso:Name|own"_w));
}

TEST(RegistryFilterViewTest, ReadsTheProcesssOwnView) {
  yox::platform::SimulatedDevice device{yox::platform::DeviceProfile()};
  yox_test::RecordingRegistry registry;
  yox_test::SubstitutedPlatform platform(device);
  platform.Set(registry);
  const yox::platform::ScopedPlatform installed(platform);
  const RegistryKey key{HKEY_LOCAL_MACHINE, "SOFTWARE\\Fabrikam"_w, {}, {}};
  ASSERT_EQ(registry.CreateKey(key), yox::platform::RegistryStatus::kOk);
  registry.TakeCalls();
  yox_test::TestEvaluator evaluator;
  EXPECT_FALSE(evaluator.EvaluateRegistryFilter("HKLM\\SOFTWARE\\Fabrikam:Name|"_w));
  EXPECT_THAT(registry.TakeCalls(), testing::ElementsAre("Open default", "Get default"));
}

// Replaces the registry at the evaluator's own seam.
class SeamEvaluator : public yox_test::TestEvaluator {
 public:
  std::vector<WString> asked;

 protected:
  bool DoesRequirementPathandValueExistInRegistry(
      WString& path, const std::vector<WString>& valueAndData) override {
    asked.insert(asked.end(), {path, valueAndData[0], valueAndData[1]});
    path = "seen"_w;
    return true;
  }
};

TEST(RegistryFilterSeamTest, TheLookUpCanBeReplaced) {
  SeamEvaluator evaluator;
  EXPECT_TRUE(evaluator.EvaluateRegistryFilter("anything: n |d:|,x:y|"_w));
  EXPECT_THAT(evaluator.asked,
              testing::ElementsAre("anything"_w, " n "_w, "d:|"_w, "x"_w, "y"_w, ""_w));
}

struct ValueTextRow {
  const char* name;
  std::uint32_t type;
  std::vector<std::uint8_t> data;
  const char* text;
};
class ConvertedValue : public testing::TestWithParam<ValueTextRow> {};

TEST_P(ConvertedValue, HasItsText) {
  const ValueTextRow& row = GetParam();
  yox_test::TestEvaluator evaluator;
  const WString text = evaluator.ConvertRegValueToString(
      row.data.data(), row.type, static_cast<std::uint32_t>(row.data.size()));
  EXPECT_EQ(YOX::String::UTF16ToUTF8(text), row.text);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, ConvertedValue,
    testing::Values(
        ValueTextRow{"Text", 1, {'a', 0, 0xe9, 0, 0, 0}, "aé"},
        ValueTextRow{"TextWithoutTerminator", 1, {'a', 0, 'b', 0}, "ab"},
        ValueTextRow{"TextUpToTheTerminator", 2, {'a', 0, 0, 0, 'b', 0}, "a"},
        ValueTextRow{"TextOfOddSize", 1, {'a', 0, 'b'}, "ab"},
        ValueTextRow{"TextOfNothing", 7, {}, ""}, ValueTextRow{"Bytes", 3, {1, 171}, "01 ab"},
        ValueTextRow{"OneByte", 3, {0xF0}, "f0"}, ValueTextRow{"NoBytes", 3, {}, ""},
        ValueTextRow{"Dword", 4, {10, 0, 0, 0}, "10"},
        ValueTextRow{"LargestDword", 4, {255, 255, 255, 255}, "4294967295"},
        ValueTextRow{"ShortDword", 4, {1, 1}, "257"},
        ValueTextRow{"LongDword", 4, {1, 0, 0, 0, 9}, "1"}, ValueTextRow{"EmptyDword", 4, {}, "0"},
        ValueTextRow{"Qword", 11, {255, 255, 255, 255, 255, 255, 255, 255}, "18446744073709551615"},
        ValueTextRow{"ShortQword", 11, {0, 1}, "256"},
        ValueTextRow{"None", 0, {1}, "[Unsupported Value Type]"},
        ValueTextRow{"BigEndian", 5, {0, 0, 0, 1}, "[Unsupported Value Type]"},
        ValueTextRow{"Unknown", 4711, {}, "[Unsupported Value Type]"}),
    yox_test::RowName());

}  // namespace
