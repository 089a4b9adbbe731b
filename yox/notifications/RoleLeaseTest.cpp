#include <gtest/gtest.h>

#include <memory>
#include <thread>

#include "yox/notifications/RoleLease.h"

#include "tests/support/Latch.h"

namespace {

using yox::notifications::RoleLease;
using yox_test::Latch;

TEST(RoleLeaseTest, TheHolderIsAnotherThreadAndReturnsTheRole) {
  std::thread::id holder;
  const auto role = std::make_shared<RoleLease>([&](RoleLease& lease) {
    holder = std::this_thread::get_id();
    lease.Return();
  });
  EXPECT_EQ(role->Grant(), RoleLease::End::kReturned);
  EXPECT_NE(holder, std::thread::id());
  EXPECT_NE(holder, std::this_thread::get_id());
}

TEST(RoleLeaseTest, ALeaseIsRevokedDuringACallThatDoesNotEnd) {
  Latch release;
  Latch ended;
  bool hangs = true;  // guarded by the role
  const auto role = std::make_shared<RoleLease>([&](RoleLease& lease) {
    if (!hangs) {
      lease.Return();
      return;
    }
    const std::uint64_t call = lease.BeginCall();
    EXPECT_TRUE(release.Wait());
    EXPECT_FALSE(lease.EndCall(call));
    ended.CountDown();
  });
  EXPECT_EQ(role->Grant(), RoleLease::End::kRevoked);
  hangs = false;
  EXPECT_EQ(role->Grant(), RoleLease::End::kReturned);
  release.CountDown();
  EXPECT_TRUE(ended.Wait());
}

TEST(RoleLeaseTest, ACallOutlivesTheRolesOwner) {
  Latch release;
  Latch ended;
  auto role = std::make_shared<RoleLease>([&](RoleLease& lease) {
    const std::uint64_t call = lease.BeginCall();
    EXPECT_TRUE(release.Wait());
    EXPECT_FALSE(lease.EndCall(call));
    ended.CountDown();
  });
  EXPECT_EQ(role->Grant(), RoleLease::End::kRevoked);
  role = nullptr;
  release.CountDown();
  EXPECT_TRUE(ended.Wait());
}

// However often the system holds a holder up, so that the role is taken back: each step is made
// once, by the one thread that has it.
TEST(RoleLeaseTest, WhatTheRoleGuardsIsOneThreadsAtATime) {
  constexpr int kSteps = 100'000;
  int begun = 0;  // guarded by the role
  const auto role = std::make_shared<RoleLease>([&](RoleLease& lease) {
    while (begun < kSteps) {
      ++begun;
      if (!lease.EndCall(lease.BeginCall())) return;
    }
    lease.Return();
  });
  int returned = 0;
  while (begun < kSteps) {
    if (role->Grant() == RoleLease::End::kReturned) ++returned;
  }
  EXPECT_EQ(begun, kSteps);
  EXPECT_LE(returned, 1);
}

}  // namespace
