#include <gtest/gtest.h>
#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>
#include <thread>
#include <utility>

#include "yox/platform/registry/windows/KeyContent.h"
#include "yox/platform/registry/windows/WindowsRegistry.h"

namespace yox_test {
namespace {

using yox::WString;
using yox::platform::ForEachValue;
using yox::platform::RegistryKey;
using yox::platform::RegistryType;
using yox::platform::RegistryValue;
using yox::platform::ValueCalls;
using yox::platform::WindowsRegistry;

// A key with one-letter names and no data, of which some values cannot be enumerated or read.
struct FailingValues {
  std::wstring names;
  std::wstring not_enumerated = {};  // with their data
  std::wstring not_read = {};        // by name either

  static bool Has(const std::wstring& letters, wchar_t letter) {
    return letters.find(letter) != std::wstring::npos;
  }

  ValueCalls Calls() const {
    return {[this](DWORD& count, DWORD& longest) {
              count = static_cast<DWORD>(names.size());
              longest = 0;
              return LSTATUS{ERROR_SUCCESS};
            },
            [this](DWORD index, WCHAR* name, DWORD* size, DWORD* type, BYTE*, DWORD* data_size) {
              if (index >= names.size()) return LSTATUS{ERROR_NO_MORE_ITEMS};
              if (type != nullptr && Has(not_enumerated, names[index])) {
                return LSTATUS{ERROR_NO_SYSTEM_RESOURCES};
              }
              name[0] = names[index];
              *size = 1;
              if (type != nullptr) *type = REG_BINARY;
              if (data_size != nullptr) *data_size = 0;
              return LSTATUS{ERROR_SUCCESS};
            },
            [this](const WString& name, RegistryValue& value) {
              if (Has(not_read, name[0])) return LSTATUS{ERROR_NO_SYSTEM_RESOURCES};
              value = {RegistryType::kBinary, {1}};
              return LSTATUS{ERROR_SUCCESS};
            }};
  }

  std::wstring Listed() const {
    std::wstring listed;
    const auto add = [&](const WString& name, const RegistryValue&) { listed += name; };
    EXPECT_EQ(ForEachValue(Calls(), 10, add), ERROR_SUCCESS);
    return listed;
  }
};

TEST(WindowsValuesTest, OneThatCannotBeReadLeavesTheOthers) {
  EXPECT_EQ((FailingValues{L"abc"}.Listed()), L"abc");
  EXPECT_EQ((FailingValues{L"abc", L"b"}.Listed()), L"abc");
  EXPECT_EQ((FailingValues{L"abc", L"ab", L"ab"}.Listed()), L"c");
  EXPECT_EQ((FailingValues{L"abc", L"abc", L"abc"}.Listed()), L"");
}

TEST(WindowsValuesTest, AFailureThatNeverEndsEndsTheList) {
  DWORD asked = 0;
  const ValueCalls calls{
      [](DWORD& count, DWORD&) {
        count = 2;
        return LSTATUS{ERROR_SUCCESS};
      },
      [&](DWORD, WCHAR*, DWORD*, DWORD*, BYTE*, DWORD*) {
        ++asked;
        return LSTATUS{ERROR_NO_SYSTEM_RESOURCES};
      },
      [](const WString&, RegistryValue&) { return LSTATUS{ERROR_NO_SYSTEM_RESOURCES}; }};
  const auto ignore = [](const WString&, const RegistryValue&) {};
  EXPECT_EQ(ForEachValue(calls, 10, ignore), ERROR_SUCCESS);
  EXPECT_LE(asked, 5U);
}

// Without a buffer RegEnumValueW succeeds and returns the size alone.
TEST(WindowsValuesTest, AnEmptyValueThatGrowsMeanwhileIsReadAgain) {
  const ValueCalls calls{
      [](DWORD& count, DWORD& longest) {
        count = 1;
        longest = 0;
        return LSTATUS{ERROR_SUCCESS};
      },
      [](DWORD index, WCHAR* name, DWORD* size, DWORD*, BYTE* data, DWORD* data_size) {
        if (index != 0) return LSTATUS{ERROR_NO_MORE_ITEMS};
        name[0] = L'a';
        *size = 1;
        if (data_size == nullptr) return LSTATUS{ERROR_SUCCESS};
        *data_size = 4;
        return LSTATUS{data == nullptr ? ERROR_SUCCESS : ERROR_MORE_DATA};
      },
      [](const WString&, RegistryValue& value) {
        value = RegistryValue::Dword(7);
        return LSTATUS{ERROR_SUCCESS};
      }};
  std::optional<std::uint32_t> number;
  const auto add = [&](const WString&, const RegistryValue& value) { number = value.AsDword(); };
  EXPECT_EQ(ForEachValue(calls, 10, add), ERROR_SUCCESS);
  EXPECT_EQ(number, 7U);
}

TEST(WindowsRegistryTrackerTest, ChangesByTheSystemsFunctionsAreSeenAtOnce) {
  const WString own = L"SOFTWARE\\YoxTest-tracker-" + std::to_wstring(GetCurrentProcessId());
  HKEY root = nullptr;
  ASSERT_EQ(RegCreateKeyW(HKEY_CURRENT_USER, (own + L"\\Root").c_str(), &root), ERROR_SUCCESS);
  RegCloseKey(root);
  ASSERT_EQ(RegOpenKeyW(HKEY_CURRENT_USER, own.c_str(), &root), ERROR_SUCCESS);
  WindowsRegistry registry;
  const RegistryKey key{root, L"Root\\A\\B\\C", {}, {}};
  const auto tracker = registry.Track({&key, 1});
  auto last = tracker->Generation();
  ASSERT_TRUE(last);
  // Whether the number is another one since the last call, and stays so.
  const auto has_changed = [&] {
    const auto former = std::exchange(last, tracker->Generation());
    EXPECT_TRUE(last);
    EXPECT_EQ(tracker->Generation(), last);
    return last != former;
  };
  HKEY opened = nullptr;
  const auto create = [&](const WCHAR* path) {
    return RegCreateKeyExW(root, path, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &opened, nullptr);
  };
  EXPECT_FALSE(has_changed());
  ASSERT_EQ(create(L"Root\\A"), ERROR_SUCCESS);
  RegCloseKey(opened);
  EXPECT_TRUE(has_changed()) << "a key above it was created";
  ASSERT_EQ(create(L"Root\\A\\B\\C"), ERROR_SUCCESS);
  EXPECT_TRUE(has_changed());
  for (DWORD number = 0; number < 50; ++number) {
    RegSetValueExW(opened, L"Name", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number),
                   sizeof number);
    EXPECT_TRUE(has_changed()) << number;
  }
  // By a thread that ends: its end is no change, and leaves the tracker as it is.
  std::thread([&] {
    RegSetValueExW(opened, L"Name", 0, REG_SZ, nullptr, 0);
    EXPECT_TRUE(has_changed());
  }).join();
  EXPECT_FALSE(has_changed());
  RegDeleteValueW(opened, L"Name");
  EXPECT_TRUE(has_changed());
  RegCloseKey(opened);
  EXPECT_FALSE(has_changed());
  ASSERT_EQ(RegDeleteKeyW(root, L"Root\\A\\B\\C"), ERROR_SUCCESS);
  EXPECT_TRUE(has_changed());
  ASSERT_EQ(RegDeleteTreeW(root, L"Root\\A"), ERROR_SUCCESS);
  EXPECT_TRUE(has_changed());
  EXPECT_FALSE(has_changed());
  RegCloseKey(root);
  EXPECT_EQ(RegDeleteTreeW(HKEY_CURRENT_USER, own.c_str()), ERROR_SUCCESS);
}

TEST(WindowsRegistryTrackerTest, AKeyWithoutItsHiveHasNoGeneration) {
  WindowsRegistry registry;
  const RegistryKey key{HKEY_USERS, L"S-1-5-21-0-0-0-9999\\Software", {}, {}};
  EXPECT_EQ(registry.Track({&key, 1})->Generation(), 0U);
}

}  // namespace
}  // namespace yox_test
