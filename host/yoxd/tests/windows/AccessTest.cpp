#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/yoxd/windows/Access.h"

namespace yoxd {
namespace {

// The lists themselves are compared here: Wine enforces none.
struct Entry {
  WELL_KNOWN_SID_TYPE account;  // WinNullSid: another one
  DWORD rights;

  friend bool operator==(const Entry&, const Entry&) = default;
};

constexpr DWORD kEverything = FILE_ALL_ACCESS;

// The entries of the list, all of which must allow something.
std::vector<Entry> EntriesOf(const PrivateAccess& access) {
  BOOL present = FALSE;
  BOOL by_default = FALSE;
  PACL list = nullptr;
  EXPECT_TRUE(GetSecurityDescriptorDacl(access.descriptor(), &present, &list, &by_default));
  std::vector<Entry> entries;
  if (present == FALSE || list == nullptr) return entries;  // which would allow everything
  for (DWORD i = 0; i < list->AceCount; ++i) {
    void* entry = nullptr;
    EXPECT_TRUE(GetAce(list, i, &entry));
    auto* const allowed = static_cast<ACCESS_ALLOWED_ACE*>(entry);
    EXPECT_EQ(allowed->Header.AceType, ACCESS_ALLOWED_ACE_TYPE);
    WELL_KNOWN_SID_TYPE account = WinNullSid;
    for (const auto known : {WinLocalSystemSid, WinBuiltinAdministratorsSid, WinWorldSid}) {
      if (IsWellKnownSid(&allowed->SidStart, known) != FALSE) account = known;
    }
    entries.push_back({account, allowed->Mask});
  }
  return entries;
}

TEST(AccessTest, OnlyTheSystemTheAdministratorsAndThisAccountAreOnTheList) {
  const PrivateAccess access;
  EXPECT_EQ(EntriesOf(access), (std::vector<Entry>{{WinLocalSystemSid, kEverything},
                                                   {WinBuiltinAdministratorsSid, kEverything},
                                                   {WinNullSid, kEverything}}));
}

TEST(AccessTest, WhatTheFolderWouldHandDownIsLeftOut) {
  const PrivateAccess access;
  SECURITY_DESCRIPTOR_CONTROL control = 0;
  DWORD revision = 0;
  ASSERT_TRUE(GetSecurityDescriptorControl(access.descriptor(), &control, &revision));
  EXPECT_NE(control & SE_DACL_PROTECTED, 0);
}

TEST(AccessTest, AGroupGetsWhatItIsGiven) {
  const std::wstring everyone = SidOfName("Everyone");
  EXPECT_EQ(everyone, L"S-1-1-0");
  const PrivateAccess access(L"(A;;0x12019b;;;" + everyone + L")");
  const auto entries = EntriesOf(access);
  ASSERT_EQ(entries.size(), 4);
  EXPECT_EQ(entries.back(), (Entry{WinWorldSid, 0x12019b}));
  EXPECT_EQ(SidOfName("no such group"), L"");
}

}  // namespace
}  // namespace yoxd
