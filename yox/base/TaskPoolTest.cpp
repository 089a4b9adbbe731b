#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <deque>
#include <functional>
#include <optional>
#include <thread>
#include <vector>

#include "yox/base/TaskPool.h"

#include "tests/support/Latch.h"

namespace {

using yox::TaskPool;
using yox_test::Latch;

class Task final : public TaskPool::Work {
 public:
  explicit Task(std::function<void()> body) : body_(std::move(body)) {}
  void Run() noexcept override { body_(); }

 private:
  std::function<void()> body_;
};

TEST(TaskPoolTest, EveryPieceRunsOnce) {
  constexpr int kPieces = 5000;  // more than fit into the pool's queue
  std::vector<std::atomic<int>> runs(kPieces);
  std::deque<Task> tasks;
  {
    TaskPool pool;
    for (int i = 0; i < kPieces; ++i) {
      pool.Start(tasks.emplace_back([&runs, i] { ++runs[static_cast<std::size_t>(i)]; }));
    }
  }
  for (const auto& count : runs) EXPECT_EQ(count, 1);
}

TEST(TaskPoolTest, StartersMayRace) {
  constexpr int kStarters = 4;
  constexpr int kRounds = 2000;
  std::atomic<int> runs{0};
  Task task([&] { ++runs; });
  {
    TaskPool pool;
    std::vector<std::thread> starters;
    for (int s = 0; s < kStarters; ++s) {
      starters.emplace_back([&] {
        for (int i = 0; i < kRounds; ++i) pool.Start(task);
      });
    }
    for (std::thread& starter : starters) starter.join();
  }
  EXPECT_EQ(runs, kStarters * kRounds);
}

TEST(TaskPoolTest, BlockedPiecesHoldBackNoOther) {
  constexpr int kBlocked = 20;
  Latch all_blocked(kBlocked);
  Latch release;
  Latch ran;
  Task other([&] { ran.CountDown(); });
  std::deque<Task> blocked;
  TaskPool pool(2);
  for (int i = 0; i < kBlocked; ++i) {
    blocked.emplace_back([&] {
      all_blocked.CountDown();
      EXPECT_TRUE(release.Wait());
    });
    pool.Start(blocked.back());
  }
  EXPECT_TRUE(all_blocked.Wait());
  pool.Start(other);
  EXPECT_TRUE(ran.Wait());
  release.CountDown();
}

TEST(TaskPoolTest, PiecesThatMakeProgressShareTheThreads) {
  constexpr int kPieces = 3000;
  Latch all(kPieces);
  Task task([&] { all.CountDown(); });
  TaskPool pool(2);
  for (int i = 0; i < kPieces; ++i) pool.Start(task);
  EXPECT_TRUE(all.Wait());
  // A thread that the system held up for some milliseconds may have counted as blocked.
  EXPECT_LT(pool.ThreadCount(), 16U);
}

TEST(TaskPoolTest, APieceMayStartAnother) {
  std::optional<TaskPool> pool(std::in_place, 1);
  Latch ran;
  Task second([&] { ran.CountDown(); });
  Task first([&] { pool->Start(second); });
  pool->Start(first);
  EXPECT_TRUE(ran.Wait());
  pool.reset();  // its pieces go next
}

TEST(TaskPoolTest, APieceMayWaitForAnotherThatItStarted) {
  std::optional<TaskPool> pool(std::in_place, 1);
  Latch ran;
  Latch done;
  Task second([&] { ran.CountDown(); });
  Task first([&] {
    pool->Start(second);
    EXPECT_TRUE(ran.Wait());
    done.CountDown();
  });
  pool->Start(first);
  EXPECT_TRUE(done.Wait());
  pool.reset();  // its pieces go next
}

TEST(TaskPoolTest, ThreadsThatFindNothingToDoEnd) {
  Task task([] {});
  TaskPool pool(2, std::chrono::milliseconds(1));
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  for (int round = 0; round < 3; ++round) {
    pool.Start(task);
    while (pool.ThreadCount() > 0 && std::chrono::steady_clock::now() < limit) {
      std::this_thread::yield();
    }
    EXPECT_EQ(pool.ThreadCount(), 0U);
  }
}

TEST(TaskPoolTest, APoolWithoutWorkHasNoThread) {
  const TaskPool pool;
  EXPECT_EQ(pool.ThreadCount(), 0U);
}

TEST(TaskPoolTest, TheEndOfAPoolWaitsForItsWork) {
  std::atomic<bool> ended{false};
  Latch begun;
  Latch release;
  Task task([&] {
    begun.CountDown();
    EXPECT_TRUE(release.Wait());
    ended = true;
  });
  std::thread releaser;
  {
    TaskPool pool;
    pool.Start(task);
    EXPECT_TRUE(begun.Wait());
    releaser = std::thread([&] { release.CountDown(); });
  }
  EXPECT_TRUE(ended);
  releaser.join();
}

}  // namespace
