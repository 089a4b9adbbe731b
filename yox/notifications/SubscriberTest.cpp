#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <utility>

#include "yox/notifications/Subscriber.h"

namespace {

using namespace yox::literals;
using yox::notifications::Subscriber;

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

}  // namespace
