#include <gtest/gtest.h>

#include <memory>
#include <thread>

#include "yox/notifications/LentRole.h"

#include "tests/support/Latch.h"

namespace {

using yox::notifications::LentRole;
using yox_test::Latch;

TEST(LentRoleTest, TheBorrowerIsAnotherThreadAndGivesTheRoleBack) {
  std::thread::id borrower;
  const auto role = std::make_shared<LentRole>([&](LentRole& lent) {
    borrower = std::this_thread::get_id();
    lent.GiveBack();
  });
  EXPECT_EQ(role->Lend(), LentRole::Return::kGivenBack);
  EXPECT_NE(borrower, std::thread::id());
  EXPECT_NE(borrower, std::this_thread::get_id());
}

TEST(LentRoleTest, TheRoleIsTakenBackOutOfACallThatDoesNotEndAndCanBeLentAgain) {
  Latch release;
  Latch ended;
  bool hangs = true;  // guarded by the role
  const auto role = std::make_shared<LentRole>([&](LentRole& lent) {
    if (!hangs) {
      lent.GiveBack();
      return;
    }
    const std::uint64_t call = lent.BeginCall();
    EXPECT_TRUE(release.Wait());
    EXPECT_FALSE(lent.EndCall(call));
    ended.CountDown();
  });
  EXPECT_EQ(role->Lend(), LentRole::Return::kTakenBack);
  hangs = false;
  EXPECT_EQ(role->Lend(), LentRole::Return::kGivenBack);
  release.CountDown();
  EXPECT_TRUE(ended.Wait());
}

TEST(LentRoleTest, ACallOutlivesTheRolesOwner) {
  Latch release;
  Latch ended;
  auto role = std::make_shared<LentRole>([&](LentRole& lent) {
    const std::uint64_t call = lent.BeginCall();
    EXPECT_TRUE(release.Wait());
    EXPECT_FALSE(lent.EndCall(call));
    ended.CountDown();
  });
  EXPECT_EQ(role->Lend(), LentRole::Return::kTakenBack);
  role = nullptr;
  release.CountDown();
  EXPECT_TRUE(ended.Wait());
}

// However often the system holds a borrower up, so that the role is taken back: each step is made
// once, by the one thread that has it.
TEST(LentRoleTest, WhatTheRoleGuardsIsOneThreadsAtATime) {
  constexpr int kSteps = 100'000;
  int begun = 0;  // guarded by the role
  const auto role = std::make_shared<LentRole>([&](LentRole& lent) {
    while (begun < kSteps) {
      ++begun;
      if (!lent.EndCall(lent.BeginCall())) return;
    }
    lent.GiveBack();
  });
  int given_back = 0;
  while (begun < kSteps) {
    if (role->Lend() == LentRole::Return::kGivenBack) ++given_back;
  }
  EXPECT_EQ(begun, kSteps);
  EXPECT_LE(given_back, 1);
}

}  // namespace
