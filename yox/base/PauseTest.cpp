#include <gtest/gtest.h>

#include "yox/base/Pause.h"

namespace {

// How often the condition is looked at that is met at its `met_at`-th look, and what is returned.
struct Looks {
  int count = 0;
  bool is_met = false;
};
Looks SpinUntilLook(int rounds, int met_at) {
  Looks looks;
  looks.is_met = yox::SpinUntil(rounds, [&] { return ++looks.count == met_at; });
  return looks;
}

TEST(PauseTest, ASpinEndsAtTheFirstLookThatSeesTheCondition) {
  EXPECT_EQ(SpinUntilLook(5, 1).count, 1);
  EXPECT_EQ(SpinUntilLook(5, 3).count, 3);
  EXPECT_TRUE(SpinUntilLook(5, 5).is_met);
}

TEST(PauseTest, ASpinGivesUpAfterItsRounds) {
  const Looks looks = SpinUntilLook(5, 6);
  EXPECT_EQ(looks.count, 5);
  EXPECT_FALSE(looks.is_met);
  EXPECT_EQ(SpinUntilLook(0, 1).count, 0);
}

}  // namespace
