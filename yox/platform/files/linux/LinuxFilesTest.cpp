#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <string>

#include "yox/platform/files/PathText.h"
#include "yox/platform/files/linux/LinuxFiles.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/FileMode.h"
#include "tests/support/TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;
using yox::AccessGrant;
using yox::ParseAccessGrants;
using yox::platform::LinuxFiles;
using yox::platform::NativePath;
using yox::platform::ToText;
using yox_test::ModeOf;
using namespace yox::literals;

class LinuxFilesTest : public testing::Test {
 protected:
  // Each test runs in a process of its own.
  void SetUp() override {
    for (const char* name : {"YOX_STATE_DIR", "XDG_STATE_HOME"}) unsetenv(name);
  }
  fs::path Make(const char* name, mode_t mode) {
    const fs::path file = folder_.path() / name;
    std::ofstream(file) << "x";
    chmod(file.c_str(), mode);
    return file;
  }
  bool Grant(const fs::path& file, yox::WStringView grants, bool replace) {
    return LinuxFiles().Grant(file, *ParseAccessGrants(grants), replace);
  }

  yox_test::TemporaryFolder folder_;
};

TEST_F(LinuxFilesTest, DriveIsTheProductsFolderOfConfiguration) {
  EXPECT_EQ(LinuxFiles().Locate("C:\\yox-provision.json"_wv), "/etc/yox/yox-provision.json");
  EXPECT_EQ(LinuxFiles("/sandbox").Locate("C:\\a\\b"_wv), "/sandbox/etc/yox/a/b");
}

TEST_F(LinuxFilesTest, FoldersLieBelowTheRootAndLetterCaseCounts) {
  const LinuxFiles files("/sandbox");
  EXPECT_EQ(files.CommonApplicationDataPath(), "/sandbox/var/lib"_w);
  EXPECT_EQ(files.Locate(files.CommonApplicationDataPath() + NativePath("\\tervan\\YOX\\"_wv)),
            "/sandbox/var/lib/tervan/YOX/");
  EXPECT_NE(files.Locate("/var/lib/tervan/YOX"_wv), files.Locate("/var/lib/tervan/yox"_wv));
  EXPECT_TRUE(files.SystemDirectory().starts_with(u"/sandbox/"));
}

TEST_F(LinuxFilesTest, ABackslashIsALetterOfAName) {
  EXPECT_EQ(LinuxFiles().Locate("/srv/a\\b\\.json"_wv), "/srv/a\\b\\.json");
  EXPECT_EQ(LinuxFiles().Locate("D:\\a"_wv), "D:\\a");
  setenv("YOX_STATE_DIR", "/st\\x", 1);
  EXPECT_EQ(LinuxFiles().ApplicationDataRoot(), "/st\\x"_w);
}

TEST_F(LinuxFilesTest, EnvironmentNamesTheStateFolder) {
  setenv("XDG_STATE_HOME", "/home/someone/state", 1);
  setenv("YOX_STATE_DIR", "/elsewhere", 1);
  EXPECT_EQ(LinuxFiles().ApplicationDataRoot(), "/elsewhere"_w);
  setenv("YOX_STATE_DIR", "relative", 1);
  EXPECT_EQ(LinuxFiles().ApplicationDataRoot(), ToText(fs::current_path() / "relative"));
}

// Takes the place of root while it lives; any other account that runs the tests stays itself.
class AsUser {
 public:
  static constexpr uid_t kUser = 65534;

  AsUser() : user_(geteuid()) {
    if (user_ == 0 && seteuid(kUser) != 0) ADD_FAILURE() << "cannot become another user";
  }
  ~AsUser() {
    // A change of user leaves a process that may not be looked into, LeakSanitizer included.
    if (seteuid(user_) != 0 || prctl(PR_SET_DUMPABLE, 1) != 0) ADD_FAILURE() << "cannot go back";
  }

 private:
  uid_t user_;
};

TEST_F(LinuxFilesTest, UserHasAStateFolderOfHisOwn) {
  if (geteuid() == 0) {
    EXPECT_EQ(LinuxFiles().ApplicationDataRoot(), "/var/lib/yox"_w);
  }
  const AsUser as_user;
  setenv("HOME", "/home/someone", 1);
  EXPECT_EQ(LinuxFiles().ApplicationDataRoot(), "/home/someone/.local/state/yox"_w);
  setenv("XDG_STATE_HOME", "/home/someone/state", 1);
  EXPECT_EQ(LinuxFiles().ApplicationDataRoot(), "/home/someone/state/yox"_w);
  setenv("XDG_STATE_HOME", "not-absolute", 1);
  unsetenv("HOME");
  EXPECT_EQ(LinuxFiles().ApplicationDataRoot(), std::nullopt);
}

TEST_F(LinuxFilesTest, PrivateFileIsTheOwnersAloneWhateverTheMask) {
  umask(0);
  const fs::path file = folder_.path() / "private";
  ASSERT_TRUE(LinuxFiles().CreatePrivate(file));
  EXPECT_EQ(ModeOf(file), 0600U);
}

TEST_F(LinuxFilesTest, PrivateFileIsNotMadeThroughALink) {
  fs::create_symlink(folder_.path() / "target", folder_.path() / "link");
  EXPECT_FALSE(LinuxFiles().CreatePrivate(folder_.path() / "link"));
  EXPECT_FALSE(fs::exists(folder_.path() / "target"));
}

TEST_F(LinuxFilesTest, GrantsAreModesOfTheOwner) {
  const fs::path file = Make("file", 0644);
  EXPECT_TRUE(Grant(file, "/q /grant *S-1-5-32-544:(OI)(CI)F *S-1-5-18:(OI)(CI)F"_wv, true));
  EXPECT_EQ(ModeOf(file), 0600U);
  EXPECT_TRUE(Grant(file, "/q /grant *S-1-5-18:R"_wv, true));
  EXPECT_EQ(ModeOf(file), 0400U);
  EXPECT_TRUE(Grant(file, "/q /grant *S-1-5-32-544:W"_wv, false));
  EXPECT_EQ(ModeOf(file), 0600U);
}

TEST_F(LinuxFilesTest, AddingAGrantStillShutsEverybodyElseOut) {
  const fs::path file = Make("file", 0666);
  EXPECT_TRUE(Grant(file, "/q /grant *S-1-5-32-544:RW *S-1-5-18:RW"_wv, false));
  EXPECT_EQ(ModeOf(file), 0600U);
}

TEST_F(LinuxFilesTest, FolderThatMayBeReadMayBeEntered) {
  chmod(folder_.path().c_str(), 0755);
  EXPECT_TRUE(Grant(folder_.path(), "/q /grant *S-1-5-32-544:(OI)(CI)F"_wv, true));
  EXPECT_EQ(ModeOf(folder_.path()), 0700U);
}

TEST_F(LinuxFilesTest, OtherAccountsAreRefusedAndTheModeStays) {
  const fs::path file = Make("file", 0640);
  EXPECT_FALSE(Grant(file, "/q /grant *S-1-5-18:F *S-1-1-0:R"_wv, true));
  EXPECT_EQ(ModeOf(file), 0640U);
}

TEST_F(LinuxFilesTest, AFileThatOthersMayWriteIsNotTrusted) {
  LinuxFiles files;
  for (const mode_t mode : {0400U, 0600U, 0644U, 0755U}) {
    EXPECT_EQ(files.ReadTrusted(Make("file", mode), 1), "x") << std::oct << mode;
  }
  for (const mode_t mode : {0620U, 0602U, 0666U}) {
    const yox_test::CapturedLog log;
    EXPECT_EQ(files.ReadTrusted(Make("file", mode), 1), std::nullopt) << std::oct << mode;
    EXPECT_NE(log.Text().find("which another account can write"), std::string::npos);
  }
}

TEST_F(LinuxFilesTest, OnlyRootsFilesAndOnesOwnAreTrusted) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give files away";
  LinuxFiles files;
  chmod(folder_.path().c_str(), 0755);
  const fs::path roots = Make("roots", 0644);
  const fs::path own = Make("own", 0644);
  const fs::path another = Make("another", 0644);
  ASSERT_EQ(chown(own.c_str(), AsUser::kUser, AsUser::kUser), 0);
  ASSERT_EQ(chown(another.c_str(), AsUser::kUser + 1, AsUser::kUser + 1), 0);
  EXPECT_EQ(files.ReadTrusted(own, 1), std::nullopt);
  const AsUser as_user;
  EXPECT_EQ(files.ReadTrusted(roots, 1), "x");
  EXPECT_EQ(files.ReadTrusted(own, 1), "x");
  EXPECT_EQ(files.ReadTrusted(another, 1), std::nullopt);
}

TEST_F(LinuxFilesTest, WhatIsNoSmallRegularFileIsNotReadAsTrusted) {
  LinuxFiles files;
  const fs::path pipe = folder_.path() / "pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_EQ(files.ReadTrusted(pipe, 1), std::nullopt);
  EXPECT_EQ(files.ReadTrusted(folder_.path() / "missing", 1), std::nullopt);
  EXPECT_EQ(files.ReadTrusted(Make("file", 0600), 0), std::nullopt) << "larger than the limit";
}

}  // namespace
