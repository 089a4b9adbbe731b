#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <numeric>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "yox/base/Log.h"
#include "yox/base/String.h"
#include "yox/base/ThreadSafety.h"
#include "yox/notifications/TestBus.h"
#include "yox/notifications/YOXPublisherSubscriber.h"
#include "yox/platform/clock/Clock.h"
#include "yox/platform/crypto/RandomBytes.h"
#include "yox/platform/simulated/SimulatedDevice.h"

#include "tests/support/AwaitedLog.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/Encodings.h"
#include "tests/support/Latch.h"
#include "tests/support/PrivateMember.h"
#include "tests/support/Rows.h"

namespace {

using namespace yox::literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using yox::WString;
using yox_test::CapturedLog;
using yox_test::Latch;
using yox_test::TestBus;
using yox_test::Utf8;

constexpr std::int64_t kBound = 30'000;
constexpr int kSettling = 50;

struct DeliveryCopies
    : yox_test::PrivateMember<
          DeliveryCopies,
          std::map<WString, std::shared_ptr<YOXNotificationData>> YOXPublisherSubscriber::*> {};

}  // namespace

template struct yox_test::Reach<DeliveryCopies, &YOXPublisherSubscriber::deliveryCopies>;

namespace {

YOXNotificationData Record(int topic, int event) { return {topic, event, "payload"_w}; }

// A subscriber that keeps the events it received.
class Receiver {
 public:
  explicit Receiver(TestBus& bus, bool first = false) : bus_(bus) {
    id_ = bus.Subscribe([seen = seen_](YOXNotificationData& record) { seen->Take(record); }, first);
  }
  ~Receiver() { Leave(); }
  Receiver(const Receiver&) = delete;
  Receiver& operator=(const Receiver&) = delete;

  const WString& id() const { return id_; }

  void Leave() {
    if (!id_.empty()) bus_.Unsubscribe(id_);
    id_.clear();
  }

  // Waits until this event has come; what was received by then.
  std::vector<int> Until(int event) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(kBound);
    Seen& seen = *seen_;
    yox::MutexLock lock(seen.mutex);
    while (!seen.Has(event) && seen.received.WaitUntil(lock, end)) {
    }
    EXPECT_TRUE(seen.Has(event)) << "event " << event << " did not come";
    return seen.events;
  }
  std::vector<int> Events() const {
    const yox::MutexLock lock(seen_->mutex);
    return seen_->events;
  }

 private:
  // Shared with the callback: Unsubscribe does not wait for a delivery that the worker waits for.
  struct Seen {
    void Take(const YOXNotificationData& record) {
      const yox::MutexLock lock(mutex);
      events.push_back(record.getEventState());
      received.NotifyAll();
    }
    bool Has(int event) const YOX_REQUIRES(mutex) {
      return std::ranges::find(events, event) != events.end();
    }

    yox::Mutex mutex;
    yox::ConditionVariable received;
    std::vector<int> events YOX_GUARDED_BY(mutex);
  };

  TestBus& bus_;
  WString id_;
  const std::shared_ptr<Seen> seen_ = std::make_shared<Seen>();
};

// Keeps the worker in the first subscriber's call of the next record until it is released.
class HeldWorker {
 public:
  explicit HeldWorker(TestBus& bus) : bus_(bus) {
    id_ = bus.Subscribe(
        [call = call_](YOXNotificationData&) {
          if (call->held.exchange(true)) return;
          call->begun.CountDown();
          EXPECT_TRUE(call->release.Wait());
        },
        true);
  }
  ~HeldWorker() {
    Release();
    bus_.Unsubscribe(id_);
  }
  HeldWorker(const HeldWorker&) = delete;
  HeldWorker& operator=(const HeldWorker&) = delete;

  void AwaitHeld() { EXPECT_TRUE(call_->begun.Wait()); }
  void Release() { call_->release.CountDown(); }

 private:
  // Shared with the callback: Unsubscribe does not wait for the first subscriber's call.
  struct Call {
    std::atomic<bool> held{false};
    Latch begun;
    Latch release;
  };

  TestBus& bus_;
  WString id_;
  const std::shared_ptr<Call> call_ = std::make_shared<Call>();
};

// All but the worker's entry, which comes when its thread gets to run.
std::vector<std::string> Texts(const CapturedLog& log) {
  std::vector<std::string> texts;
  for (const auto& line : log.Lines())
    texts.push_back("DWE"[static_cast<int>(line.level)] + (" " + line.text));
  std::erase(texts, "D NotifyWorker: Entry");
  return texts;
}

// Long enough for a thread that does not have to wait to be done.
void LetOthersRun() {
  for (int i = 0; i < 20'000; ++i) std::this_thread::yield();
}

TEST(BusTest, ARecordReachesEverySubscriber) {
  TestBus bus;
  Receiver one(bus);
  Receiver two(bus);
  bus.Notify(Record(7, 1), ""_w);
  EXPECT_THAT(one.Until(1), ElementsAre(1));
  EXPECT_THAT(two.Until(1), ElementsAre(1));
}

TEST(BusTest, RecordsComeInTheOrderInWhichTheyWereQueued) {
  TestBus bus;
  Receiver one(bus);
  std::vector<int> expected;
  for (int i = 0; i < 500; ++i) {
    bus.Notify(Record(7, i), ""_w);
    expected.push_back(i);
  }
  EXPECT_EQ(one.Until(499), expected);
}

TEST(BusTest, EverySubscriberHasACopyOfItsOwn) {
  TestBus bus;
  yox::Mutex mutex;
  std::vector<std::string> seen;
  Latch both(2);
  const auto spoil = [&](YOXNotificationData& record) {
    {
      const yox::MutexLock lock(mutex);
      seen.push_back(Utf8(record.getPayload()));
    }
    record.setPayload("spoilt"_w);
    both.CountDown();
  };
  bus.Subscribe(spoil, false);
  bus.Subscribe(spoil, false);
  const YOXNotificationData record = Record(7, 1);
  bus.Notify(record, ""_w);
  ASSERT_TRUE(both.Wait());
  EXPECT_THAT(seen, ElementsAre("payload", "payload"));
  EXPECT_EQ(Utf8(record.getPayload()), "payload");
}

TEST(BusTest, WithoutSubscribersARecordStillBecomesTheLastEventOfItsTopic) {
  TestBus bus;
  bus.Notify(Record(7, 3), ""_w);
  Receiver later(bus);
  bus.Notify(Record(8, 4), ""_w);
  later.Until(4);
  EventState event = EventState::NotSet;
  EXPECT_TRUE(bus.GetLastNotificationForTopic(static_cast<TopicId>(7), event));
  EXPECT_EQ(static_cast<int>(event), 3);
}

TEST(BusTest, APublisherDoesNotReceiveWhatItSent) {
  TestBus bus;
  Receiver publisher(bus);
  Receiver other(bus);
  bus.Notify(Record(7, 1), publisher.id());
  bus.Notify(Record(7, 2), ""_w);
  EXPECT_THAT(other.Until(2), ElementsAre(1, 2));
  EXPECT_THAT(publisher.Until(2), ElementsAre(2));
}

TEST(BusTest, AFirstSubscriberDoesNotReceiveWhatItSentAndTheOthersDo) {
  TestBus bus;
  Receiver first(bus, true);
  Receiver other(bus);
  bus.Notify(Record(7, 1), first.id());
  bus.Notify(Record(7, 2), ""_w);
  EXPECT_THAT(other.Until(2), ElementsAre(1, 2));
  EXPECT_THAT(first.Until(2), ElementsAre(2));
}

// Marks the record so that the others can tell who had first place.
auto Mark(const WString& mark) {
  return [mark](YOXNotificationData& record) { record.setTopic(record.getTopic() + mark); };
}

std::string TopicSeen(TestBus& bus) {
  Latch seen;
  std::string topic;
  const WString id = bus.Subscribe(
      [&](YOXNotificationData& record) {
        topic = Utf8(record.getTopic());
        seen.CountDown();
      },
      false);
  bus.Notify(Record(7, 1), ""_w);
  EXPECT_TRUE(seen.Wait());
  bus.Unsubscribe(id);
  return topic;
}

TEST(BusTest, FirstPlaceGoesToTheFirstWhoAsksAndIsFreeAgainWhenItLeaves) {
  TestBus bus;
  EXPECT_EQ(TopicSeen(bus), "");
  const WString first = bus.Subscribe(Mark("1"_w), true);
  const WString second = bus.Subscribe(Mark("2"_w), true);
  EXPECT_FALSE(second.empty());
  EXPECT_EQ(TopicSeen(bus), "1");
  bus.Unsubscribe(first);
  EXPECT_EQ(TopicSeen(bus), "") << "who asked in vain has stayed an ordinary subscriber";
  bus.Subscribe(Mark("3"_w), true);
  EXPECT_EQ(TopicSeen(bus), "3");
}

TEST(BusTest, ASecondAskerForFirstPlaceReceivesAsAnOrdinarySubscriber) {
  TestBus bus;
  Receiver first(bus, true);
  Receiver second(bus, true);
  bus.Notify(Record(7, 1), ""_w);
  EXPECT_THAT(second.Until(1), ElementsAre(1));
  EXPECT_THAT(first.Until(1), ElementsAre(1));
}

TEST(BusTest, TheOthersReceiveWhatTheFirstSubscriberMadeOfTheRecord) {
  TestBus bus;
  bus.Subscribe([](YOXNotificationData& record) { record.setEventState(99); }, true);
  Receiver other(bus);
  bus.Notify(Record(7, 1), ""_w);
  EXPECT_THAT(other.Until(99), ElementsAre(99));
  EventState event = EventState::NotSet;
  EXPECT_TRUE(bus.GetLastNotificationForTopic(static_cast<TopicId>(7), event));
  EXPECT_EQ(static_cast<int>(event), 1) << "the event from before the change";
}

TEST(BusTest, AFirstSubscriberThatThrowsKeepsTheRecordFromNobody) {
  const CapturedLog log;
  TestBus bus;
  bus.Subscribe([](YOXNotificationData&) { throw std::runtime_error("no"); }, true);
  Receiver other(bus);
  bus.Notify(Record(7, 1), ""_w);
  EXPECT_THAT(other.Until(1), ElementsAre(1));
  EXPECT_THAT(Texts(log), testing::Contains("D NotifyWorker: Inner Exception"));
}

// The log's sink is the host's, and is called in the round.
TEST(BusTest, AnExceptionInARoundIsLoggedAndTheNextRecordsCome) {
  TestBus bus;
  Receiver receiver(bus);
  const WString first = bus.Subscribe(
      [](YOXNotificationData& record) {
        if (record.getEventState() == 1) throw std::runtime_error("first");
      },
      true);
  std::atomic<int> exceptions{0};
  YOX::Log::SetSink([&](std::string_view, YOX::LogLevel, std::string_view line) {
    if (line == "NotifyWorker: Inner Exception") throw std::runtime_error("log");
    if (line == "NotifyWorker: Exception") ++exceptions;
  });
  bus.Notify(Record(7, 1), ""_w);
  bus.Notify(Record(7, 2), ""_w);
  EXPECT_EQ(receiver.Until(2), std::vector<int>{2});
  YOX::Log::SetSink({});
  EXPECT_EQ(exceptions, 1);
  bus.Unsubscribe(first);
}

TEST(BusTest, SomebodyWhoLeavesBeforeItsTurnIsNotCalled) {
  TestBus bus;
  auto leaving = std::make_unique<Receiver>(bus);
  const WString id = leaving->id();
  bus.Subscribe([&](YOXNotificationData&) { bus.Unsubscribe(id); }, true);
  Receiver other(bus);
  bus.Notify(Record(7, 1), ""_w);
  other.Until(1);
  EXPECT_THAT(leaving->Events(), IsEmpty());
}

TEST(BusTest, SomebodyWhoJoinsDuringADeliveryDoesNotReceiveThatRecord) {
  TestBus bus;
  std::unique_ptr<Receiver> joined;
  bus.Subscribe(
      [&](YOXNotificationData&) {
        if (!joined) joined = std::make_unique<Receiver>(bus);
      },
      true);
  bus.Notify(Record(7, 1), ""_w);
  bus.Notify(Record(7, 2), ""_w);
  Receiver other(bus);
  bus.Notify(Record(7, 3), ""_w);
  other.Until(3);
  EXPECT_THAT(joined->Until(3), ElementsAre(2, 3));
}

TEST(BusTest, ACallbackMayPublish) {
  TestBus bus;
  Receiver other(bus);
  bus.Subscribe(
      [&](YOXNotificationData& record) {
        if (record.getEventState() < 5) bus.Notify(Record(7, record.getEventState() + 1), ""_w);
      },
      false);
  bus.Notify(Record(7, 1), ""_w);
  EXPECT_THAT(other.Until(5), ElementsAre(1, 2, 3, 4, 5));
}

TEST(BusTest, ACallbackMaySubscribe) {
  TestBus bus;
  Latch subscribed;
  bus.Subscribe(
      [&](YOXNotificationData&) {
        EXPECT_FALSE(bus.Subscribe([](YOXNotificationData&) {}, false).empty());
        subscribed.CountDown();
      },
      false);
  bus.Notify(Record(7, 1), ""_w);
  EXPECT_TRUE(subscribed.Wait());
}

TEST(BusTest, ASubscriberMayLeaveFromItsOwnDelivery) {
  TestBus bus;
  Receiver other(bus);
  std::atomic<int> calls{0};
  Latch left;
  WString id;
  id = bus.Subscribe(
      [&](YOXNotificationData&) {
        ++calls;
        bus.Unsubscribe(id);
        left.CountDown();
      },
      false);
  bus.Notify(Record(7, 1), ""_w);
  ASSERT_TRUE(left.Wait());
  bus.Notify(Record(7, 2), ""_w);
  other.Until(2);
  EXPECT_EQ(calls, 1);
}

TEST(BusTest, AFirstSubscriberMayLeaveFromItsOwnCall) {
  TestBus bus;
  Receiver other(bus);
  std::atomic<int> calls{0};
  WString id;
  id = bus.Subscribe(
      [&](YOXNotificationData&) {
        ++calls;
        bus.Unsubscribe(id);
      },
      true);
  bus.Notify(Record(7, 1), ""_w);
  bus.Notify(Record(7, 2), ""_w);
  EXPECT_THAT(other.Until(2), ElementsAre(1, 2));
  EXPECT_EQ(calls, 1);
}

TEST(BusTest, UnsubscribeOfAnUnknownIdDisturbsNobody) {
  TestBus bus;
  const WString first = bus.Subscribe(Mark("1"_w), true);
  const CapturedLog log;
  bus.Unsubscribe("unknown"_w);
  EXPECT_THAT(Texts(log),
              ElementsAre("D YOXPublisherSubscriber::Unsubscribe Id = unknown size = 1 entry"));
  EXPECT_EQ(TopicSeen(bus), "1");
}

TEST(BusTest, AnIdIsAGuidWithoutBraces) {
  TestBus bus;
  EXPECT_EQ(Receiver(bus).id().size(), 36U);
}

TEST(BusTest, TheWorkerSaysWhenItBeginsAndWhenAStopEndsIt) {
  yox_test::AwaitedLog log;
  TestBus bus;
  EXPECT_TRUE(log.Await("NotifyWorker: Entry"));
  EXPECT_EQ(log.Count("NotifyWorker: Exit"), 0U);
  bus.SetStopRequest();
  EXPECT_TRUE(log.Await("NotifyWorker: Exit"));
}

TEST(BusTest, SubscribeAndUnsubscribeSayWhatTheyDo) {
  const CapturedLog log;
  TestBus bus;
  Receiver first(bus);
  const std::string id = Utf8(first.id());
  first.Leave();
  std::vector<std::string> texts = Texts(log);
  EXPECT_THAT(
      texts,
      ElementsAre("D YOXPublisherSubscriber::Subscribe: Added subscriber " + id + ", total: 1",
                  "D YOXPublisherSubscriber::Unsubscribe Id = " + id + " size = 1 entry",
                  "D YOXPublisherSubscriber::Unsubscribe Id = " + id + " found",
                  "D YOXPublisherSubscriber::Unsubscribe Id = " + id + " size = 0 exit"));
}

// Publishes one record to a subscriber that throws, waits for it, and unsubscribes.
template <class Throw>
std::vector<std::string> LinesOfUnsubscribing(Throw thrown) {
  TestBus bus;
  Latch called;
  const WString id = bus.Subscribe(
      [&](YOXNotificationData&) {
        called.CountDown();
        thrown();
      },
      false);
  bus.Notify(Record(7, 1), ""_w);
  EXPECT_TRUE(called.Wait());
  const CapturedLog log;
  bus.Unsubscribe(id);
  std::vector<std::string> errors;
  for (const std::string& text : Texts(log)) {
    if (text.starts_with("E")) errors.push_back(text);
  }
  return errors;
}

TEST(BusTest, UnsubscribeLogsWhatTheLastDeliveryThrew) {
  EXPECT_THAT(LinesOfUnsubscribing([] { throw std::runtime_error("broken \xC3\xA9"); }),
              ElementsAre("E YOXPublisherSubscriber::Unsubscribe: Exception in future.get(): "
                          "broken \xC3\xA9"));
  EXPECT_THAT(
      LinesOfUnsubscribing([] { throw 5; }),
      ElementsAre("E YOXPublisherSubscriber::Unsubscribe: Unknown exception in future.get()"));
  EXPECT_THAT(LinesOfUnsubscribing([] {}), IsEmpty());
}

TEST(BusTest, WhatADeliveryThrewIsForgottenWithTheNextOne) {
  TestBus bus;
  Latch second;
  const WString id = bus.Subscribe(
      [&](YOXNotificationData& record) {
        if (record.getEventState() == 1) throw std::runtime_error("forgotten");
        second.CountDown();
      },
      false);
  bus.Notify(Record(7, 1), ""_w);
  bus.Notify(Record(7, 2), ""_w);
  ASSERT_TRUE(second.Wait());
  const CapturedLog log;
  bus.Unsubscribe(id);
  EXPECT_THAT(log.Text(), testing::Not(HasSubstr("forgotten")));
}

TEST(BusTest, ASubscriberThatThrowsReceivesOn) {
  TestBus bus;
  Latch calls(3);
  bus.Subscribe(
      [&](YOXNotificationData&) {
        calls.CountDown();
        throw std::runtime_error("again");
      },
      false);
  for (int i = 0; i < 3; ++i) bus.Notify(Record(7, i), ""_w);
  EXPECT_TRUE(calls.Wait());
}

TEST(BusTest, TheRecordBehindAFullQueueIsDroppedAndNotCounted) {
  TestBus bus;
  HeldWorker held(bus);
  Receiver other(bus);
  bus.Notify(Record(7, 0), ""_w);
  held.AwaitHeld();
  const CapturedLog log;
  for (int i = 1; i <= 1024; ++i) bus.Notify(Record(7, i), ""_w);
  EXPECT_THAT(Texts(log), IsEmpty());
  bus.Notify(Record(7, 1025), ""_w);
  EXPECT_THAT(Texts(log),
              ElementsAre("D YOXPublisherSubscriber::Notify: Maxm Q size reached. Not notifying "
                          "untill Q size is reduced"));
  held.Release();
  const std::vector<int> events = other.Until(1024);
  EXPECT_EQ(events.size(), 1025U);
  bus.Notify(Record(8, 2000), ""_w);
  other.Until(2000);
  EventState event = EventState::NotSet;
  EXPECT_TRUE(bus.GetLastNotificationForTopic(static_cast<TopicId>(7), event));
  EXPECT_EQ(static_cast<int>(event), 1024);
}

TEST(BusTest, AQueuedRecordIsNotYetTheLastEvent) {
  TestBus bus;
  HeldWorker held(bus);
  bus.Notify(Record(7, 1), ""_w);
  held.AwaitHeld();
  bus.Notify(Record(7, 2), ""_w);
  EventState event = EventState::NotSet;
  EXPECT_TRUE(bus.GetLastNotificationForTopic(static_cast<TopicId>(7), event));
  EXPECT_EQ(static_cast<int>(event), 1);
}

TEST(BusTest, TopicZeroHasNoLastEvent) {
  TestBus bus;
  Receiver other(bus);
  bus.Notify(Record(0, 5), ""_w);
  bus.Notify(Record(-1, 6), ""_w);
  other.Until(6);
  EventState event = EventState::TagsUpdated;
  EXPECT_FALSE(bus.GetLastNotificationForTopic(TopicId::NoTopic, event));
  EXPECT_EQ(event, EventState::TagsUpdated);
  EXPECT_TRUE(bus.GetLastNotificationForTopic(TopicId::NotSet, event));
  EXPECT_EQ(static_cast<int>(event), 6);
}

TEST(BusTest, ATopicNeverPublishedLeavesTheEventAlone) {
  TestBus bus;
  EventState event = EventState::TagsUpdated;
  EXPECT_FALSE(bus.GetLastNotificationForTopic(static_cast<TopicId>(7), event));
  EXPECT_EQ(event, EventState::TagsUpdated);
}

TEST(BusTest, AStoppedBusRefusesSubscribers) {
  TestBus bus;
  bus.SetStopRequest();
  const CapturedLog log;
  EXPECT_TRUE(bus.Subscribe([](YOXNotificationData&) {}, false).empty());
  EXPECT_THAT(Texts(log), testing::Contains("D YOXPublisherSubscriber::Subscribe: Rejecting new "
                                            "subscriber, cleanup in progress"));
}

TestBus* g_bus_to_stop = nullptr;

TEST(BusTest, AStopThatComesDuringSubscribeRefusesItToo) {
  TestBus bus;
  g_bus_to_stop = &bus;
  const yox::platform::ScopedRandomSource stopping([](std::span<unsigned char> bytes) {
    g_bus_to_stop->SetStopRequest();
    return yox::platform::NativeFillRandom(bytes);
  });
  const CapturedLog log;
  EXPECT_TRUE(bus.Subscribe([](YOXNotificationData&) {}, false).empty());
  EXPECT_THAT(Texts(log),
              testing::Contains("D YOXPublisherSubscriber::Subscribe: Rejecting new subscriber, "
                                "cleanup in progress (double-check)"));
  std::thread([&] { EXPECT_EQ(bus.DeliveryCopyCount(), 0U); }).join();
}

TEST(BusTest, AnEmptyCallbackIsRefused) {
  TestBus bus;
  const CapturedLog log;
  EXPECT_TRUE(bus.Subscribe({}, true).empty());
  EXPECT_THAT(Texts(log), testing::Contains(
                              "E YOXPublisherSubscriber::Subscribe: Invalid subscriber function"));
}

TEST(BusTest, WithoutAnIdThereIsNoSubscription) {
  TestBus bus;
  const yox::platform::ScopedRandomSource none([](std::span<unsigned char>) { return false; });
  const CapturedLog log;
  EXPECT_TRUE(bus.Subscribe([](YOXNotificationData&) {}, true).empty());
  EXPECT_THAT(Texts(log),
              testing::Contains("E YOXPublisherSubscriber::Subscribe: Failed to generate GUID"));
}

TEST(BusTest, AStopLosesTheQueueButNotTheRecordInHand) {
  TestBus bus;
  Receiver other(bus);
  HeldWorker held(bus);
  bus.Notify(Record(7, 1), ""_w);
  held.AwaitHeld();
  bus.Notify(Record(7, 2), ""_w);
  bus.SetStopRequest();
  held.Release();
  EXPECT_THAT(other.Until(1), ElementsAre(1));
  bus.Cleanup();
  EXPECT_THAT(other.Events(), ElementsAre(1));
}

TEST(BusTest, AStoppedBusTakesRecordsThatItNeverDelivers) {
  TestBus bus;
  Receiver other(bus);
  bus.Cleanup();
  const CapturedLog log;
  for (int i = 0; i < 1024; ++i) bus.Notify(Record(7, i), ""_w);
  EXPECT_THAT(Texts(log), IsEmpty());
  bus.Notify(Record(7, 1024), ""_w);
  EXPECT_EQ(Texts(log).size(), 1U);
  EXPECT_THAT(other.Events(), IsEmpty());
}

// What has to wait while another thread has subscribersLock, and what has not.
struct LockRow {
  const char* name;
  void (*call)(TestBus& bus);
  bool waits = true;
};

class BusLockTest : public testing::TestWithParam<LockRow> {
 protected:
  ~BusLockTest() override {
    YOX::Log::SetSink({});
    if (other_.joinable()) other_.join();
  }

  // From now on: makes the row's call on another thread when this line is logged, and lets it run.
  void CallAt(std::string_view line) {
    YOX::Log::SetSink([this, line](std::string_view, YOX::LogLevel, std::string_view logged) {
      if (logged.find(line) == std::string_view::npos || seen_.exchange(true)) return;
      other_ = std::thread([this] {
        begun_.CountDown();
        GetParam().call(bus_);
        returned_ = true;
        ended_.CountDown();
      });
      EXPECT_TRUE(begun_.Wait());
      if (GetParam().waits) {
        LetOthersRun();
        EXPECT_FALSE(returned_);
      } else {
        EXPECT_TRUE(ended_.Wait());
      }
    });
  }

  TestBus bus_;
  std::atomic<bool> seen_{false};

 private:
  Latch begun_;
  std::atomic<bool> returned_{false};
  Latch ended_;
  std::thread other_;
};

TEST_P(BusLockTest, WaitsForSubscribe) {
  CallAt("Added subscriber");
  bus_.Subscribe([](YOXNotificationData&) {}, false);
  EXPECT_TRUE(seen_);
}

TEST_P(BusLockTest, WaitsForUnsubscribe) {
  const WString id = bus_.Subscribe([](YOXNotificationData&) {}, false);
  CallAt(" exit");
  bus_.Unsubscribe(id);
  EXPECT_TRUE(seen_);
}

TEST_P(BusLockTest, WaitsWhileCleanupWaitsForDeliveries) {
  CallAt("Cleaning up");
  bus_.Cleanup();
  EXPECT_TRUE(seen_);
}

INSTANTIATE_TEST_SUITE_P(
    , BusLockTest,
    testing::Values(LockRow{"Unsubscribe", [](TestBus& bus) { bus.Unsubscribe("unknown"_w); }},
                    LockRow{"DeliveryCopyCount", [](TestBus& bus) { bus.DeliveryCopyCount(); }},
                    LockRow{"NotifyDoesNot", [](TestBus& bus) { bus.Notify(Record(0, 1), ""_w); },
                            false},
                    LockRow{"GetLastNotificationForTopicDoesNot",
                            [](TestBus& bus) {
                              EventState event = EventState::NotSet;
                              bus.GetLastNotificationForTopic(TopicId::TagsUpdated, event);
                            },
                            false}),
    yox_test::RowName());

TEST(BusTest, SubscribeWaitsForAnother) {
  TestBus bus;
  std::atomic<bool> seen{false};
  Latch begun;
  std::atomic<bool> returned{false};
  std::thread other;
  YOX::Log::SetSink([&](std::string_view, YOX::LogLevel, std::string_view line) {
    if (line.find("Added subscriber") == std::string_view::npos || seen.exchange(true)) return;
    other = std::thread([&] {
      begun.CountDown();
      bus.Subscribe([](YOXNotificationData&) {}, false);
      returned = true;
    });
    EXPECT_TRUE(begun.Wait());
    LetOthersRun();
    EXPECT_FALSE(returned);
  });
  bus.Subscribe([](YOXNotificationData&) {}, false);
  YOX::Log::SetSink({});
  ASSERT_TRUE(seen);
  other.join();
}

TEST(BusTest, LastEventsAndUnsubscribeOutliveAStop) {
  TestBus bus;
  auto other = std::make_unique<Receiver>(bus);
  bus.Notify(Record(7, 1), ""_w);
  other->Until(1);
  bus.SetStopRequest();
  other = nullptr;
  EventState event = EventState::NotSet;
  EXPECT_TRUE(bus.GetLastNotificationForTopic(static_cast<TopicId>(7), event));
}

TEST(BusTest, ASemaphoreThatIsFullIsLogged) {
  TestBus bus;
  HeldWorker held(bus);
  bus.Notify(Record(7, 0), ""_w);
  held.AwaitHeld();
  for (int i = 1; i <= 1024; ++i) bus.Notify(Record(7, i), ""_w);
  const CapturedLog log;
  bus.SetStopRequest();
  EXPECT_THAT(Texts(log), ElementsAre("E ReleaseSempahore failed."));
}

TEST(BusTest, ASemaphoreThatIsFullIsLoggedByCleanupToo) {
  TestBus bus;
  HeldWorker held(bus);
  bus.Notify(Record(7, 0), ""_w);
  held.AwaitHeld();
  for (int i = 1; i <= 1024; ++i) bus.Notify(Record(7, i), ""_w);
  yox_test::AwaitedLog log;
  std::thread cleanup([&] { bus.Cleanup(); });
  EXPECT_TRUE(log.Await("E ReleaseSempahore failed."));
  held.Release();
  cleanup.join();
}

TEST(BusTest, ACleanedUpBusHasNoSemaphoreToFill) {
  TestBus bus;
  bus.Cleanup();
  const CapturedLog log;
  for (int i = 0; i <= 1024; ++i) bus.SetStopRequest();
  EXPECT_THAT(Texts(log), IsEmpty());
}

TEST(BusTest, CleanupTwiceLogsTwiceAndDoesNothingMore) {
  TestBus bus;
  bus.Subscribe([](YOXNotificationData&) {}, false);
  {
    const CapturedLog log;
    bus.Cleanup();
    std::vector<std::string> texts = Texts(log);
    EXPECT_THAT(texts,
                ElementsAre("D YOXPublisherSubscriber::Cleanup.Entry", "D NotifyWorker: Exit",
                            "D YOXPublisherSubscriber::Cleanup: Cleaning up 1 subscribers",
                            "D YOXPublisherSubscriber::Cleanup.Exit"));
  }
  const CapturedLog log;
  bus.Cleanup();
  EXPECT_THAT(Texts(log),
              ElementsAre("D YOXPublisherSubscriber::Cleanup.Entry",
                          "D YOXPublisherSubscriber::Cleanup: Cleaning up 0 subscribers",
                          "D YOXPublisherSubscriber::Cleanup.Exit"));
}

TEST(BusTest, CleanupsMayRace) {
  TestBus bus;
  Receiver other(bus);
  bus.Notify(Record(7, 1), ""_w);
  std::thread second([&] { bus.Cleanup(); });
  bus.Cleanup();
  second.join();
  EXPECT_TRUE(bus.Subscribe([](YOXNotificationData&) {}, false).empty());
}

TEST(BusTest, ASecondCleanupReturnsAfterTheFirst) {
  Latch begun;
  Latch release;
  std::atomic<bool> ended{false};
  std::atomic<bool> returned{false};
  TestBus bus;
  bus.Subscribe(
      [&](YOXNotificationData&) {
        begun.CountDown();
        EXPECT_TRUE(release.Wait());
        ended = true;
      },
      false);
  bus.Notify(Record(7, 1), ""_w);
  ASSERT_TRUE(begun.Wait());
  yox_test::AwaitedLog log;
  std::thread first([&] { bus.Cleanup(); });
  EXPECT_TRUE(log.Await("Cleaning up 1 subscribers"));
  std::thread second([&] {
    bus.Cleanup();
    EXPECT_TRUE(ended);
    returned = true;
  });
  while (log.Count("Cleanup.Entry") < 2) std::this_thread::yield();
  LetOthersRun();
  EXPECT_FALSE(returned);
  release.CountDown();
  first.join();
  second.join();
  EXPECT_EQ(log.Count("Cleaning up 0 subscribers"), 1U);
}

TEST(BusTest, NotifyMayRaceWithCleanup) {
  constexpr int kRecords = 1000;  // the queue has room for all
  for (int round = 0; round < 20; ++round) {
    TestBus bus;
    Receiver other(bus);
    Latch some;
    std::thread publisher([&] {
      for (int i = 0; i < kRecords; ++i) {
        bus.Notify(Record(7, i), ""_w);
        if (i == 100) some.CountDown();
      }
    });
    EXPECT_TRUE(some.Wait());
    bus.Cleanup();
    const std::vector<int> delivered = other.Events();
    publisher.join();
    EXPECT_EQ(other.Events(), delivered) << "nothing is delivered after Cleanup";
    std::vector<int> expected(delivered.size());
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(delivered, expected) << "nothing is lost before it";
    EventState last = EventState::NotSet;
    EXPECT_EQ(bus.GetLastNotificationForTopic(static_cast<TopicId>(7), last), !delivered.empty());
    if (!delivered.empty()) {
      EXPECT_EQ(static_cast<int>(last), delivered.back());
    }
  }
}

TEST(BusTest, TheEnabledFlagGatesNothing) {
  TestBus bus;
  EXPECT_TRUE(bus.GetNotifyEnabled());
  bus.SetNotifyEnabled(false);
  EXPECT_FALSE(bus.GetNotifyEnabled());
  Receiver other(bus);
  bus.Notify(Record(7, 1), ""_w);
  EXPECT_THAT(other.Until(1), ElementsAre(1));
}

TEST(BusTest, EverySubscriberThatHadADeliveryLeavesACopyBehind) {
  TestBus bus;
  for (std::size_t i = 1; i <= 3; ++i) {
    Receiver receiver(bus);
    bus.Notify(Record(7, 1), ""_w);
    receiver.Until(1);
    receiver.Leave();
    EXPECT_EQ(bus.DeliveryCopyCount(), i);
  }
  Receiver silent(bus);
  silent.Leave();
  bus.Cleanup();
  EXPECT_EQ(bus.DeliveryCopyCount(), 3U);
}

TEST(BusTest, AFirstSubscriberThatHasLeftIsNotCalled) {
  TestBus bus;
  Receiver first(bus, true);
  Receiver other(bus);
  bus.Notify(Record(7, 1), ""_w);
  other.Until(1);
  first.Leave();
  const CapturedLog log;
  bus.Notify(Record(7, 2), ""_w);
  other.Until(2);
  bus.Cleanup();
  EXPECT_THAT(log.Text(), testing::Not(HasSubstr("Exception")));
}

TEST(BusTest, NothingIsKeptOfADeliveredRecord) {
  TestBus bus;
  Receiver receiver(bus);
  bus.Notify({7, 1, "a long payload"_w}, ""_w);
  receiver.Until(1);
  receiver.Leave();
  bus.Cleanup();
  const auto& copies = bus.*Reached(DeliveryCopies{});
  ASSERT_EQ(copies.size(), 1U);
  EXPECT_EQ(copies.begin()->second->getPayload(), ""_w);
  EXPECT_EQ(copies.begin()->second->getTopicId(), YOXNotificationData().getTopicId());
}

bool Expires(const std::weak_ptr<int>& watched) {
  const auto limit = std::chrono::steady_clock::now() + std::chrono::milliseconds(kBound);
  while (!watched.expired() && std::chrono::steady_clock::now() < limit) std::this_thread::yield();
  return watched.expired();
}

TEST(BusTest, UnsubscribeDestroysTheCallbackBeforeItReturns) {
  for (const bool with_delivery : {false, true}) {
    TestBus bus;
    Latch called;
    auto held = std::make_shared<int>(0);
    const std::weak_ptr<int> watched = held;
    const WString id = bus.Subscribe(
        [&called, held = std::move(held)](YOXNotificationData&) { called.CountDown(); }, false);
    if (with_delivery) {
      bus.Notify(Record(7, 1), ""_w);
      ASSERT_TRUE(called.Wait());
    }
    EXPECT_FALSE(watched.expired());
    bus.Unsubscribe(id);
    EXPECT_TRUE(watched.expired());
  }
}

TEST(BusTest, CleanupDestroysTheCallbacksBeforeItReturns) {
  TestBus bus;
  auto held = std::make_shared<int>(0);
  const std::weak_ptr<int> watched = held;
  bus.Subscribe([held](YOXNotificationData&) {}, true);
  bus.Subscribe([held](YOXNotificationData&) {}, false);
  held = nullptr;
  Receiver other(bus);
  bus.Notify(Record(7, 1), ""_w);
  other.Until(1);
  bus.Cleanup();
  EXPECT_TRUE(watched.expired());
}

// What a callback object may well do: it leaves the bus when it is destroyed.
class Registration {
 public:
  explicit Registration(YOXPublisherSubscriber& bus, Latch* destroyed = nullptr)
      : bus_(bus), destroyed_(destroyed) {}
  ~Registration() {
    bus_.Unsubscribe(id);
    if (destroyed_ != nullptr) destroyed_->CountDown();
  }
  Registration(const Registration&) = delete;
  Registration& operator=(const Registration&) = delete;

  WString id;

 private:
  YOXPublisherSubscriber& bus_;
  Latch* const destroyed_;
};

void SubscribeWithRegistration(YOXPublisherSubscriber& bus, bool first = false,
                               Latch* destroyed = nullptr) {
  auto registration = std::make_shared<Registration>(bus, destroyed);
  Registration* const unowned = registration.get();
  unowned->id =
      bus.Subscribe([registration = std::move(registration)](YOXNotificationData&) {}, first);
}

TEST(BusTest, CallbacksMayUnsubscribeWhenCleanupDestroysThem) {
  Latch destroyed(5);
  TestBus bus;
  for (int i = 0; i < 5; ++i) SubscribeWithRegistration(bus, i == 2, &destroyed);
  Receiver other(bus);
  bus.Notify(Record(7, 1), ""_w);
  other.Until(1);
  bus.Cleanup();
  EXPECT_TRUE(destroyed.Wait());
}

// Calls a function when the callback that it is part of is destroyed.
class AtDestruction {
 public:
  explicit AtDestruction(std::function<void()> act) : act_(std::move(act)) {}
  ~AtDestruction() { act_(); }
  AtDestruction(const AtDestruction&) = delete;
  AtDestruction& operator=(const AtDestruction&) = delete;

 private:
  const std::function<void()> act_;
};

void SubscribeWith(YOXPublisherSubscriber& bus, std::function<void()> at_destruction) {
  auto held = std::make_shared<AtDestruction>(std::move(at_destruction));
  bus.Subscribe([held = std::move(held)](YOXNotificationData&) {}, false);
}

TEST(BusTest, OtherThreadsMayUseTheBusWhileCleanupDestroysACallback) {
  TestBus bus;
  Latch used;
  bool in_time = false;
  std::thread other;
  SubscribeWith(bus, [&] {
    other = std::thread([&] {
      bus.Unsubscribe("unknown"_w);
      used.CountDown();
    });
    in_time = used.Wait();
  });
  bus.Cleanup();
  other.join();
  EXPECT_TRUE(in_time);
}

TEST(BusTest, ACallbackMayCallCleanupWhenCleanupDestroysIt) {
  TestBus bus;
  bool returned = false;
  SubscribeWith(bus, [&] {
    bus.Cleanup();
    returned = true;
  });
  bus.Cleanup();
  EXPECT_TRUE(returned);
}

TEST(BusTest, ACallbackThatLeavesFromItsOwnDeliveryIsDestroyedAfterIt) {
  Latch destroyed;
  TestBus bus;
  auto registration = std::make_shared<Registration>(bus, &destroyed);
  Registration* const unowned = registration.get();
  std::atomic<bool> ended{false};
  unowned->id = bus.Subscribe(
      [&, registration = std::move(registration)](YOXNotificationData&) {
        bus.Unsubscribe(registration->id);
        ended = true;
      },
      false);
  bus.Notify(Record(7, 1), ""_w);
  ASSERT_TRUE(destroyed.Wait());
  EXPECT_TRUE(ended);
}

TEST(BusTest, ABusThatStoppedWithARecordInHandHoldsNobodyWhoHasLeft) {
  TestBus bus;
  auto held = std::make_shared<int>(0);
  const std::weak_ptr<int> watched = held;
  bus.Subscribe([held = std::move(held)](YOXNotificationData&) {}, false);
  {
    HeldWorker worker(bus);
    bus.Notify(Record(7, 1), ""_w);
    worker.AwaitHeld();
    bus.SetStopRequest();
  }
  bus.Cleanup();
  EXPECT_TRUE(Expires(watched));
}

// Publishes until these have returned from some deliveries, so that the bus counts theirs as short.
void Settle(TestBus& bus, Receiver& receiver) {
  for (int event = 1; event <= kSettling; ++event) {
    bus.Notify(Record(7, event), ""_w);
    receiver.Until(event);
  }
}

TEST(BusTest, DeliveriesRunOnThreadsOfThePoolAndTheFirstCallsOnOneOfTheBuss) {
  struct Threads {
    void Add() {
      const yox::MutexLock lock(mutex);
      ids.insert(std::this_thread::get_id());
    }
    yox::Mutex mutex;
    std::set<std::thread::id> ids;
  };
  Threads first;
  Threads others;
  {
    TestBus bus;
    bus.Subscribe([&](YOXNotificationData&) { first.Add(); }, true);
    bus.Subscribe([&](YOXNotificationData&) { others.Add(); }, false);
    Receiver receiver(bus);
    Settle(bus, receiver);
    bus.Cleanup();
  }
  EXPECT_EQ(first.ids.size(), 1U);
  others.Add();
  EXPECT_EQ(others.ids.count(*first.ids.begin()), 0U);
  EXPECT_EQ(first.ids.count(std::this_thread::get_id()), 0U);
}

TEST(BusTest, ASubscriberThatHangsAfterManyShortDeliveriesHoldsBackNobody) {
  for (int round = 0; round < 4; ++round) {  // on either side of its turn
    TestBus bus;
    Latch release;
    Receiver one(bus);
    const WString hanging = bus.Subscribe(
        [&](YOXNotificationData& record) {
          if (record.getEventState() == 1000) {
            EXPECT_TRUE(release.Wait());
          }
        },
        false);
    Receiver two(bus);
    Settle(bus, one);
    bus.Notify(Record(7, 1000), ""_w);
    one.Until(1000);
    two.Until(1000);
    release.CountDown();
    bus.Unsubscribe(hanging);
  }
}

TEST(BusTest, SomebodyWhoJoinsAfterManyShortDeliveriesReceivesTheNextRecord) {
  for (int round = 0; round < 10; ++round) {
    TestBus bus;
    Receiver receiver(bus);
    Settle(bus, receiver);
    Receiver joined(bus);
    bus.Notify(Record(7, 1000), ""_w);
    joined.Until(1000);
  }
}

TEST(BusTest, AStopInADeliveryAfterManyShortOnesLosesTheQueueToo) {
  for (int round = 0; round < 10; ++round) {
    std::atomic<bool> came_late{false};
    yox_test::AwaitedLog log;
    TestBus bus;
    bus.Subscribe(
        [&](YOXNotificationData& record) {
          if (record.getEventState() == 1001) came_late = true;
          if (record.getEventState() != 1000) return;
          bus.Notify(Record(7, 1001), ""_w);
          bus.SetStopRequest();
        },
        false);
    Receiver receiver(bus);
    Settle(bus, receiver);
    bus.Notify(Record(7, 1000), ""_w);
    EXPECT_TRUE(log.Await("NotifyWorker: Exit"));
    bus.Cleanup();
    EXPECT_FALSE(came_late);
  }
}

TEST(BusTest, SubscribersMayWaitForEachOtherInDeliveriesOfOneRecord) {
  Latch all(4);
  TestBus bus;
  for (int i = 0; i < 4; ++i) {
    bus.Subscribe(
        [&](YOXNotificationData& record) {
          if (record.getEventState() != 1000) return;
          all.CountDown();
          EXPECT_TRUE(all.Wait());
        },
        false);
  }
  Receiver receiver(bus);
  Settle(bus, receiver);
  bus.Notify(Record(7, 1000), ""_w);
  EXPECT_TRUE(all.Wait());
}

// Of a subscriber whose deliveries have been short so far, or who has had none.
void ExpectThatUnsubscribeWaitsForTheRunningDelivery(bool behind_many_short_ones) {
  std::atomic<bool> unsubscribed{false};
  std::atomic<bool> unsubscribed_first{false};
  Latch begun;
  Latch entered;
  TestBus bus;
  const WString id = bus.Subscribe(
      [&](YOXNotificationData& record) {
        if (record.getEventState() != 1000) return;
        begun.CountDown();
        EXPECT_TRUE(entered.Wait());
        unsubscribed_first = unsubscribed.load();
      },
      false);
  Receiver receiver(bus);
  if (behind_many_short_ones) Settle(bus, receiver);
  bus.Notify(Record(7, 1000), ""_w);
  ASSERT_TRUE(begun.Wait());
  YOX::Log::SetSink([&](std::string_view, YOX::LogLevel, std::string_view line) {
    if (line.ends_with("exit")) entered.CountDown();
  });
  bus.Unsubscribe(id);
  unsubscribed = true;
  YOX::Log::SetSink({});
  EXPECT_FALSE(unsubscribed_first);
}

TEST(BusTest, UnsubscribeWaitsForTheRunningDelivery) {
  ExpectThatUnsubscribeWaitsForTheRunningDelivery(false);
}

TEST(BusTest, UnsubscribeWaitsForADeliveryBehindManyShortOnes) {
  ExpectThatUnsubscribeWaitsForTheRunningDelivery(true);
}

TEST(BusTest, ASubscriberMayLeaveFromItsOwnDeliveryBehindManyShortOnes) {
  TestBus bus;
  Receiver other(bus);
  std::atomic<int> calls{0};
  WString id;
  id = bus.Subscribe(
      [&](YOXNotificationData& record) {
        ++calls;
        if (record.getEventState() == kSettling) bus.Unsubscribe(id);
      },
      false);
  Settle(bus, other);
  bus.Notify(Record(7, 1000), ""_w);
  other.Until(1000);
  bus.Cleanup();
  EXPECT_EQ(calls, kSettling);
}

TEST(BusTest, WhoeverPublishesEverySubscriberReceivesTheWholeRecord) {
  TestBus bus;
  struct Seen {
    yox::Mutex mutex;
    std::vector<std::string> payloads;
  };
  constexpr int kSubscribers = 5;
  std::array<Seen, kSubscribers> seen;
  std::array<WString, kSubscribers> ids;
  for (std::size_t i = 0; i < kSubscribers; ++i) {
    ids[i] = bus.Subscribe(
        [&seen = seen[i]](YOXNotificationData& record) {
          const yox::MutexLock lock(seen.mutex);
          seen.payloads.push_back(Utf8(record.getPayload()));
          record.setPayload("spoilt"_w);
        },
        false);
  }
  Receiver receiver(bus);
  Settle(bus, receiver);
  for (std::size_t i = 0; i < kSubscribers; ++i) {
    bus.Notify(Record(7, 1000 + static_cast<int>(i)), ids[i]);
  }
  bus.Notify(Record(7, 2000), ""_w);
  receiver.Until(2000);
  bus.Cleanup();
  for (Seen& one : seen) {
    EXPECT_THAT(one.payloads, testing::Each("payload"));
    EXPECT_EQ(one.payloads.size(), static_cast<std::size_t>(kSettling + kSubscribers));
  }
}

TEST(BusTest, AFirstSubscriberComesBeforeTheOthersHoweverManyRecordsThereAre) {
  TestBus bus;
  std::atomic<int> first_saw{0};
  std::atomic<int> too_early{0};
  bus.Subscribe([&](YOXNotificationData& record) { first_saw = record.getEventState(); }, true);
  for (int i = 0; i < 3; ++i) {
    bus.Subscribe(
        [&](YOXNotificationData& record) {
          if (first_saw < record.getEventState()) ++too_early;
        },
        false);
  }
  Receiver receiver(bus);
  for (int event = 1; event <= 1000; ++event) bus.Notify(Record(7, event), ""_w);
  receiver.Until(1000);
  EXPECT_EQ(too_early, 0);
}

TEST(BusTest, ACallbackThatThrowsBehindManyShortDeliveriesIsLoggedByUnsubscribe) {
  TestBus bus;
  Latch called;
  const WString id = bus.Subscribe(
      [&](YOXNotificationData& record) {
        if (record.getEventState() != 1000) return;
        called.CountDown();
        throw std::runtime_error("late");
      },
      false);
  Receiver receiver(bus);
  Settle(bus, receiver);
  bus.Notify(Record(7, 1000), ""_w);
  ASSERT_TRUE(called.Wait());
  const CapturedLog log;
  bus.Unsubscribe(id);
  EXPECT_THAT(Texts(log), testing::Contains("E YOXPublisherSubscriber::Unsubscribe: Exception in "
                                            "future.get(): late"));
}

// From a delivery, perhaps one of many short ones, which runs with the worker's role on lease.
void ExpectThatCleanupReturnsInADelivery(bool after_many_short_ones) {
  Latch cleaned;
  TestBus bus;
  bus.Subscribe(
      [&](YOXNotificationData& record) {
        if (record.getEventState() != 1000) return;
        bus.Cleanup();
        cleaned.CountDown();
      },
      false);
  {
    Receiver receiver(bus);
    if (after_many_short_ones) Settle(bus, receiver);
  }
  bus.Notify(Record(7, 1000), ""_w);
  EXPECT_TRUE(cleaned.Wait());
}

TEST(BusTest, CleanupInADeliveryDoesNotWaitForThatDelivery) {
  ExpectThatCleanupReturnsInADelivery(false);
  ExpectThatCleanupReturnsInADelivery(true);
}

TEST(BusTest, CleanupInADeliveryReturnsWhileAnotherWaitsForIt) {
  Latch waiting;
  Latch cleaned;
  Latch begun;
  TestBus bus;
  bus.Subscribe(
      [&](YOXNotificationData&) {
        begun.CountDown();
        EXPECT_TRUE(waiting.Wait());
        bus.Cleanup();
        cleaned.CountDown();
      },
      false);
  bus.Notify(Record(7, 1), ""_w);
  ASSERT_TRUE(begun.Wait());
  YOX::Log::SetSink([&](std::string_view, YOX::LogLevel, std::string_view line) {
    if (line.ends_with("Cleaning up 1 subscribers")) waiting.CountDown();
  });
  std::thread other([&] { bus.Cleanup(); });
  EXPECT_TRUE(cleaned.Wait()) << "each waits for the other";
  other.join();
  YOX::Log::SetSink({});
}

// A process that ends in spite of what its subscribers do.
class BusExitTest : public testing::Test {
 protected:
  BusExitTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

  static YOXPublisherSubscriber& Bus() { return *YOXPublisherSubscriber::GetInstance(); }
  // Publishes, and waits for the end that a callback brings about.
  [[noreturn]] static void PublishAndWait() {
    Bus().Notify(Record(7, 1), ""_w);
    Latch never;
    (void)never.Wait();
    std::_Exit(9);
  }
};

TEST_F(BusExitTest, ACallbackMayUnsubscribeAtExit) {
  EXPECT_EXIT(
      {
        for (int i = 0; i < 5; ++i) SubscribeWithRegistration(Bus(), i == 0);
        std::exit(4);
      },
      testing::ExitedWithCode(4), "");
}

TEST_F(BusExitTest, TheBusIsCleanedUpAtExit) {
  EXPECT_EXIT(
      {
        SubscribeWith(Bus(), [] { std::fputs("destroyed", stderr); });
        std::exit(4);
      },
      testing::ExitedWithCode(4), "destroyed");
}

TEST_F(BusExitTest, CleanupInAFirstCallTerminatesTheProcess) {
  EXPECT_DEATH(
      {
        YOX::Log::SetSink([](std::string_view, YOX::LogLevel, std::string_view line) {
          if (line.ends_with("joining thread")) std::fputs(std::string(line).c_str(), stderr);
        });
        Bus().Subscribe([](YOXNotificationData&) { Bus().Cleanup(); }, true);
        PublishAndWait();
      },
      "YOXPublisherSubscriber::Cleanup: Exception joining thread");
}

TEST_F(BusExitTest, ADeliveryMayExit) {
  EXPECT_EXIT(
      {
        SubscribeWithRegistration(Bus());
        Bus().Subscribe([](YOXNotificationData&) { std::exit(3); }, false);
        PublishAndWait();
      },
      testing::ExitedWithCode(3), "");
}

TEST_F(BusExitTest, ADeliveryMayExitWhileAnotherThreadCleansUp) {
  EXPECT_EXIT(
      {
        static Latch begun;
        static Latch waiting;
        Bus().Subscribe(
            [](YOXNotificationData&) {
              begun.CountDown();
              (void)waiting.Wait();
              std::exit(3);
            },
            false);
        Bus().Notify(Record(7, 1), ""_w);
        (void)begun.Wait();
        YOX::Log::SetSink([](std::string_view, YOX::LogLevel, std::string_view line) {
          if (line.ends_with("Cleaning up 1 subscribers")) waiting.CountDown();
        });
        Bus().Cleanup();
        std::_Exit(9);
      },
      testing::ExitedWithCode(3), "");
}

// What the process has in memory; std::nullopt where the system does not say.
std::optional<std::int64_t> ResidentBytes() {
#if !defined(YOX_MEASURES_MEMORY)
  return std::nullopt;
#endif
  std::ifstream file("/proc/self/statm");
  std::int64_t total = 0;
  std::int64_t resident = 0;
  if (!(file >> total >> resident)) return std::nullopt;
  return resident * 4096;
}

TEST(BusTest, NothingIsKeptOfABurstOfLargeRecords) {
  constexpr std::int64_t kMebibyte = 1 << 20;
  const std::optional<std::int64_t> before = ResidentBytes();
  if (!before) GTEST_SKIP() << "this system does not tell how much memory is in use";
  TestBus bus;
  Receiver one(bus);
  Receiver two(bus);
  {
    HeldWorker held(bus);
    bus.Notify(Record(7, 0), ""_w);
    held.AwaitHeld();
    for (int i = 1; i <= 16; ++i) {
      bus.Notify({7, i, WString(4 * kMebibyte, yox::WChar{'x'})}, ""_w);
    }
    EXPECT_GT(*ResidentBytes() - *before, 100 * kMebibyte);
  }
  one.Until(16);
  two.Until(16);
  // A small record, after whose delivery the large ones are certainly over.
  bus.Notify(Record(7, 17), ""_w);
  one.Until(17);
  two.Until(17);
  EXPECT_LT(*ResidentBytes() - *before, 32 * kMebibyte);
}

TEST(BusTest, NothingIsKeptOfARecordWhoseRoundFailed) {
  constexpr std::int64_t kMebibyte = 1 << 20;
  const std::optional<std::int64_t> before = ResidentBytes();
  if (!before) GTEST_SKIP() << "this system does not tell how much memory is in use";
  TestBus bus;
  bus.Subscribe([](YOXNotificationData&) { throw std::runtime_error("first"); }, true);
  Latch failed;
  YOX::Log::SetSink([&](std::string_view, YOX::LogLevel, std::string_view line) {
    if (line == "NotifyWorker: Inner Exception") throw std::runtime_error("log");
    if (line == "NotifyWorker: Exception") failed.CountDown();
  });
  bus.Notify({7, 1, WString(48 * kMebibyte, yox::WChar{'x'})}, ""_w);
  EXPECT_TRUE(failed.Wait());
  YOX::Log::SetSink({});
  EXPECT_LT(*ResidentBytes() - *before, 48 * kMebibyte);
}

TEST(BusTest, TheProcesssBusIsOne) {
  EXPECT_EQ(YOXPublisherSubscriber::GetInstance(), YOXPublisherSubscriber::GetInstance());
}

// On a device whose time passes only when the test moves it.
class SteppedBusTest : public testing::Test {
 protected:
  static yox::platform::DeviceProfile Profile() {
    yox::platform::DeviceProfile profile;
    profile.clock.emplace().now.emplace();
    return profile;
  }

  yox::platform::SimulatedClock& clock() { return device_.clock(); }
  // Waits until a thread waits for the clock, then lets the time pass.
  void Pass(std::int64_t milliseconds) {
    ASSERT_TRUE(clock().alarms().AwaitNext(kBound));
    clock().AdvanceMilliseconds(milliseconds);
  }

  yox::platform::SimulatedDevice device_{Profile()};
  yox::platform::ScopedPlatform installed_{device_};
};

// A subscriber that hangs in its first delivery until it is released.
class Hanging {
 public:
  explicit Hanging(TestBus& bus) : bus_(bus) {
    id_ =
        bus.Subscribe([delivery = delivery_](
                          YOXNotificationData& record) { delivery->Take(record.getEventState()); },
                      false);
  }
  ~Hanging() {
    Release();
    bus_.Unsubscribe(id_);
  }
  Hanging(const Hanging&) = delete;
  Hanging& operator=(const Hanging&) = delete;

  const WString& id() const { return id_; }
  void AwaitHanging() { EXPECT_TRUE(delivery_->begun.Wait()); }
  void Release() { delivery_->release.CountDown(); }
  void Fail() {
    delivery_->fails = true;
    Release();
  }
  bool AwaitSecond() { return delivery_->second.Wait(); }
  bool AwaitEnd() { return delivery_->ended.Wait(); }
  std::vector<int> Events() const {
    const yox::MutexLock lock(delivery_->mutex);
    return delivery_->events;
  }

 private:
  // Shared with the callback: Unsubscribe does not wait for a delivery that the worker waits for.
  struct Delivery {
    void Take(int event) {
      bool is_first = false;
      {
        const yox::MutexLock lock(mutex);
        is_first = events.empty();
        events.push_back(event);
      }
      if (is_first) {
        begun.CountDown();
        EXPECT_TRUE(release.Wait());
        ended.CountDown();
        if (fails) throw std::runtime_error("it failed");
      } else {
        second.CountDown();
      }
    }

    yox::Mutex mutex;
    std::vector<int> events YOX_GUARDED_BY(mutex);
    Latch begun;
    Latch release;
    Latch ended;
    std::atomic<bool> fails{false};
    Latch second;
  };

  TestBus& bus_;
  WString id_;
  const std::shared_ptr<Delivery> delivery_ = std::make_shared<Delivery>();
};

// Subscribers that hang, and one whose turn comes after theirs.
template <std::size_t Count>
struct Line {
  std::array<std::unique_ptr<Hanging>, Count> hanging;
  std::unique_ptr<Receiver> behind;
};

// The ids decide the order, and they are random: tried until they come out right.
template <std::size_t Count>
Line<Count> OneBehind(TestBus& bus) {
  Line<Count> line;
  bool in_order = false;
  for (int i = 0; i < 200 && !in_order; ++i) {
    for (auto& hanging : line.hanging) hanging = std::make_unique<Hanging>(bus);
    line.behind = std::make_unique<Receiver>(bus);
    in_order = std::ranges::all_of(
        line.hanging, [&](const auto& hanging) { return hanging->id() < line.behind->id(); });
  }
  EXPECT_TRUE(in_order);
  return line;
}

TEST_F(SteppedBusTest, ASubscriberThatHangsForThirtySecondsLosesWhatComesMeanwhile) {
  TestBus bus;
  const auto [hangs, behind] = OneBehind<1>(bus);
  Hanging& hanging = *hangs[0];
  const std::int64_t begin = clock().SteadyMilliseconds();
  bus.Notify(Record(7, 1), ""_w);
  hanging.AwaitHanging();
  behind->Until(1);
  for (int event = 2; event <= 4; ++event) bus.Notify(Record(7, event), ""_w);

  ASSERT_EQ(clock().alarms().AwaitNext(kBound), begin + 10'000);
  EXPECT_THAT(behind->Events(), ElementsAre(1)) << "behind by the wait";
  clock().AdvanceMilliseconds(10'000);
  behind->Until(2);
  Pass(10'000);
  behind->Until(3);
  Pass(9'999);
  hanging.Release();
  ASSERT_TRUE(hanging.AwaitSecond());
  EXPECT_THAT(behind->Until(4), ElementsAre(1, 2, 3, 4));
  EXPECT_THAT(hanging.Events(), ElementsAre(1, 4));
}

TEST_F(SteppedBusTest, NothingIsLoggedWhenABusySubscriberLosesARecord) {
  TestBus bus;
  Hanging hanging(bus);
  bus.Notify(Record(7, 1), ""_w);
  hanging.AwaitHanging();
  // Joins now, so that the worker has no delivery of it to wait for.
  Receiver other(bus);
  const CapturedLog log;
  bus.Notify(Record(7, 2), ""_w);
  Pass(10'000);
  other.Until(2);
  EXPECT_THAT(Texts(log), IsEmpty());
}

TEST_F(SteppedBusTest, UnsubscribeDoesNotWaitForADeliveryThatTheWorkerWaitsFor) {
  TestBus bus;
  Hanging hanging(bus);
  bus.Notify(Record(7, 1), ""_w);
  hanging.AwaitHanging();
  // Joins now, so that the worker has no delivery of it to wait for.
  Receiver other(bus);
  bus.Notify(Record(7, 2), ""_w);
  ASSERT_TRUE(clock().alarms().AwaitNext(kBound));
  bus.Unsubscribe(hanging.id());
  clock().AdvanceMilliseconds(10'000);
  EXPECT_THAT(other.Until(2), ElementsAre(2));
  EXPECT_THAT(hanging.Events(), ElementsAre(1));
  // The bus does not wait for its end any more.
  hanging.Release();
  EXPECT_TRUE(hanging.AwaitEnd());
}

// Only a thread that waited for the delivery logs what it threw.
TEST_F(SteppedBusTest, UnsubscribeWaitsForADeliveryOnWhichTheWorkerGaveUp) {
  TestBus bus;
  // The other one's record comes after the worker's wait, because its id is greater.
  const auto [hangs, behind] = OneBehind<1>(bus);
  Hanging& hanging = *hangs[0];
  bus.Notify(Record(7, 1), ""_w);
  hanging.AwaitHanging();
  behind->Until(1);
  bus.Notify(Record(7, 2), ""_w);
  Pass(10'000);
  behind->Until(2);
  std::vector<std::string> errors;
  YOX::Log::SetSink([&](std::string_view, YOX::LogLevel level, std::string_view line) {
    if (line.ends_with("exit")) hanging.Fail();
    if (level == YOX::LogLevel::Error) errors.emplace_back(line);
  });
  bus.Unsubscribe(hanging.id());
  YOX::Log::SetSink({});
  EXPECT_THAT(
      errors,
      ElementsAre("YOXPublisherSubscriber::Unsubscribe: Exception in future.get(): it failed"));
}

TEST_F(SteppedBusTest, CleanupCallsADeliveryHangingAfterFiveSecondsAndWaitsOn) {
  TestBus bus;
  Hanging hanging(bus);
  bus.Notify(Record(7, 1), ""_w);
  hanging.AwaitHanging();
  const CapturedLog log;
  std::atomic<bool> returned{false};
  std::thread cleanup([&] {
    bus.Cleanup();
    returned = true;
  });
  const std::int64_t begin = clock().SteadyMilliseconds();
  EXPECT_EQ(clock().alarms().AwaitNext(kBound), begin + 5'000);
  Latch logged;
  YOX::Log::SetSink([&](std::string_view, YOX::LogLevel level, std::string_view line) {
    EXPECT_EQ(level, YOX::LogLevel::Error);
    EXPECT_EQ(line, "YOXPublisherSubscriber::Cleanup: Subscriber " + Utf8(hanging.id()) +
                        " hanging during cleanup, forcing completion");
    logged.CountDown();
  });
  clock().AdvanceMilliseconds(5'000);
  EXPECT_TRUE(logged.Wait());
  LetOthersRun();
  EXPECT_FALSE(returned);
  YOX::Log::SetSink({});
  hanging.Release();
  cleanup.join();
  EXPECT_THAT(hanging.Events(), ElementsAre(1));
}

TEST_F(SteppedBusTest, HangingSubscribersDelayTheOthersByTenSecondsEach) {
  TestBus bus;
  const auto [hanging, behind] = OneBehind<2>(bus);
  const std::int64_t begin = clock().SteadyMilliseconds();
  bus.Notify(Record(7, 1), ""_w);
  for (const auto& one : hanging) one->AwaitHanging();
  bus.Notify(Record(7, 2), ""_w);
  Pass(10'000);
  Pass(10'000);
  behind->Until(2);
  EXPECT_EQ(clock().SteadyMilliseconds(), begin + 20'000);
}

}  // namespace
