#include <gtest/gtest.h>
#include <sys/stat.h>

#include "host/yoxd/StateFolder.h"
#include "tests/support/FileMode.h"
#include "tests/support/TemporaryFolder.h"

namespace yoxd {
namespace {

using yox_test::ModeOf;

TEST(PrivateFilesTest, NoOtherAccountReadsThemWhateverTheUmask) {
  const mode_t former = umask(0);
  {
    const yox_test::TemporaryFolder root;
    std::filesystem::create_directory(root.path() / "yoxd");  // as any program creates it
    StateFolder folder(root.path());
    EXPECT_TRUE(folder.Write("written", "1"));
    EXPECT_TRUE(folder.Append("appended", "1"));
    EXPECT_EQ(ModeOf(folder.path()), 0700);
    EXPECT_EQ(ModeOf(folder.path() / "content"), 0700);
    for (const char* const file : {"written", "appended", "lock"}) {
      EXPECT_EQ(ModeOf(folder.path() / file), 0600) << file;
    }
  }
  umask(former);
}

TEST(PrivateFilesTest, OneServiceUsesTheFolder) {
  const yox_test::TemporaryFolder root;
  const StateFolder folder(root.path());
  EXPECT_THROW(StateFolder second(root.path()), std::runtime_error);
}

}  // namespace
}  // namespace yoxd
