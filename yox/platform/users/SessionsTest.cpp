#include <gtest/gtest.h>

#include "yox/platform/users/Sessions.h"

#include "tests/support/Rows.h"

namespace yox::platform {
namespace {

using State = SessionRank::State;

struct SessionsRow {
  const char* name;
  UserSessions<const char*> sessions;
  std::string first;
};

class UserSessionsTest : public testing::TestWithParam<SessionsRow> {};

TEST_P(UserSessionsTest, BeginWithTheLoggedOnUser) {
  EXPECT_EQ(GetParam().sessions.begin()->second, GetParam().first);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, UserSessionsTest,
    testing::Values(
        SessionsRow{"TheScreenBeforeTheNetwork",
                    {{{State::kElsewhere, 1}, "remote"}, {{State::kAtConsole, 2}, "local"}},
                    "local"},
        SessionsRow{"InUseBeforeTheBackground",
                    {{{State::kInBackground, 1}, "away"}, {{State::kElsewhere, 2}, "remote"}},
                    "remote"},
        SessionsRow{"TheBackgroundAlone", {{{State::kInBackground, 1}, "away"}}, "away"},
        SessionsRow{"TheEarliestOfSeveral",
                    {{{State::kElsewhere, 30}, "late"},
                     {{State::kElsewhere, 4}, "early"},
                     {{State::kElsewhere, 200}, "latest"}},
                    "early"}),
    yox_test::RowName());

}  // namespace
}  // namespace yox::platform
