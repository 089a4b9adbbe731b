#include <gtest/gtest.h>
#include <signal.h>

#include "yox/platform/system/linux/ProgramOutput.h"

namespace yox::platform {
namespace {

constexpr std::chrono::seconds kPlenty{60};

TEST(ProgramOutputTest, IsWhatTheProgramWrites) {
  EXPECT_EQ(ProgramOutput({"/bin/echo", "two words", "$HOME"}, kPlenty), "two words $HOME\n");
  EXPECT_EQ(ProgramOutput({"/bin/sh", "-c", "cat; echo lost >&2"}, kPlenty), "");
}

TEST(ProgramOutputTest, LongOutputComesWhole) {
  const auto output = ProgramOutput({"/bin/sh", "-c", "head -c 1000000 /dev/zero"}, kPlenty);
  EXPECT_EQ(output, std::string(1000000, '\0'));
}

TEST(ProgramOutputTest, AProgramThatFailsHasNone) {
  EXPECT_EQ(ProgramOutput({"/bin/sh", "-c", "echo begun; exit 3"}, kPlenty), std::nullopt);
  EXPECT_EQ(ProgramOutput({"/bin/sh", "-c", "kill -9 $$"}, kPlenty), std::nullopt);
  EXPECT_EQ(ProgramOutput({"/no/such/program"}, kPlenty), std::nullopt);
}

TEST(ProgramOutputTest, AProgramThatHangsIsKilled) {
  EXPECT_EQ(
      ProgramOutput({"/bin/sh", "-c", "exec tail -f /dev/null"}, std::chrono::milliseconds(100)),
      std::nullopt);
}

TEST(ProgramOutputTest, TheHostsSignalMaskIsNotInherited) {
  sigset_t all;
  sigfillset(&all);
  ASSERT_EQ(pthread_sigmask(SIG_SETMASK, &all, nullptr), 0);
  EXPECT_EQ(ProgramOutput({"/bin/sh", "-c", "kill -TERM $$; echo survived"}, kPlenty),
            std::nullopt);
}

TEST(ProgramOutputTest, AHostThatIgnoresItsChildrenGetsTheOutput) {
  signal(SIGCHLD, SIG_IGN);
  EXPECT_EQ(ProgramOutput({"/bin/echo", "a"}, kPlenty), "a\n");
}

}  // namespace
}  // namespace yox::platform
