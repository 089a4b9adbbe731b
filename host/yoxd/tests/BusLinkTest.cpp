#include <gtest/gtest.h>

#include "yox/notifications/YOXPublisherSubscriber.h"

#include "host/yoxd/BusLink.h"
#include "host/yoxd/Text.h"
#include "host/yoxd/tests/BusTraffic.h"
#include "tests/support/Latch.h"

namespace yoxd {
namespace {

using std::chrono::milliseconds;
using yox_test::Latch;

class BusLinkTest : public testing::Test {
 protected:
  // Waits until the condition is true, which other threads make so.
  template <typename Condition>
  void Until(Condition condition) {
    const Moment end = SteadyClock::now() + std::chrono::seconds(30);
    while (!condition() && SteadyClock::now() < end) {
      (void)yox::platform::WaitFor(changed_.handle(), 10);
      changed_.Clear();
    }
    EXPECT_TRUE(condition());
  }

  YOXPublisherSubscriber& bus_ = *YOXPublisherSubscriber::GetInstance();
  yox::platform::Event changed_;
  const Moment now_ = SteadyClock::now();
};

TEST_F(BusLinkTest, WhatItPublishesReachesOthersAndIsNotCollected) {
  Latch received;
  BusLink link(changed_, [&](const YOXNotificationData& record) {
    EXPECT_EQ(record.getTopicId(), 7);
    received.CountDown();
  });
  Latch seen;
  const auto id = bus_.Subscribe([&](YOXNotificationData&) { seen.CountDown(); }, false);
  link.Publish(BusRecord(7), 1);
  EXPECT_TRUE(received.Wait());
  EXPECT_TRUE(seen.Wait());
  bus_.Unsubscribe(id);
  PublishOnBus(1);  // would be collected after it
  std::deque<YOXNotificationData> collected;
  Until([&] {
    for (const YOXNotificationData& record : link.TakeCollected()) collected.push_back(record);
    return !collected.empty();
  });
  ASSERT_EQ(collected.size(), 1);
  EXPECT_EQ(collected.front().getTopicId(), 1);
}

TEST_F(BusLinkTest, TheNumbersOfDeliveredRecordsAreInOrder) {
  Latch received(3);
  BusLink link(changed_, [&](const YOXNotificationData&) { received.CountDown(); });
  for (const std::uint64_t number : {30U, 10U, 20U}) link.Publish(BusRecord(1), number);
  EXPECT_TRUE(received.Wait());
  std::vector<std::uint64_t> numbers;
  Until([&] {
    for (const auto number : link.TakeDelivered(now_)) numbers.push_back(number);
    return numbers.size() == 3;
  });
  EXPECT_EQ(numbers, (std::vector<std::uint64_t>{30, 10, 20}));
  EXPECT_EQ(link.delivered(), 3);
  EXPECT_EQ(link.Due(), std::nullopt);
}

TEST_F(BusLinkTest, OnlySomeRecordsAreOnTheBusAtOnce) {
  BusLink link(changed_, [](const YOXNotificationData&) {});
  for (std::uint64_t number = 0; number < 255; ++number) link.Publish(BusRecord(1), number);
  EXPECT_TRUE(link.has_room());
  link.Publish(BusRecord(1), 255);
  EXPECT_FALSE(link.has_room());
}

TEST_F(BusLinkTest, ADeliveryThatHangsIsGivenUp) {
  Latch release;
  BusLink link(changed_, [&](const YOXNotificationData&) { (void)release.Wait(); });
  link.Publish(BusRecord(1), 1);
  ASSERT_TRUE(link.Due());
  const Moment due = *link.Due();
  EXPECT_LE(due, SteadyClock::now() + std::chrono::seconds(15));
  EXPECT_GE(due, now_ + std::chrono::seconds(15));
  EXPECT_TRUE(link.TakeDelivered(due - milliseconds(1)).empty());
  EXPECT_EQ(link.TakeDelivered(due), std::vector<std::uint64_t>{1});
  EXPECT_EQ(link.Due(), std::nullopt);
  release.CountDown();
}

TEST_F(BusLinkTest, WhatIsCollectedIsBounded) {
  BusLink link(changed_, [](const YOXNotificationData&) {});
  PublishOnBus(4'096 + 1);
  Until([&] { return link.dropped() > 0; });
  EXPECT_EQ(link.TakeCollected().size(), 4'096);
  PublishOnBus(1);
  std::size_t after = 0;
  Until([&] { return (after += link.TakeCollected().size()) == 1; });
  EXPECT_EQ(link.dropped(), 1);
}

}  // namespace
}  // namespace yoxd
