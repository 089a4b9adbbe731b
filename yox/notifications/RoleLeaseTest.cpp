#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <thread>

#include "yox/base/Pause.h"
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
  const std::weak_ptr<RoleLease> watched = role;
  role = nullptr;
  EXPECT_FALSE(watched.expired());
  release.CountDown();
  EXPECT_TRUE(ended.Wait());
}

// Makes short calls for as long as the owner looks several times. Returns false if the system held
// the thread up, so that the role was revoked.
bool MakeShortCalls(RoleLease& lease) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(5);
  while (std::chrono::steady_clock::now() < end) {
    if (!lease.EndCall(lease.BeginCall())) return false;
  }
  return true;
}

TEST(RoleLeaseTest, ALeaseIsNotRevokedDuringShortCalls) {
  const auto role = std::make_shared<RoleLease>([&](RoleLease& lease) {
    if (MakeShortCalls(lease)) lease.Return();
  });
  int revoked = 0;
  while (revoked < 1000 && role->Grant() == RoleLease::End::kRevoked) ++revoked;
  EXPECT_LT(revoked, 1000);
}

TEST(RoleLeaseTest, ALeaseIsRevokedDuringALongCallAfterManyShortOnes) {
  Latch release;
  Latch ended;
  bool hung = false;  // guarded by the role
  const auto role = std::make_shared<RoleLease>([&](RoleLease& lease) {
    if (!MakeShortCalls(lease)) return;
    hung = true;
    const std::uint64_t call = lease.BeginCall();
    EXPECT_TRUE(release.Wait());
    EXPECT_FALSE(lease.EndCall(call));
    ended.CountDown();
  });
  while (!hung) EXPECT_EQ(role->Grant(), RoleLease::End::kRevoked);
  release.CountDown();
  EXPECT_TRUE(ended.Wait());
}

// Otherwise the owner looks only after a millisecond. Some of many, because the system may hold up
// either thread.
TEST(RoleLeaseTest, AReturnWakesTheOwner) {
  using std::chrono::microseconds;
  using std::chrono::steady_clock;
  const auto role = std::make_shared<RoleLease>([&](RoleLease& lease) {
    const auto end = steady_clock::now() + microseconds(300);  // by then the owner sleeps
    while (steady_clock::now() < end) yox::Pause();
    lease.Return();
  });
  int woken = 0;
  for (int i = 0; i < 2000 && woken < 50; ++i) {
    const auto begin = steady_clock::now();
    EXPECT_EQ(role->Grant(), RoleLease::End::kReturned);
    if (steady_clock::now() - begin < microseconds(900)) ++woken;
  }
  EXPECT_EQ(woken, 50);
}

// The first holder's call ends during one of the second holder's.
TEST(RoleLeaseTest, ACallOfARevokedLeaseIsNotTakenForOneOfTheNext) {
  for (int calls = 1; calls <= 4; ++calls) {
    Latch release;
    Latch first_ended;
    Latch second_ended;
    bool is_second = false;  // guarded by the role
    bool still_had_role = true;
    const auto hold_first = [&](RoleLease& lease) {
      is_second = true;
      const std::uint64_t call = lease.BeginCall();
      EXPECT_TRUE(release.Wait());
      still_had_role = lease.EndCall(call);
      first_ended.CountDown();
    };
    const auto hold_second = [&](RoleLease& lease) {
      for (int i = 1; i < calls; ++i) {
        if (!lease.EndCall(lease.BeginCall())) return;
      }
      const std::uint64_t call = lease.BeginCall();
      release.CountDown();
      EXPECT_TRUE(first_ended.Wait());
      if (lease.EndCall(call)) lease.Return();
    };
    const auto role = std::make_shared<RoleLease>([&](RoleLease& lease) {
      if (!is_second) return hold_first(lease);
      hold_second(lease);
      second_ended.CountDown();
    });
    EXPECT_EQ(role->Grant(), RoleLease::End::kRevoked);
    role->Grant();
    release.CountDown();
    EXPECT_TRUE(first_ended.Wait());
    EXPECT_TRUE(second_ended.Wait());
    EXPECT_FALSE(still_had_role) << calls;
  }
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
