#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <stdexcept>
#include <thread>
#include <utility>

#include "yox/base/Pause.h"
#include "yox/notifications/Subscriber.h"
#include "yox/platform/waits/Waits.h"

#include "tests/support/Latch.h"

namespace {

using namespace yox::literals;
using yox::notifications::Subscriber;
using yox::platform::kNoTimeLimit;
using yox_test::Latch;

// A subscriber whose callback counts its calls, runs what the test sets, and is seen when it is
// destroyed.
class SubscriberTest : public testing::Test {
 protected:
  SubscriberTest() {
    auto kept = std::make_shared<int>();
    callback_ = kept;
    subscriber_ = std::make_unique<Subscriber>("id"_w, [this, kept](YOXNotificationData&) {
      ++calls_;
      if (during_) std::exchange(during_, nullptr)();
    });
  }

  bool IsDestroyed() const { return callback_.expired(); }
  bool Begins() { return subscriber_->TryBegin() == Subscriber::Begun::kYes; }
  // The delivery that has begun.
  void Deliver() {
    subscriber_->copy = std::make_shared<YOXNotificationData>();
    subscriber_->Call();
  }
  void CallFirst() { subscriber_->CallFirst(record_); }

  std::unique_ptr<Subscriber> subscriber_;
  std::weak_ptr<int> callback_;
  std::function<void()> during_;
  YOXNotificationData record_;
  int calls_ = 0;
};

TEST_F(SubscriberTest, WithoutACallWhoeverMakesItLeaveDestroysTheCallback) {
  {
    const Subscriber::Callback callback = subscriber_->Leave();
    EXPECT_TRUE(callback);
    EXPECT_FALSE(IsDestroyed());
  }
  EXPECT_TRUE(IsDestroyed());
  EXPECT_FALSE(subscriber_->Leave());
}

TEST_F(SubscriberTest, CallsDestroyNoCallbackOfASubscriberThatStays) {
  ASSERT_TRUE(Begins());
  subscriber_->Abandon();
  ASSERT_TRUE(Begins());
  Deliver();
  subscriber_->BeginFirst();
  CallFirst();
  EXPECT_EQ(calls_, 2);
  EXPECT_FALSE(IsDestroyed());
}

TEST_F(SubscriberTest, ADeliveryDestroysTheCallbackOfOneThatHasLeft) {
  ASSERT_TRUE(Begins());
  EXPECT_FALSE(subscriber_->Leave());
  EXPECT_FALSE(IsDestroyed());
  Deliver();
  EXPECT_EQ(calls_, 1);
  EXPECT_TRUE(IsDestroyed());
  EXPECT_EQ(subscriber_->TryBegin(), Subscriber::Begun::kLeft);
}

TEST_F(SubscriberTest, AFirstCallDestroysTheCallbackOfOneThatHasLeft) {
  subscriber_->BeginFirst();
  EXPECT_FALSE(subscriber_->Leave());
  EXPECT_FALSE(IsDestroyed());
  CallFirst();
  EXPECT_EQ(calls_, 1);
  EXPECT_TRUE(IsDestroyed());
}

TEST_F(SubscriberTest, OfTwoCallsTheDeliveryDestroysItWhenItEndsLast) {
  subscriber_->BeginFirst();
  EXPECT_EQ(subscriber_->TryBegin(), Subscriber::Begun::kBusy);
  CallFirst();
  ASSERT_TRUE(Begins());
  subscriber_->BeginFirst();
  EXPECT_FALSE(subscriber_->Leave());
  CallFirst();
  EXPECT_EQ(calls_, 2);
  EXPECT_FALSE(IsDestroyed());
  EXPECT_TRUE(subscriber_->IsRunning());
  subscriber_->Abandon();
  EXPECT_FALSE(subscriber_->IsRunning());
  EXPECT_TRUE(IsDestroyed());
}

TEST_F(SubscriberTest, OfTwoCallsTheFirstCallDestroysItWhenItEndsLast) {
  ASSERT_TRUE(Begins());
  subscriber_->BeginFirst();
  during_ = [this] {
    EXPECT_FALSE(subscriber_->Leave());
    subscriber_->Abandon();
    EXPECT_FALSE(subscriber_->IsRunning());
    EXPECT_FALSE(IsDestroyed());
  };
  CallFirst();
  EXPECT_TRUE(IsDestroyed());
}

TEST_F(SubscriberTest, AFirstCallThatThrowsHasEnded) {
  during_ = [] { throw std::runtime_error("first"); };
  subscriber_->BeginFirst();
  EXPECT_THROW(CallFirst(), std::runtime_error);
  EXPECT_TRUE(Begins());
  subscriber_->Abandon();
  EXPECT_TRUE(subscriber_->Leave());
}

TEST_F(SubscriberTest, AWaitWithoutADeliveryReturnsAndTheNextOneBegins) {
  EXPECT_TRUE(subscriber_->WaitEnded(kNoTimeLimit));
  ASSERT_TRUE(Begins());
  EXPECT_FALSE(subscriber_->WaitEnded(0));
  Deliver();
  EXPECT_TRUE(subscriber_->WaitEnded(0));
  EXPECT_TRUE(Begins());
}

TEST_F(SubscriberTest, ACallIsTheCurrentOneOfItsThreadUntilItEnds) {
  Subscriber inner("inner"_w, [&](YOXNotificationData&) {
    EXPECT_TRUE(inner.IsCurrent());
    EXPECT_FALSE(subscriber_->IsCurrent());
  });
  during_ = [&] {
    EXPECT_TRUE(subscriber_->IsCurrent());
    EXPECT_TRUE(Subscriber::IsAnyCurrent());
    inner.BeginFirst();
    inner.CallFirst(record_);
    EXPECT_FALSE(inner.IsCurrent());
    EXPECT_TRUE(subscriber_->IsCurrent()) << "again";
  };
  EXPECT_FALSE(Subscriber::IsAnyCurrent());
  ASSERT_TRUE(Begins());
  Deliver();
  EXPECT_FALSE(subscriber_->IsCurrent());
  EXPECT_FALSE(Subscriber::IsAnyCurrent());
}

// A subscriber whose deliveries run on the task pool.
std::shared_ptr<Subscriber> OnThePool(Subscriber::Callback callback) {
  auto subscriber = std::make_shared<Subscriber>("id"_w, std::move(callback));
  subscriber->copy = std::make_shared<YOXNotificationData>();
  return subscriber;
}

void Start(const std::shared_ptr<Subscriber>& subscriber) {
  ASSERT_EQ(subscriber->TryBegin(), Subscriber::Begun::kYes);
  subscriber->Start(subscriber);
}

template <class Condition>
bool Becomes(const Condition& is_met) {
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (std::chrono::steady_clock::now() < limit) {
    if (is_met()) return true;
    std::this_thread::yield();
  }
  return false;
}

TEST(PooledSubscriberTest, ADeliveryKeepsItsSubscriberAlive) {
  Latch begun;
  Latch release;
  auto subscriber = OnThePool([&](YOXNotificationData&) {
    begun.CountDown();
    EXPECT_TRUE(release.Wait());
  });
  Start(subscriber);
  EXPECT_TRUE(begun.Wait());
  const std::weak_ptr<Subscriber> watched = subscriber;
  subscriber = nullptr;
  EXPECT_FALSE(watched.expired());
  release.CountDown();
  EXPECT_TRUE(Becomes([&] { return watched.expired(); }));
}

TEST(PooledSubscriberTest, TheLatestDeliveryDecidesWhetherTheyAreShort) {
  bool is_long = false;
  const auto subscriber = OnThePool([&](YOXNotificationData&) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(1);
    while (is_long && std::chrono::steady_clock::now() < end) yox::Pause();
  });
  const auto is_short_after_another = [&] {
    Start(subscriber);
    EXPECT_TRUE(subscriber->WaitEnded(kNoTimeLimit));
    return subscriber->HasShortDeliveries();
  };
  EXPECT_FALSE(subscriber->HasShortDeliveries());
  // More than one if the system holds up the thread.
  EXPECT_TRUE(Becomes(is_short_after_another));
  subscriber->ExpectLongDeliveries();
  EXPECT_TRUE(Becomes(is_short_after_another));
  is_long = true;
  EXPECT_TRUE(Becomes([&] { return !is_short_after_another(); }));
}

// Deliveries of many lengths, so that some end at the very moment at which the waiting thread falls
// asleep.
TEST(PooledSubscriberTest, NoWaitMissesTheEndOfItsDelivery) {
  int pauses = 0;
  const auto subscriber = OnThePool([&](YOXNotificationData&) {
    for (int i = 0; i < pauses; ++i) yox::Pause();
  });
  for (int round = 0; round < 3000; ++round) {
    pauses = round * 7 % 800;
    Start(subscriber);
    EXPECT_TRUE(subscriber->WaitEnded(kNoTimeLimit));
  }
}

}  // namespace
