#include <windows.h>

#include "yox/platform/registry/windows/WindowsRegistry.h"
// Needs windows.h before it.
#include <sddl.h>

#include <atomic>

#include "yox/platform/registry/RegistryContract.h"
#include "yox/platform/registry/windows/KeyContent.h"

namespace yox_test {
namespace {

using namespace yox::literals;
using yox::WString;
using yox::platform::ForEachValue;
using yox::platform::Registry;
using yox::platform::RegistryKey;
using yox::platform::RegistryStatus;
using yox::platform::RegistryType;
using yox::platform::RegistryValue;
using yox::platform::RegistryWatch;
using yox::platform::ValueCalls;
using yox::platform::WindowsRegistry;

WString OwnSid() {
  HANDLE token = nullptr;
  EXPECT_TRUE(OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token));
  alignas(TOKEN_USER) BYTE user[256];
  DWORD size = 0;
  EXPECT_TRUE(GetTokenInformation(token, TokenUser, user, sizeof user, &size));
  CloseHandle(token);
  LPWSTR text = nullptr;
  EXPECT_TRUE(ConvertSidToStringSidW(reinterpret_cast<TOKEN_USER*>(user)->User.Sid, &text));
  WString sid(text);
  LocalFree(text);
  return sid;
}

class WindowsUnderTest final : public RegistryUnderTest {
 public:
  WindowsUnderTest() {
    static std::atomic<unsigned> count = 0;
    scratch_ =
        "YoxTest-"_w + std::to_wstring(GetCurrentProcessId()) + L'-' + std::to_wstring(++count);
    for (HKEY const root : {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER}) {
      EXPECT_EQ(registry_.CreateKey({root, Scratch(), {}, {}}), RegistryStatus::kOk);
    }
  }
  ~WindowsUnderTest() override {
    if (isolated_ != nullptr) {
      RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
      RegCloseKey(isolated_);
    }
    for (HKEY const root : {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER}) {
      EXPECT_EQ(registry_.DeleteKey({root, Scratch(), {}, {}}), RegistryStatus::kOk);
    }
  }

  Registry& registry() override { return registry_; }
  Registry& other() override { return other_; }
  WString own_user() override { return OwnSid(); }
  bool is_atomic() const override { return false; }
  void Isolate() override {
    EXPECT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, Scratch().c_str(), 0, KEY_ALL_ACCESS, &isolated_),
              ERROR_SUCCESS);
    EXPECT_EQ(RegOverridePredefKey(HKEY_LOCAL_MACHINE, isolated_), ERROR_SUCCESS);
  }

 private:
  WString Scratch() const { return "SOFTWARE\\"_w + scratch_; }

  WindowsRegistry registry_;
  WindowsRegistry other_;
  HKEY isolated_ = nullptr;
};

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

}  // namespace

RegistryMaker NativeRegistryMaker() {
  return {"Windows", [] { return std::make_unique<WindowsUnderTest>(); }};
}

}  // namespace yox_test
