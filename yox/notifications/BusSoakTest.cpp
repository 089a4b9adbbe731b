// The bus under everything at once, on demand: YOX_SOAK_RECORDS=1000000 yox_tests
// --gtest_filter='BusSoakTest.*'.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <charconv>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

#include "yox/clientbase/Log.h"
#include "yox/clientbase/platform/simulated/SimulatedDevice.h"
#include "yox/notifications/YOXPublisherSubscriber.h"

namespace {

constexpr int kPublishers = 8;
constexpr int kSteady = 40;
constexpr int kThrowing = 8;
constexpr int kHanging = 8;
constexpr int kRestless = 8;

int RecordsToPublish() {
  int records = 8000;
  if (const char* const text = std::getenv("YOX_SOAK_RECORDS")) {
    std::from_chars(text, text + std::strlen(text), records);
  }
  return records;
}

// How long, in real time, the bus must have waited for hanging subscribers alone before the clock
// is moved: a delivery that ends by itself has ended long before.
constexpr std::chrono::milliseconds kGrace{20};

class TestBus : public YOXPublisherSubscriber {
 public:
  TestBus() = default;
  ~TestBus() override = default;
};

thread_local bool t_dropped = false;

// Where hanging subscribers hang; each opening lets go all who are there.
class Gate {
 public:
  void Hang() {
    std::unique_lock lock(mutex_);
    const int seen = openings_;
    ++hanging_;
    opened_.wait(lock, [&] { return openings_ != seen || open_; });
    --hanging_;
  }
  // Whether somebody hangs, after a moment of real time.
  bool SomebodyHangs() {
    std::unique_lock lock(mutex_);
    never_.wait_for(lock, kGrace);
    return hanging_ > 0;
  }
  void Open(bool for_good = false) {
    const std::lock_guard lock(mutex_);
    ++openings_;
    open_ = open_ || for_good;
    opened_.notify_all();
  }

 private:
  std::mutex mutex_;
  std::condition_variable opened_;
  std::condition_variable never_;
  int hanging_ = 0;
  int openings_ = 0;
  bool open_ = false;
};

// What one subscriber saw: the records' places in the bus's order. Written by one delivery after
// another.
struct Seen {
  int last = -1;
  int count = 0;
  int out_of_order = 0;
  int gaps = 0;          // records lost
  int strange_gaps = 0;  // lost, though it had not hung in the record before
  bool hung = false;

  void Take(int place) {
    if (place <= last) ++out_of_order;
    if (place > last + 1 && last >= 0) {
      gaps += place - last - 1;
      if (!hung) ++strange_gaps;
    }
    last = place;
    ++count;
    hung = false;
  }
};

TEST(BusSoakTest, EveryRecordIsDeliveredAtMostOnceInOrderAndLossesAreAccountedFor) {
  if (std::getenv("YOX_SOAK_RECORDS") == nullptr) {
    GTEST_SKIP() << "YOX_SOAK_RECORDS tells how many records to publish";
  }
  YOX::platform::DeviceProfile profile;
  profile.clock.emplace().now.emplace();
  YOX::platform::SimulatedDevice device(profile);
  const YOX::platform::ScopedPlatform installed(device);

  // Publishers that race at the queue's limit pass it; the semaphore does not, and each record
  // without a token keeps one back at the end of the queue.
  std::atomic<int> kept_back{0};
  YOX::Log::SetSink([&kept_back](std::string_view, YOX::LogLevel, std::string_view line) {
    if (line.find("Maxm Q size reached") != std::string_view::npos) t_dropped = true;
    if (line.find("ReleaseSempahore failed.") != std::string_view::npos) ++kept_back;
  });

  Gate gate;
  std::atomic<bool> ended{false};
  std::atomic<int> running{0};  // callbacks that end by themselves
  const int hangs_every = std::max(RecordsToPublish() / 4, kHanging);
  // Lets the time pass whenever the bus waits for it; the hanging ones outlast two waits.
  std::thread time([&] {
    for (int waits = 0; !ended;) {
      const auto alarm = device.clock().alarms().AwaitNext(20);
      const int before = running;
      if (!gate.SomebodyHangs()) continue;
      if (!alarm) {
        gate.Open();
      } else if (before == 0 && running == 0 && device.clock().alarms().AwaitNext(0) == alarm) {
        device.clock().AdvanceMilliseconds(10'000);
        if (++waits % 3 == 0) gate.Open();
      }
    }
  });

  std::vector<Seen> steady(kSteady + kThrowing);
  std::vector<Seen> hanging(kHanging);
  std::atomic<int> restless_out_of_order{0};
  std::atomic<int> restless_received{0};
  std::vector<int> last_of_publisher(kPublishers, -1);
  std::atomic<int> taken{0};
  int publisher_out_of_order = 0;
  std::atomic<int> accepted{0};
  std::atomic<int> dropped{0};
  {
    TestBus bus;
    // The first subscriber numbers the records in the order in which the worker takes them.
    bus.Subscribe(
        [&](YOXNotificationData& record) {
          int& last = last_of_publisher[static_cast<std::size_t>(record.getTopicId() - 1)];
          if (record.getEventState() <= last) ++publisher_out_of_order;
          last = record.getEventState();
          record.setEventState(taken.load());
          ++taken;
        },
        true);
    for (std::size_t i = 0; i < steady.size(); ++i) {
      bus.Subscribe(
          [&running, &seen = steady[i], throws = i >= kSteady](YOXNotificationData& record) {
            ++running;
            seen.Take(record.getEventState());
            --running;
            if (throws) throw std::runtime_error("soak");
          },
          false);
    }
    for (int i = 0; i < kHanging; ++i) {
      bus.Subscribe(
          [&, &seen = hanging[static_cast<std::size_t>(i)], i](YOXNotificationData& record) {
            seen.Take(record.getEventState());
            if (record.getEventState() % hangs_every == i * (hangs_every / kHanging)) {
              gate.Hang();
              seen.hung = true;
            }
          },
          false);
    }
    std::vector<std::thread> restless;
    std::atomic<bool> publishing{true};
    for (int i = 0; i < kRestless; ++i) {
      restless.emplace_back([&] {
        while (publishing) {
          // Shared with the callback: Unsubscribe does not wait for a delivery that the worker
          // waits for.
          struct State {
            Seen seen;
            std::mutex mutex;
            std::condition_variable received;
          };
          const auto state = std::make_shared<State>();
          const YOX::WString id = bus.Subscribe(
              [state](YOXNotificationData& record) {
                const std::lock_guard lock(state->mutex);
                state->seen.Take(record.getEventState());
                state->received.notify_all();
              },
              false);
          {
            std::unique_lock lock(state->mutex);
            state->received.wait_for(lock, std::chrono::milliseconds(100),
                                     [&] { return state->seen.count >= 20; });
          }
          bus.Unsubscribe(id);
          const std::lock_guard lock(state->mutex);
          restless_out_of_order += state->seen.out_of_order;
          restless_received += state->seen.count;
        }
      });
    }
    std::vector<std::thread> publishers;
    for (int p = 0; p < kPublishers; ++p) {
      publishers.emplace_back([&, p] {
        const int records = RecordsToPublish() / kPublishers;
        for (int i = 0; i < records; ++i) {
          t_dropped = false;
          bus.Notify({p + 1, i, YOX::WString(40, YOX::WChar{'x'})}, {});
          ++(t_dropped ? dropped : accepted);
          if (t_dropped) std::this_thread::yield();
        }
      });
    }
    for (std::thread& publisher : publishers) publisher.join();
    while (taken + kept_back != accepted) std::this_thread::yield();
    publishing = false;
    for (std::thread& thread : restless) thread.join();
    gate.Open(true);
    bus.Cleanup();
  }
  ended = true;
  time.join();
  YOX::Log::SetSink({});

  EXPECT_EQ(accepted + dropped, RecordsToPublish() / kPublishers * kPublishers);
  EXPECT_LT(kept_back, kPublishers);
  EXPECT_EQ(publisher_out_of_order, 0);
  for (const Seen& seen : steady) {
    EXPECT_EQ(seen.count, taken);
    EXPECT_EQ(seen.out_of_order, 0);
    EXPECT_EQ(seen.gaps, 0);
  }
  int hung_out = 0;
  for (const Seen& seen : hanging) {
    EXPECT_EQ(seen.out_of_order, 0);
    EXPECT_EQ(seen.strange_gaps, 0) << "lost without having hung";
    EXPECT_EQ(seen.count + seen.gaps, seen.last + 1);
    hung_out += seen.gaps;
  }
  EXPECT_GT(hung_out, 0);
  EXPECT_EQ(restless_out_of_order, 0);
  EXPECT_GT(restless_received, 0);
}

}  // namespace
