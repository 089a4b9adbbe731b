#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <thread>
#include <vector>

#include "yox/platform/registry/RegistryPaths.h"

#include "tests/support/Rows.h"

namespace {

using namespace yox::literals;
using yox::WString;
using yox::platform::ParseRegistryPath;
using yox::platform::RegistryKey;
using yox::platform::RegistryPaths;
using yox::platform::RegistryPathText;
using yox::platform::RegistryStatus;
using yox::platform::RegistryView;

TEST(RegistryPathTextTest, ShortAndLongNamesOfTheRootsInAnyCase) {
  for (const WString& text : {"HKLM\\A\\b"_w, "hkey_local_machine\\A\\b"_w}) {
    const auto key = ParseRegistryPath(text);
    ASSERT_TRUE(key);
    EXPECT_EQ(key->root, HKEY_LOCAL_MACHINE);
    EXPECT_EQ(key->path, "A\\b"_w);
    EXPECT_EQ(RegistryPathText(*key), "HKEY_LOCAL_MACHINE\\A\\b"_w);
  }
  EXPECT_EQ(ParseRegistryPath("HKCU"_w)->root, HKEY_CURRENT_USER);
  EXPECT_EQ(ParseRegistryPath("HKU\\"_w)->root, HKEY_USERS);
  EXPECT_EQ(RegistryPathText(*ParseRegistryPath("HKU\\"_w)), "HKEY_USERS"_w);
}

TEST(RegistryPathTextTest, OtherRootsAreRefused) {
  for (const WString& text : {""_w, "\\HKLM"_w, "HKLMX\\A"_w, "HKCR\\A"_w, "HKLM/A"_w}) {
    EXPECT_FALSE(ParseRegistryPath(text));
  }
}

TEST(AsksToWriteTest, EachRightToChangeSomethingDoes) {
  using yox::platform::AsksToWrite;
  // KEY_SET_VALUE, KEY_CREATE_SUB_KEY, DELETE, GENERIC_WRITE, GENERIC_ALL
  constexpr std::uint32_t kChanging = 0x2 | 0x4 | 0x10000 | 0x40000000 | 0x10000000;
  for (std::uint32_t bit = 1; bit != 0; bit <<= 1) {
    EXPECT_EQ(AsksToWrite(bit), (kChanging & bit) != 0) << bit;
    EXPECT_EQ(AsksToWrite(0x20019 | bit), (kChanging & bit) != 0) << "KEY_READ and " << bit;
  }
  EXPECT_FALSE(AsksToWrite(0));
}

// Each operation has a thread of its own. Run under ThreadSanitizer, this finds one that takes no
// lock: there is no other meeting point.
TEST(RegistryPathsTest, EveryOperationRunsBesideTheOthers) {
  RegistryPaths paths("S-1-1"_w);
  HKEY const kept = paths.OpenHandle("HKLM\\Kept"_w);
  const std::function<void()> operations[] = {
      [&] { paths.SetOwnUser("S-1-1"_w); },
      [&] { EXPECT_TRUE(paths.IsHive("HKU\\S-1-1"_w)); },
      [&] {
        WString name;
        EXPECT_EQ(paths.Resolve({HKEY_CURRENT_USER, {}, {}, {}}, name), RegistryStatus::kOk);
        EXPECT_EQ(name, "HKU\\S-1-1"_w);
      },
      [&] {
        WString name;
        EXPECT_EQ(paths.Resolve({kept, {}, {}, {}}, name), RegistryStatus::kOk);
        EXPECT_EQ(name, "HKLM\\Kept"_w);
      },
      [&] { EXPECT_NE(paths.OpenHandle("HKLM\\Opened"_w), kept); },
      [&] { paths.CloseHandle(HKEY_USERS); },  // none of them
  };
  std::vector<std::thread> threads;
  for (const auto& operation : operations) {
    threads.emplace_back([&operation] {
      for (int i = 0; i < 200; ++i) operation();
    });
  }
  for (std::thread& thread : threads) thread.join();
}

struct NameRow {
  const char* name;
  HKEY root;
  WString path;
  RegistryView view;
  WString user;
  WString expected;
};
class KeyName : public testing::TestWithParam<NameRow> {};

TEST_P(KeyName, IsTheSameByWhateverWay) {
  const RegistryPaths paths("S-1-1"_w);
  WString name;
  const NameRow& row = GetParam();
  ASSERT_EQ(paths.Resolve({row.root, row.path, row.view, row.user}, name), RegistryStatus::kOk);
  EXPECT_EQ(name, row.expected);
}

constexpr auto kDefault = RegistryView::kDefault;
constexpr auto k32Bit = RegistryView::k32Bit;

INSTANTIATE_TEST_SUITE_P(
    Rows, KeyName,
    testing::Values(
        NameRow{"Machine", HKEY_LOCAL_MACHINE, "A\\B"_w, kDefault, "S-1-2"_w, "HKLM\\A\\B"_w},
        NameRow{"MachineRoot", HKEY_LOCAL_MACHINE, {}, k32Bit, {}, "HKLM"_w},
        NameRow{"OwnUser", HKEY_CURRENT_USER, "A"_w, kDefault, {}, "HKU\\S-1-1\\A"_w},
        NameRow{"OwnUserRoot", HKEY_CURRENT_USER, {}, kDefault, {}, "HKU\\S-1-1"_w},
        NameRow{"OtherUser", HKEY_CURRENT_USER, "A"_w, kDefault, "S-1-2"_w, "HKU\\S-1-2\\A"_w},
        NameRow{"Users", HKEY_USERS, "S-1-3\\A\\"_w, kDefault, "S-1-2"_w, "HKU\\S-1-3\\A"_w},
        NameRow{"Software32",
                HKEY_LOCAL_MACHINE,
                "software\\A"_w,
                k32Bit,
                {},
                "HKLM\\software\\WOW6432Node\\A"_w},
        NameRow{"SoftwareItself32",
                HKEY_LOCAL_MACHINE,
                "SOFTWARE"_w,
                k32Bit,
                {},
                "HKLM\\SOFTWARE\\WOW6432Node"_w},
        NameRow{"Software32Already",
                HKEY_LOCAL_MACHINE,
                "SOFTWARE\\wow6432node\\A"_w,
                k32Bit,
                {},
                "HKLM\\SOFTWARE\\wow6432node\\A"_w},
        NameRow{"Policies32",
                HKEY_LOCAL_MACHINE,
                "SOFTWARE\\Policies\\A"_w,
                k32Bit,
                {},
                "HKLM\\SOFTWARE\\Policies\\A"_w},
        NameRow{"SoftwareX32",
                HKEY_LOCAL_MACHINE,
                "SOFTWAREX\\A"_w,
                k32Bit,
                {},
                "HKLM\\SOFTWAREX\\A"_w},
        NameRow{"UserSoftware32",
                HKEY_CURRENT_USER,
                "SOFTWARE\\A"_w,
                k32Bit,
                {},
                "HKU\\S-1-1\\SOFTWARE\\A"_w}),
    yox_test::RowName());

}  // namespace
