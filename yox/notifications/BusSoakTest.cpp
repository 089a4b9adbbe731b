// The bus under everything at once. YOX_SOAK_RECORDS=1000000 yox_tests_notifications
// --gtest_filter='BusSoakTest.*' makes it a long run.
//
// Nothing here depends on how quickly threads get to run. A subscriber loses a record only when the
// worker's wait for it ends by the clock; the clock stands still but when the test moves it, and
// each move ends one wait at most. So the moves account for every loss, whichever subscriber has
// it.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <charconv>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

#include "yox/base/Log.h"
#include "yox/base/ThreadSafety.h"
#include "yox/notifications/TestBus.h"
#include "yox/notifications/YOXPublisherSubscriber.h"
#include "yox/platform/clock/Clock.h"
#include "yox/platform/simulated/SimulatedDevice.h"

namespace {

using yox_test::TestBus;

constexpr int kPublishers = 8;
constexpr int kSteady = 40;
constexpr int kThrowing = 8;
constexpr int kHanging = 8;
constexpr int kRestless = 8;

int RecordsToPublish() {
  int records = 4000;
  if (const char* const text = std::getenv("YOX_SOAK_RECORDS")) {
    std::from_chars(text, text + std::strlen(text), records);
  }
  return records;
}

constinit thread_local bool t_dropped = false;

// Where hanging subscribers hang; each opening lets go all who are there.
class Gate {
 public:
  void Hang() {
    yox::MutexLock lock(mutex_);
    const int seen = openings_;
    ++hanging_;
    changed_.NotifyAll();
    while (openings_ == seen && !open_) changed_.Wait(lock);
    --hanging_;
  }
  // Waits until a subscriber hangs. Returns false if the gate stays open.
  bool AwaitHanging() {
    yox::MutexLock lock(mutex_);
    while (hanging_ == 0 && !open_) changed_.Wait(lock);
    return !open_;
  }
  void Open(bool for_good = false) {
    const yox::MutexLock lock(mutex_);
    ++openings_;
    open_ = open_ || for_good;
    changed_.NotifyAll();
  }

 private:
  yox::Mutex mutex_;
  yox::ConditionVariable changed_;
  int hanging_ YOX_GUARDED_BY(mutex_) = 0;
  int openings_ YOX_GUARDED_BY(mutex_) = 0;
  bool open_ YOX_GUARDED_BY(mutex_) = false;
};

// What one subscriber saw: the records' places in the bus's order. Written by one delivery after
// another.
struct PlacesSeen {
  int last = -1;
  int count = 0;
  int out_of_order = 0;
  std::vector<int> lost;

  void Take(int place) {
    if (place <= last) ++out_of_order;
    LoseUpTo(place);
    last = place;
    ++count;
  }
  void LoseUpTo(int place) {
    for (int missing = last + 1; missing < place; ++missing) lost.push_back(missing);
  }
};

// One move of the clock: which records the worker may have had in hand when it was moved.
struct Move {
  int from;
  int to;
};

// Gives each loss a move of its own, and returns how many are left without one. The moves follow
// each other, so the earliest that fits is as good as any.
int LossesWithoutMove(std::vector<int> losses, const std::vector<Move>& moves) {
  std::ranges::sort(losses);
  int without = 0;
  auto move = moves.begin();
  for (const int place : losses) {
    while (move != moves.end() && move->to < place) ++move;
    if (move != moves.end() && move->from <= place) {
      ++move;
    } else {
      ++without;
    }
  }
  return without;
}

TEST(BusSoakTest, EveryRecordIsDeliveredAtMostOnceInOrderAndLossesAreAccountedFor) {
  yox::platform::DeviceProfile profile;
  profile.clock.emplace().now.emplace();
  yox::platform::SimulatedDevice device(profile);
  const yox::platform::ScopedPlatform installed(device);

  // Publishers that race at the queue's limit pass it; the semaphore does not, and each record
  // without a token keeps one back at the end of the queue.
  std::atomic<int> kept_back{0};
  YOX::Log::SetSink([&kept_back](std::string_view, YOX::LogLevel, std::string_view line) {
    if (line.find("Maxm Q size reached") != std::string_view::npos) t_dropped = true;
    if (line.find("ReleaseSempahore failed.") != std::string_view::npos) ++kept_back;
  });

  Gate gate;
  std::atomic<int> taken{0};
  std::vector<Move> moves;
  const int hangs_every = std::max(RecordsToPublish() / 4, kHanging);
  // Moves the clock while a subscriber hangs and the bus waits; it hangs longer than some waits.
  std::thread time([&] {
    while (gate.AwaitHanging()) {
      if (!device.clock().alarms().AwaitNext(20)) continue;
      const int from = taken - 1;
      device.clock().AdvanceMilliseconds(10'000);
      moves.push_back({from, taken - 1});
      if (moves.size() % 3 == 0) gate.Open();
    }
  });

  std::vector<PlacesSeen> steady(kSteady + kThrowing);
  std::vector<PlacesSeen> hanging(kHanging);
  std::atomic<int> restless_out_of_order{0};
  std::atomic<int> restless_received{0};
  yox::Mutex losses_mutex;
  std::vector<int> losses;
  std::vector<int> last_of_publisher(kPublishers, -1);
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
          [&seen = steady[i], throws = i >= kSteady](YOXNotificationData& record) {
            seen.Take(record.getEventState());
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
            yox::Mutex mutex;
            PlacesSeen seen YOX_GUARDED_BY(mutex);
            yox::ConditionVariable received;
          };
          const auto state = std::make_shared<State>();
          const yox::WString id = bus.Subscribe(
              [state](YOXNotificationData& record) {
                const yox::MutexLock lock(state->mutex);
                if (state->seen.count == 0) state->seen.last = record.getEventState() - 1;
                state->seen.Take(record.getEventState());
                state->received.NotifyAll();
              },
              false);
          {
            const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(100);
            yox::MutexLock lock(state->mutex);
            while (state->seen.count < 20 && state->received.WaitUntil(lock, end)) {
            }
          }
          bus.Unsubscribe(id);
          const yox::MutexLock lock(state->mutex);
          restless_out_of_order += state->seen.out_of_order;
          restless_received += state->seen.count;
          const yox::MutexLock adding(losses_mutex);
          losses.insert(losses.end(), state->seen.lost.begin(), state->seen.lost.end());
        }
      });
    }
    std::vector<std::thread> publishers;
    for (int p = 0; p < kPublishers; ++p) {
      publishers.emplace_back([&, p] {
        const int records = RecordsToPublish() / kPublishers;
        for (int i = 0; i < records; ++i) {
          t_dropped = false;
          bus.Notify({p + 1, i, yox::WString(40, yox::WChar{'x'})}, {});
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
  time.join();
  YOX::Log::SetSink({});

  EXPECT_EQ(accepted + dropped, RecordsToPublish() / kPublishers * kPublishers);
  EXPECT_LT(kept_back, kPublishers);
  EXPECT_EQ(publisher_out_of_order, 0);
  std::size_t lost_by_hanging = 0;
  for (std::vector<PlacesSeen>* const group : {&steady, &hanging}) {
    for (PlacesSeen& seen : *group) {
      seen.LoseUpTo(taken);
      EXPECT_EQ(seen.out_of_order, 0);
      EXPECT_EQ(seen.count + static_cast<int>(seen.lost.size()), taken);
      losses.insert(losses.end(), seen.lost.begin(), seen.lost.end());
      if (group == &hanging) lost_by_hanging += seen.lost.size();
    }
  }
  EXPECT_EQ(LossesWithoutMove(losses, moves), 0) << losses.size() << " losses";
  EXPECT_GT(lost_by_hanging, 0U);
  EXPECT_EQ(restless_out_of_order, 0);
  EXPECT_GT(restless_received, 0);
}

}  // namespace
