// The contract of waits, on whichever system the tests run.
#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

#include "yox/platform/clock/Clock.h"
#include "yox/platform/simulated/SimulatedDevice.h"
#include "yox/platform/waits/Event.h"
#include "yox/platform/waits/Semaphore.h"
#include "yox/platform/waits/WaitUntil.h"
#include "yox/platform/waits/WaitableMutex.h"
#include "yox/platform/waits/Waits.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include <sys/eventfd.h>
#include <unistd.h>
#endif

namespace {

using yox::platform::ClearEvent;
using yox::platform::Event;
using yox::platform::kInvalidHandleError;
using yox::platform::kMostWaitHandles;
using yox::platform::Semaphore;
using yox::platform::SignalEvent;
using yox::platform::WaitableMutex;
using yox::platform::WaitFor;
using yox::platform::WaitForAny;
using yox::platform::WaitHandle;
using yox::platform::WaitResult;

// Long enough that only a lost wake-up reaches it.
constexpr std::int64_t kBound = 30'000;

// An event that the host made by the system's own means.
class HostEvent {
 public:
#if defined(_WIN32)
  HostEvent() : native_(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {}
  ~HostEvent() { CloseHandle(native_); }
  void Set() const { SetEvent(native_); }
#else
  HostEvent() : native_(eventfd(0, EFD_CLOEXEC)) {}
  ~HostEvent() { close(native_); }
  void Set() const { eventfd_write(native_, 1); }
#endif
  HostEvent(const HostEvent&) = delete;
  HostEvent& operator=(const HostEvent&) = delete;

  WaitHandle handle() const { return native_; }

 private:
  WaitHandle::Native native_;
};

// Runs on a thread of its own, joined by the destructor.
class Helper {
 public:
  template <class Body>
  explicit Helper(Body body) : thread_(std::move(body)) {}
  ~Helper() { thread_.join(); }
  Helper(const Helper&) = delete;
  Helper& operator=(const Helper&) = delete;

 private:
  std::thread thread_;
};

TEST(WaitsTest, AnEventStaysSetUntilItIsCleared) {
  Event event;
  EXPECT_FALSE(event.IsSet());
  event.Set();
  event.Set();
  EXPECT_TRUE(event.IsSet());
  EXPECT_TRUE(event.IsSet());
  event.Clear();
  EXPECT_FALSE(event.IsSet());
  event.Clear();
  EXPECT_FALSE(event.IsSet());
}

TEST(WaitsTest, AnEventMayBeginSet) { EXPECT_TRUE(Event(true).IsSet()); }

TEST(WaitsTest, AnEventWakesAllWhoWait) {
  Event event;
  std::atomic<int> woken{0};
  {
    const Helper one([&] { woken += WaitFor(event.handle(), kBound).signalled(); });
    const Helper two([&] { woken += WaitFor(event.handle(), kBound).signalled(); });
    event.Set();
  }
  EXPECT_EQ(woken, 2);
}

TEST(WaitsTest, AnEventIsSetAndClearedThroughItsHandle) {
  const Event event;
  EXPECT_TRUE(SignalEvent(event.handle()));
  EXPECT_TRUE(event.IsSet());
  EXPECT_TRUE(ClearEvent(event.handle()));
  EXPECT_FALSE(event.IsSet());
}

TEST(WaitsTest, AHostsOwnEventTakesPart) {
  const HostEvent event;
  EXPECT_EQ(WaitFor(event.handle(), 0).kind, WaitResult::Kind::kTimedOut);
  event.Set();
  EXPECT_TRUE(WaitFor(event.handle()).signalled());
  EXPECT_TRUE(WaitFor(event.handle()).signalled());
  EXPECT_TRUE(ClearEvent(event.handle()));
  EXPECT_TRUE(ClearEvent(event.handle()));
  EXPECT_EQ(WaitFor(event.handle(), 0).kind, WaitResult::Kind::kTimedOut);
}

TEST(WaitsTest, SignallingANullHandleFails) {
  EXPECT_FALSE(SignalEvent(nullptr));
  EXPECT_FALSE(ClearEvent(nullptr));
}

TEST(WaitsTest, SignallingASemaphoreFails) {
  const Semaphore semaphore(0, 1);
  EXPECT_FALSE(SignalEvent(semaphore.handle()));
  EXPECT_FALSE(ClearEvent(semaphore.handle()));
}

TEST(WaitsTest, EachWaitTakesOneTokenOfASemaphore) {
  Semaphore semaphore(2, 8);
  EXPECT_TRUE(semaphore.Wait(0));
  EXPECT_TRUE(semaphore.Wait(0));
  EXPECT_FALSE(semaphore.Wait(0));
  EXPECT_TRUE(semaphore.Release(3));
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(semaphore.Wait(0));
  EXPECT_FALSE(semaphore.Wait(0));
}

TEST(WaitsTest, ASemaphoreRefusesToPassItsMaximum) {
  Semaphore semaphore(0, 1024);
  EXPECT_TRUE(semaphore.Release(1023));
  EXPECT_FALSE(semaphore.Release(2));
  EXPECT_TRUE(semaphore.Release());
  EXPECT_FALSE(semaphore.Release());
  EXPECT_TRUE(semaphore.Wait(0));
  EXPECT_TRUE(semaphore.Release());
}

TEST(WaitsTest, ASemaphoreRefusesCountsThatAreNotPositive) {
  Semaphore semaphore(1, 8);
  EXPECT_FALSE(semaphore.Release(0));
  EXPECT_FALSE(semaphore.Release(-1));
  EXPECT_TRUE(semaphore.Wait(0));
  EXPECT_FALSE(semaphore.Wait(0));
}

TEST(WaitsTest, NoTokenIsLostOrTakenTwice) {
  constexpr int kTakers = 3;
  constexpr int kTokensEach = 2000;
  Semaphore semaphore(0, kTakers * kTokensEach);
  std::atomic<int> taken{0};
  {
    std::vector<std::unique_ptr<Helper>> takers;
    for (int t = 0; t < kTakers; ++t) {
      takers.push_back(std::make_unique<Helper>([&] {
        for (int i = 0; i < kTokensEach; ++i) taken += semaphore.Wait(kBound);
      }));
    }
    const Helper giver([&] {
      for (int i = 0; i < kTokensEach; ++i) semaphore.Release(kTakers);
    });
  }
  EXPECT_EQ(taken, kTakers * kTokensEach);
  EXPECT_FALSE(semaphore.Wait(0));
}

// A sleeper that ends its wait on another handle must not swallow the wake-up of a token.
TEST(WaitsTest, ATokenFindsTheSleeperWhoNeedsIt) {
  Semaphore semaphore(0, 2);
  Semaphore answered(0, 1);
  constexpr int kRounds = 500;
  std::atomic<int> taken{0};
  const Helper plain([&] {
    for (int i = 0; i < kRounds; ++i) {
      taken += semaphore.Wait(kBound);
      answered.Release();
    }
  });
  Event other;
  for (int i = 0; i < kRounds; ++i) {
    std::atomic<int> took_token{0};
    {
      const Helper both([&] {
        const WaitResult result = WaitForAny({other.handle(), semaphore.handle()}, kBound);
        if (result.index == 1) {
          ++took_token;
          semaphore.Release();
        }
      });
      other.Set();
      semaphore.Release();
    }
    ASSERT_TRUE(answered.Wait(kBound)) << "round " << i;
    other.Clear();
  }
  EXPECT_EQ(taken, kRounds);
}

TEST(WaitsTest, AMutexBelongsToOneThread) {
  WaitableMutex mutex;
  ASSERT_TRUE(mutex.Wait());
  bool other_took = true;
  bool other_released = true;
  {
    const Helper other([&] {
      other_took = mutex.Wait(0);
      other_released = mutex.Release();
    });
  }
  EXPECT_FALSE(other_took);
  EXPECT_FALSE(other_released);
  EXPECT_TRUE(mutex.Release());
  EXPECT_FALSE(mutex.Release());
}

TEST(WaitsTest, TheOwnerMayTakeAMutexAgainAndReleasesItAsOften) {
  WaitableMutex mutex;
  ASSERT_TRUE(mutex.Wait());
  ASSERT_TRUE(mutex.Wait(0));
  EXPECT_TRUE(mutex.Release());
  bool other_took = true;
  {
    const Helper other([&] { other_took = mutex.Wait(0); });
  }
  EXPECT_FALSE(other_took);
  EXPECT_TRUE(mutex.Release());
  {
    const Helper other([&] {
      other_took = mutex.Wait(0);
      mutex.Release();
    });
  }
  EXPECT_TRUE(other_took);
}

TEST(WaitsTest, AMutexKeepsThreadsApart) {
  WaitableMutex mutex;
  int counted = 0;
  constexpr int kThreads = 3;
  constexpr int kRounds = 2000;
  {
    std::vector<std::unique_ptr<Helper>> helpers;
    for (int t = 0; t < kThreads; ++t) {
      helpers.push_back(std::make_unique<Helper>([&] {
        for (int i = 0; i < kRounds; ++i) {
          if (!mutex.Wait(kBound)) return;
          ++counted;
          mutex.Release();
        }
      }));
    }
  }
  EXPECT_EQ(counted, kThreads * kRounds);
}

TEST(WaitsTest, OneNullHandleFailsTheWholeWait) {
  const Event set(true);
  for (const auto result : {WaitForAny({set.handle(), nullptr}, 0),
                            WaitForAny({nullptr, set.handle()}), WaitFor(nullptr)}) {
    EXPECT_EQ(result.kind, WaitResult::Kind::kFailed);
    EXPECT_EQ(result.error, kInvalidHandleError);
  }
}

TEST(WaitsTest, AFailedWaitTakesNothing) {
  Semaphore semaphore(1, 1);
  EXPECT_EQ(WaitForAny({semaphore.handle(), nullptr}).kind, WaitResult::Kind::kFailed);
  EXPECT_TRUE(semaphore.Wait(0));
}

TEST(WaitsTest, AWaitForNothingOrForTooMuchFails) {
  EXPECT_EQ(WaitForAny({}, 0).kind, WaitResult::Kind::kFailed);
  const Event set(true);
  const std::vector<WaitHandle> most(kMostWaitHandles, set.handle());
  EXPECT_TRUE(WaitForAny(most).signalled());
  const std::vector<WaitHandle> many(kMostWaitHandles + 1, set.handle());
  EXPECT_EQ(WaitForAny(many).kind, WaitResult::Kind::kFailed);
}

TEST(WaitsTest, TheFirstSignalledHandleWins) {
  const Event clear;
  const Event set(true);
  Semaphore semaphore(1, 1);
  EXPECT_EQ(WaitForAny({clear.handle(), set.handle(), semaphore.handle()}).index, 1U);
  EXPECT_EQ(WaitForAny({clear.handle(), semaphore.handle(), set.handle()}).index, 1U);
  EXPECT_EQ(WaitForAny({clear.handle(), semaphore.handle(), set.handle()}).index, 2U);
}

TEST(WaitsTest, OnlyTheHandleThatEndsTheWaitIsTaken) {
  Semaphore first(1, 1);
  Semaphore second(1, 1);
  EXPECT_EQ(WaitForAny({first.handle(), second.handle()}).index, 0U);
  EXPECT_EQ(WaitForAny({first.handle(), second.handle()}).index, 1U);
  EXPECT_EQ(WaitForAny({first.handle(), second.handle()}, 0).kind, WaitResult::Kind::kTimedOut);
}

TEST(WaitsTest, AnyHandleEndsASleepingWait) {
  Event event;
  Semaphore semaphore(0, 1);
  WaitableMutex mutex;
  const HostEvent host;
  for (std::size_t turn = 0; turn < 4; ++turn) {
    ASSERT_TRUE(mutex.Wait());
    WaitResult result;
    {
      const Helper sleeper([&] {
        result =
            WaitForAny({event.handle(), semaphore.handle(), mutex.handle(), host.handle()}, kBound);
        if (result.index == 2) mutex.Release();
      });
      if (turn == 0) event.Set();
      if (turn == 1) semaphore.Release();
      if (turn == 2) mutex.Release();
      if (turn == 3) host.Set();
    }
    EXPECT_TRUE(result.signalled());
    EXPECT_EQ(result.index, turn);
    event.Clear();
    if (turn != 2) mutex.Release();
  }
}

TEST(WaitsTest, ALimitEndsTheWaitInRealTime) {
  const Event never;
  Semaphore none(0, 1);
  EXPECT_EQ(WaitForAny({never.handle(), none.handle()}, 1).kind, WaitResult::Kind::kTimedOut);
}

// A device whose time passes only when the test moves it.
class SteppedWaitsTest : public testing::Test {
 protected:
  static yox::platform::DeviceProfile Profile() {
    yox::platform::DeviceProfile profile;
    profile.clock.emplace().now.emplace();
    return profile;
  }

  yox::platform::SimulatedDevice device_{Profile()};
  yox::platform::ScopedPlatform installed_{device_};
};

TEST_F(SteppedWaitsTest, ALimitEndsTheWaitWhenTheClockReachesIt) {
  const Event never;
  Semaphore none(0, 1);
  WaitResult result;
  const std::int64_t begin = device_.clock().SteadyMilliseconds();
  {
    const Helper sleeper([&] { result = WaitForAny({never.handle(), none.handle()}, 10'000); });
    ASSERT_EQ(device_.clock().alarms().AwaitNext(kBound), begin + 10'000);
    device_.clock().AdvanceMilliseconds(9'999);
    ASSERT_EQ(device_.clock().alarms().AwaitNext(0), begin + 10'000);
    device_.clock().AdvanceMilliseconds(1);
  }
  EXPECT_EQ(result.kind, WaitResult::Kind::kTimedOut);
}

TEST_F(SteppedWaitsTest, AHandleEndsTheWaitBeforeItsLimit) {
  Event event;
  WaitResult result;
  {
    const Helper sleeper([&] { result = WaitFor(event.handle(), 10'000); });
    ASSERT_TRUE(device_.clock().alarms().AwaitNext(kBound));
    event.Set();
  }
  EXPECT_TRUE(result.signalled());
  EXPECT_EQ(device_.clock().alarms().AwaitNext(0), std::nullopt);
}

TEST_F(SteppedWaitsTest, SleepPassesWithTheClock) {
  const Helper sleeper([] { yox::platform::SleepFor(60'000); });
  ASSERT_TRUE(device_.clock().alarms().AwaitNext(kBound));
  device_.clock().AdvanceMilliseconds(60'000);
}

TEST_F(SteppedWaitsTest, AConditionIsWaitedForOnTheSameClock) {
  yox::Mutex mutex;
  yox::ConditionVariable condition;
  bool done = false;
  for (const bool in_time : {false, true}) {
    bool answer = !in_time;
    {
      const Helper sleeper([&] {
        yox::MutexLock lock(mutex);
        answer = yox::platform::WaitUntil(lock, condition, 5'000, [&] { return done; });
      });
      ASSERT_TRUE(device_.clock().alarms().AwaitNext(kBound));
      if (in_time) {
        const yox::MutexLock lock(mutex);
        done = true;
        condition.NotifyAll();
      } else {
        device_.clock().AdvanceMilliseconds(5'000);
      }
    }
    EXPECT_EQ(answer, in_time);
  }
}

#if !defined(_WIN32)
TEST(WaitsTest, AClosedDescriptorFailsTheWait) {
  const Event set(true);
  const int closed = eventfd(0, EFD_CLOEXEC);
  close(closed);
  EXPECT_EQ(WaitForAny({set.handle(), closed}).kind, WaitResult::Kind::kFailed);
  EXPECT_FALSE(SignalEvent(closed));
}
#endif

}  // namespace
