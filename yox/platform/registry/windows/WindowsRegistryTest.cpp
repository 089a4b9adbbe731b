#include <gtest/gtest.h>
#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>

#include "yox/platform/registry/windows/KeyContent.h"

namespace yox_test {
namespace {

using yox::WString;
using yox::platform::ForEachValue;
using yox::platform::RegistryType;
using yox::platform::RegistryValue;
using yox::platform::ValueCalls;

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

}  // namespace
}  // namespace yox_test
