#include <gtest/gtest.h>

#include <chrono>
#include <optional>
#include <thread>
#include <vector>

#include "yox/notifications/NotificationQueue.h"

#include "tests/support/Rows.h"

namespace {

using yox::notifications::NotificationQueue;
using yox::notifications::QueuedNotification;

constexpr int kCapacity = static_cast<int>(NotificationQueue::kCapacity);
constexpr std::chrono::milliseconds kAtOnce{0};
constexpr std::chrono::milliseconds kAnHour{3'600'000};

QueuedNotification Queued(int event) { return {YOXNotificationData(7, event, {}), {}}; }

// The event of the next record; -1 for a token without a record, -2 without a token.
int Next(NotificationQueue& queue) {
  if (!queue.AwaitToken(kAtOnce)) return -2;
  QueuedNotification taken;
  return queue.Take(taken) ? taken.record.getEventState() : -1;
}

TEST(NotificationQueueTest, RecordsAreTakenInOrderOneForEachToken) {
  NotificationQueue queue;
  EXPECT_EQ(Next(queue), -2);
  EXPECT_TRUE(queue.Append(Queued(1)));
  EXPECT_TRUE(queue.Append(Queued(2)));
  EXPECT_EQ(Next(queue), 1);
  EXPECT_TRUE(queue.Append(Queued(3)));
  EXPECT_EQ(Next(queue), 2);
  EXPECT_EQ(Next(queue), 3);
  EXPECT_EQ(Next(queue), -2);
}

TEST(NotificationQueueTest, ATokenWithoutARecordIsTakenAlone) {
  NotificationQueue queue;
  EXPECT_TRUE(queue.AddToken());
  EXPECT_EQ(Next(queue), -1);
  EXPECT_EQ(Next(queue), -2);
  EXPECT_TRUE(queue.AddToken());
  EXPECT_TRUE(queue.Append(Queued(1)));
  EXPECT_EQ(Next(queue), 1);
  EXPECT_EQ(Next(queue), -1) << "the second token";
  EXPECT_EQ(Next(queue), -2);
}

TEST(NotificationQueueTest, RecordsInTheConsumersBatchCountAsQueued) {
  NotificationQueue queue;
  for (int i = 0; i < kCapacity; ++i) {
    EXPECT_TRUE(queue.HasRoom());
    EXPECT_TRUE(queue.Append(Queued(i)));
  }
  EXPECT_FALSE(queue.HasRoom());
  EXPECT_FALSE(queue.AddToken());
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(Next(queue), i);
    EXPECT_TRUE(queue.HasRoom());
    EXPECT_TRUE(queue.Append(Queued(kCapacity + i)));
    EXPECT_FALSE(queue.HasRoom());
    EXPECT_FALSE(queue.AddToken());
  }
  for (int i = 10; i < kCapacity + 10; ++i) EXPECT_EQ(Next(queue), i);
  EXPECT_EQ(Next(queue), -2);
}

TEST(NotificationQueueTest, WhatIsLeftOfABatchCountsTogetherWithWhatCameSince) {
  NotificationQueue queue;
  for (int i = 0; i < 500; ++i) queue.Append(Queued(i));
  EXPECT_EQ(Next(queue), 0);
  for (int i = 499; i < kCapacity; ++i) {
    EXPECT_TRUE(queue.HasRoom()) << i;
    EXPECT_TRUE(queue.Append(Queued(i + 1)));
  }
  EXPECT_FALSE(queue.HasRoom());
  EXPECT_FALSE(queue.AddToken());
}

TEST(NotificationQueueTest, ATokenThatIsThereIsNotWaitedFor) {
  NotificationQueue queue;
  for (const auto limit : {std::optional(kAnHour), std::optional<std::chrono::milliseconds>()}) {
    queue.AddToken();
    EXPECT_TRUE(queue.AwaitToken(limit));
    queue.Append(Queued(1));
    EXPECT_TRUE(queue.AwaitToken(limit));
    EXPECT_EQ(Next(queue), 1);
  }
}

TEST(NotificationQueueTest, RecordsBeyondTheTokensWaitForLaterOnes) {
  NotificationQueue queue;
  for (int i = 0; i < kCapacity; ++i) queue.Append(Queued(i));
  EXPECT_FALSE(queue.Append(Queued(kCapacity)));
  EXPECT_FALSE(queue.Append(Queued(kCapacity + 1)));
  for (int i = 0; i < kCapacity; ++i) EXPECT_EQ(Next(queue), i);
  EXPECT_EQ(Next(queue), -2) << "two are left, without a token";
  EXPECT_TRUE(queue.Append(Queued(kCapacity + 2)));
  EXPECT_EQ(Next(queue), kCapacity);
  EXPECT_EQ(Next(queue), -2);
}

TEST(NotificationQueueTest, AClosedQueueTakesRecordsAndAddsNoTokens) {
  NotificationQueue queue;
  queue.Close();
  EXPECT_TRUE(queue.AwaitToken()) << "without a wait";
  for (int i = 0; i < kCapacity + 5; ++i) EXPECT_TRUE(queue.Append(Queued(i)));
  EXPECT_FALSE(queue.HasRoom());
}

TEST(NotificationQueueTest, AWaitingConsumerIsWoken) {
  NotificationQueue queue;
  std::vector<int> taken;
  std::thread consumer([&] {
    while (true) {
      QueuedNotification next;
      queue.AwaitToken();
      if (!queue.Take(next)) return;
      taken.push_back(next.record.getEventState());
    }
  });
  for (int i = 0; i < 3; ++i) {
    queue.Append(Queued(i));
    std::this_thread::yield();
  }
  queue.AddToken();
  consumer.join();
  EXPECT_EQ(taken, (std::vector{0, 1, 2}));
}

struct WakeRow {
  const char* name;
  std::optional<std::chrono::milliseconds> limit;
  void (*wake)(NotificationQueue& queue);
};

class SleepingConsumerTest : public testing::TestWithParam<WakeRow> {};

TEST_P(SleepingConsumerTest, IsWoken) {
  NotificationQueue queue;
  bool in_time = false;
  std::thread consumer([&] { in_time = queue.AwaitToken(GetParam().limit); });
  for (int i = 0; i < 20'000; ++i) std::this_thread::yield();  // until it sleeps
  GetParam().wake(queue);
  consumer.join();
  EXPECT_TRUE(in_time);
}

void AppendOne(NotificationQueue& queue) { queue.Append(Queued(1)); }
void AddToken(NotificationQueue& queue) { queue.AddToken(); }
void Close(NotificationQueue& queue) { queue.Close(); }

INSTANTIATE_TEST_SUITE_P(Rows, SleepingConsumerTest,
                         testing::Values(WakeRow{"ByARecord", {}, AppendOne},
                                         WakeRow{"ByAToken", {}, AddToken},
                                         WakeRow{"ByTheEnd", {}, Close},
                                         WakeRow{"ByARecordBeforeItsLimit", kAnHour, AppendOne},
                                         WakeRow{"ByATokenBeforeItsLimit", kAnHour, AddToken},
                                         WakeRow{"ByTheEndBeforeItsLimit", kAnHour, Close}),
                         yox_test::RowName());

TEST(NotificationQueueTest, ManyProducersLoseNothingAndKeepTheirOrder) {
  constexpr int kProducers = 4;
  constexpr int kRecords = 5000;
  NotificationQueue queue;
  std::vector<std::thread> producers;
  for (int p = 0; p < kProducers; ++p) {
    producers.emplace_back([&, p] {
      for (int i = 0; i < kRecords; ++i) {
        while (!queue.HasRoom()) std::this_thread::yield();
        queue.Append({YOXNotificationData(p, i, {}), {}});
      }
    });
  }
  std::vector<int> next(kProducers);
  int out_of_order = 0;
  // Producers that race at the limit leave up to one record each without a token.
  for (int left = kProducers * kRecords; left > 0;) {
    QueuedNotification taken;
    if (!queue.AwaitToken(std::chrono::milliseconds(1))) queue.AddToken();
    if (!queue.Take(taken)) continue;
    --left;
    int& expected = next[static_cast<std::size_t>(taken.record.getTopicId())];
    if (taken.record.getEventState() != expected) ++out_of_order;
    ++expected;
  }
  for (std::thread& producer : producers) producer.join();
  EXPECT_EQ(out_of_order, 0);
  EXPECT_EQ(next, std::vector<int>(kProducers, kRecords));
}

}  // namespace
