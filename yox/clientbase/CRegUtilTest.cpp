#include <array>

#include "yox/clientbase/CRegUtil.h"
#include "yox/platform/registry/RecordingRegistry.h"
#include "yox/platform/registry/Registry.h"
#include "yox/platform/registry/RegistryPlatform.h"

namespace {

using namespace yox::literals;
using YOX::CRegUtil;
using yox::WString;
using yox::platform::RegistryKey;
using yox::platform::RegistryType;
using yox::platform::RegistryValue;
using yox::platform::RegistryView;

constexpr std::uint32_t kRead = 131097;

class CRegUtilTest : public yox_test::OnEveryRegistry {
 protected:
  const WString path_ = "SOFTWARE\\Fabrikam"_w;
  const RegistryKey key_{HKEY_LOCAL_MACHINE, path_, {}, {}};
};
YOX_ON_EVERY_REGISTRY(CRegUtilTest);

TEST_P(CRegUtilTest, AKeyIsCreatedOnceAndThenThere) {
  CRegUtil util;
  EXPECT_FALSE(util.DoesKeyExistsIn64BitRegView(HKEY_LOCAL_MACHINE, path_));
  EXPECT_TRUE(util.CreateKey(HKEY_LOCAL_MACHINE, path_, 1));
  EXPECT_TRUE(util.CreateKey(HKEY_LOCAL_MACHINE, path_, 1));
  EXPECT_TRUE(util.DoesKeyExistsIn64BitRegView(HKEY_LOCAL_MACHINE, path_));
}

TEST_P(CRegUtilTest, ATextIsWrittenAndReadInBothWays) {
  CRegUtil util;
  EXPECT_FALSE(util.SetKeyValueIn64BitRegView(HKEY_LOCAL_MACHINE, path_, "Name"_w, "text"_w));
  ASSERT_TRUE(util.CreateKey(HKEY_LOCAL_MACHINE, path_, 1));
  EXPECT_TRUE(util.SetKeyValueIn64BitRegView(HKEY_LOCAL_MACHINE, path_, "Name"_w, "text"_w));
  WString text, other;
  EXPECT_TRUE(CRegUtil::GetRegValueOfStringType(HKEY_LOCAL_MACHINE, path_, "Name"_w, text));
  EXPECT_TRUE(
      CRegUtil::GetRegValueOfStringTypeIn64BitView(HKEY_LOCAL_MACHINE, path_, "Name"_w, other));
  EXPECT_EQ(text, "text"_w);
  EXPECT_EQ(other, "text"_w);
}

TEST_P(CRegUtilTest, AReadOfAnotherTypeFailsAndLeavesTheOutput) {
  Set(key_, "Number"_w, RegistryValue::Dword(7));
  Set(key_, "Text"_w, RegistryValue::Text("7"_w));
  Set(key_, "Short"_w, {RegistryType::kDword, {7}});
  WString text = "kept"_w;
  std::uint32_t number = 99;
  EXPECT_FALSE(CRegUtil::GetRegValueOfStringType(HKEY_LOCAL_MACHINE, path_, "Number"_w, text));
  EXPECT_FALSE(CRegUtil::GetRegValueOfStringType(HKEY_LOCAL_MACHINE, path_, "Missing"_w, text));
  EXPECT_EQ(text, "kept"_w);
  for (const WString& name : {"Text"_w, "Short"_w, "Missing"_w}) {
    EXPECT_FALSE(CRegUtil::GetRegValueOfDwordType(HKEY_LOCAL_MACHINE, path_, name, number));
  }
  EXPECT_EQ(number, 99U);
  EXPECT_TRUE(CRegUtil::GetRegValueOfDwordType(HKEY_LOCAL_MACHINE, path_, "Number"_w, number));
  EXPECT_EQ(number, 7U);
}

TEST_P(CRegUtilTest, ASeparatorBehindTheKeyIsIgnored) {
  Set(key_, "Number"_w, RegistryValue::Dword(7));
  std::uint32_t number = 0;
  EXPECT_TRUE(
      CRegUtil::GetRegValueOfDwordType(HKEY_LOCAL_MACHINE, path_ + "\\"_w, "Number"_w, number));
}

TEST_P(CRegUtilTest, ATextWithoutTerminatorOrOfOneByteIsRead) {
  Set(key_, "Open"_w, {RegistryType::kText, {'a', 0, 'b', 0}});
  Set(key_, "Byte"_w, {RegistryType::kText, {'a'}});
  Set(key_, "Two"_w, {RegistryType::kText, {'a', 0, 0, 0, 'b', 0}});
  WString text = "before"_w;
  EXPECT_TRUE(CRegUtil::GetRegValueOfStringType(HKEY_LOCAL_MACHINE, path_, "Open"_w, text));
  EXPECT_EQ(text, "ab"_w);
  EXPECT_TRUE(CRegUtil::GetRegValueOfStringType(HKEY_LOCAL_MACHINE, path_, "Byte"_w, text));
  EXPECT_EQ(text, ""_w);
  EXPECT_TRUE(CRegUtil::GetRegValueOfStringType(HKEY_LOCAL_MACHINE, path_, "Two"_w, text));
  EXPECT_EQ(text, "a"_w);
}

TEST_P(CRegUtilTest, AnOpenedKeyIsClosedWithTheObject) {
  Set(key_, "Name"_w, RegistryValue::Dword(1));
  HKEY opened = nullptr;
  {
    CRegUtil util;
    EXPECT_FALSE(util.OpenKey(HKEY_LOCAL_MACHINE, path_ + "\\Missing"_w, opened, false, {}, kRead));
    ASSERT_TRUE(util.OpenKey(HKEY_LOCAL_MACHINE, path_, opened, false, {}, kRead));
    EXPECT_TRUE(registry().Exists({opened, {}, {}, {}}));
  }
  EXPECT_FALSE(registry().Exists({opened, {}, {}, {}}));
}

TEST_P(CRegUtilTest, AValueOfAnyTypeIsReadIntoABuffer) {
  Set(key_, "Name"_w, RegistryValue::Binary({1, 2, 3}));
  std::array<std::uint8_t, 4> buffer{};
  std::uint32_t size = 4, type = 0;
  EXPECT_EQ(CRegUtil::GetKeyValue(HKEY_LOCAL_MACHINE, path_, "Name"_w, false, {}, buffer.data(),
                                  size, type, false),
            0);
  EXPECT_THAT(buffer, testing::ElementsAre(1, 2, 3, 0));
  EXPECT_EQ(size, 3U);
  EXPECT_EQ(type, 3U);
}

TEST_P(CRegUtilTest, AValueLongerThanTheBufferFails) {
  Set(key_, "Name"_w, RegistryValue::Binary({1, 2, 3}));
  std::array<std::uint8_t, 2> buffer{};
  std::uint32_t size = 2, type = 0;
  EXPECT_EQ(CRegUtil::GetKeyValue(HKEY_LOCAL_MACHINE, path_, "Name"_w, false, {}, buffer.data(),
                                  size, type, false),
            234);
  EXPECT_EQ(CRegUtil::GetKeyValue(HKEY_LOCAL_MACHINE, path_, "Missing"_w, false, {}, buffer.data(),
                                  size, type, false),
            2);
  EXPECT_THAT(buffer, testing::ElementsAre(0, 0));
  EXPECT_EQ(size, 2U);
  EXPECT_EQ(type, 0U);
}

// On Windows the hive of a user who is not logged on cannot be made.
TEST(CRegUtilUserTest, TheSystemsAccountReadsTheHiveOfTheUserWhoIsLoggedOn) {
  yox::platform::SimulatedDevice device;
  const yox::platform::ScopedPlatform installed(device);
  const WString sid = "S-1-5-21-1-2-3-1001"_w, path = "Software\\Contoso"_w;
  const RegistryKey his{HKEY_USERS, sid + "\\"_w + path, {}, {}};
  ASSERT_EQ(device.registry().CreateKey(his), yox::platform::RegistryStatus::kOk);
  device.registry().SetValue(his, "Name"_w, RegistryValue::Dword(5));

  HKEY opened = nullptr;
  CRegUtil util;
  EXPECT_TRUE(util.OpenKey(HKEY_CURRENT_USER, path, opened, true, sid, kRead));
  EXPECT_FALSE(util.OpenKey(HKEY_CURRENT_USER, path, opened, false, sid, kRead));
  EXPECT_FALSE(util.OpenKey(HKEY_CURRENT_USER, path, opened, true, {}, kRead)) << "nobody is";
  EXPECT_FALSE(util.OpenKey(HKEY_LOCAL_MACHINE, path, opened, true, sid, kRead));

  std::array<std::uint8_t, 4> buffer{};
  const auto read = [&](bool system, const WString& user) {
    std::uint32_t size = 4, type = 0;
    return CRegUtil::GetKeyValue(HKEY_CURRENT_USER, path, "Name"_w, system, user, buffer.data(),
                                 size, type, false);
  };
  EXPECT_EQ(read(true, sid), 0);
  EXPECT_EQ(read(false, sid), 2);
  EXPECT_EQ(read(true, {}), 2);
}

TEST(CRegUtilViewTest, EachFunctionUsesTheViewOfItsName) {
  yox_test::RecordingRegistry registry;
  yox_test::RegistryPlatform platform(registry);
  const yox::platform::ScopedPlatform installed(platform);
  const auto calls = [&] { return registry.TakeCalls(); };
  using testing::ElementsAre;
  const WString path = "SOFTWARE\\Contoso"_w, name = "Name"_w;
  CRegUtil util;

  util.CreateKey(HKEY_LOCAL_MACHINE, path, 1);
  EXPECT_THAT(calls(), ElementsAre("Apply 64-bit"));
  util.CreateKey(HKEY_LOCAL_MACHINE, path, 0);
  EXPECT_THAT(calls(), ElementsAre("Apply default"));
  util.SetKeyValueIn64BitRegView(HKEY_LOCAL_MACHINE, path, name, "text"_w);
  EXPECT_THAT(calls(), ElementsAre("Apply 64-bit"));
  util.DoesKeyExistsIn64BitRegView(HKEY_LOCAL_MACHINE, path);
  EXPECT_THAT(calls(), ElementsAre("Open 64-bit"));

  HKEY opened = nullptr;
  for (const auto& [flags, call] :
       {std::pair{0U, "Open default"}, {0x100U, "Open 64-bit"}, {0x200U, "Open 32-bit"}}) {
    util.OpenKey(HKEY_LOCAL_MACHINE, path, opened, false, {}, kRead | flags);
    EXPECT_THAT(calls(), ElementsAre(call));
  }

  WString text;
  CRegUtil::GetRegValueOfStringType(HKEY_LOCAL_MACHINE, path, name, text);
  EXPECT_THAT(calls(), ElementsAre("Get default"));
  CRegUtil::GetRegValueOfStringTypeIn64BitView(HKEY_LOCAL_MACHINE, path, name, text);
  EXPECT_THAT(calls(), ElementsAre("Get 64-bit"));
  std::uint32_t number = 0, type = 0;
  CRegUtil::GetRegValueOfDwordType(HKEY_LOCAL_MACHINE, path, name, number);
  EXPECT_THAT(calls(), ElementsAre("Get default"));
  for (const bool only64bit : {false, true}) {
    std::array<std::uint8_t, 4> buffer{};
    std::uint32_t size = buffer.size();
    CRegUtil::GetKeyValue(HKEY_LOCAL_MACHINE, path, name, false, {}, buffer.data(), size, type,
                          only64bit);
    EXPECT_THAT(calls(), ElementsAre(only64bit ? "Get 64-bit" : "Get default"));
  }
}

}  // namespace
