#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "yox/platform/files/windows/OwnFolder.h"
#include "yox/platform/files/windows/WindowsFiles.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/Rows.h"
#include "tests/support/TemporaryFolder.h"

namespace yox::platform {
namespace {

namespace fs = std::filesystem;

constexpr wchar_t kPrivate[] = L"D:P(A;OICI;FA;;;BA)(A;OICI;FA;;;SY)(A;OICI;FA;;;WD)";
constexpr wchar_t kOwn[] = L"S-1-5-21-1-2-3-1001";

struct OwnerRow {
  const char* name;
  const wchar_t* owner;
  bool elevated;
  bool trusted;
};
class TrustedOwnerTest : public testing::TestWithParam<OwnerRow> {};

TEST_P(TrustedOwnerTest, IsTheSystemOrAnAdministrator) {
  EXPECT_EQ(IsTrustedOwner(GetParam().owner, kOwn, GetParam().elevated), GetParam().trusted);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, TrustedOwnerTest,
    testing::Values(OwnerRow{"LocalSystem", L"S-1-5-18", false, true},
                    OwnerRow{"Administrators", L"S-1-5-32-544", false, true},
                    OwnerRow{"TrustedInstaller",
                             L"S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464",
                             false, true},
                    OwnerRow{"AnAdministratorsOwnAccount", kOwn, true, true},
                    OwnerRow{"AUsersOwnAccount", kOwn, false, false},
                    OwnerRow{"AnotherUser", L"S-1-5-21-1-2-3-1002", true, false},
                    OwnerRow{"Users", L"S-1-5-32-545", true, false},
                    OwnerRow{"Everyone", L"S-1-1-0", true, false},
                    OwnerRow{"Unknown", L"", true, false}),
    yox_test::RowName());

class ClaimFolderTest : public testing::Test {
 protected:
  // Plants a folder as another user would, before the product is there.
  void Plant() {
    fs::create_directory(folder_);
    std::ofstream(folder_ / "believed.json") << "{}";
  }
  std::size_t Siblings() {
    const fs::directory_iterator entries(temporary_.path());
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
  }

  yox_test::TemporaryFolder temporary_;
  const fs::path folder_ = temporary_.path() / "YOX";
};

TEST_F(ClaimFolderTest, AMissingFolderIsCreated) {
  EXPECT_TRUE(ClaimFolder(folder_.native(), kPrivate));
  EXPECT_TRUE(fs::is_directory(folder_));
}

TEST_F(ClaimFolderTest, AFolderOfATrustedAccountStaysAsItIs) {
  Plant();
  EXPECT_TRUE(ClaimFolder(folder_.native(), kPrivate, [](const WString&) { return true; }));
  EXPECT_TRUE(fs::exists(folder_ / "believed.json"));
  EXPECT_EQ(Siblings(), 1U);
}

TEST_F(ClaimFolderTest, AFolderOfSomebodyElseIsSetAside) {
  Plant();
  const yox_test::CapturedLog log;
  EXPECT_TRUE(ClaimFolder(folder_.native(), kPrivate, [](const WString&) { return false; }));
  EXPECT_TRUE(fs::is_directory(folder_));
  EXPECT_FALSE(fs::exists(folder_ / "believed.json"));
  EXPECT_EQ(Siblings(), 2U);
  EXPECT_NE(log.Text().find("somebody else created"), std::string::npos) << log.Text();
}

TEST_F(ClaimFolderTest, AFileInItsPlaceIsSetAside) {
  std::ofstream(folder_) << "x";
  EXPECT_TRUE(ClaimFolder(folder_.native(), kPrivate, [](const WString&) { return true; }));
  EXPECT_TRUE(fs::is_directory(folder_));
}

TEST_F(ClaimFolderTest, WithoutAFolderAboveItThereIsNoneAndTheReasonIsLogged) {
  const yox_test::CapturedLog log;
  EXPECT_FALSE(ClaimFolder((folder_ / "below").native(), kPrivate));
  EXPECT_NE(log.Text().find("cannot create"), std::string::npos) << log.Text();
}

TEST_F(ClaimFolderTest, TheOwnerIsTheOneThatTheSystemNames) {
  Plant();
  WString asked;
  ClaimFolder(folder_.native(), kPrivate, [&](const WString& owner) {
    asked = owner;
    return true;
  });
  EXPECT_TRUE(asked.starts_with(L"S-1-5-")) << asked.size();
}

}  // namespace
}  // namespace yox::platform
