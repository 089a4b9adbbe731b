#include <windows.h>

// Needs windows.h before it.
#include <sddl.h>

#include <atomic>

#include "yox/platform/registry/RegistryContract.h"
#include "yox/platform/registry/windows/WindowsRegistry.h"

namespace yox_test {
namespace {

using namespace yox::literals;
using yox::WString;
using yox::platform::Registry;
using yox::platform::RegistryStatus;
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
    if (own_user_ != nullptr) {
      ReleaseMutex(own_user_);
      CloseHandle(own_user_);
    }
  }

  Registry& registry() override { return registry_; }
  Registry& other() override { return other_; }
  // All tests have the same user: one process at a time works below his key in HKEY_USERS.
  WString own_user() override {
    if (own_user_ == nullptr) {
      own_user_ = CreateMutexW(nullptr, FALSE, L"YoxTestOwnUser");
      EXPECT_NE(own_user_, nullptr);
      WaitForSingleObject(own_user_, INFINITE);
    }
    return OwnSid();
  }
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
  HANDLE own_user_ = nullptr;
};

}  // namespace

RegistryMaker NativeRegistryMaker() {
  return {"Windows", [] { return std::make_unique<WindowsUnderTest>(); }};
}

}  // namespace yox_test
