#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "yox/base/SharedSnapshot.h"

namespace {

using Snapshot = yox::SharedSnapshot<std::vector<int>>;

TEST(SharedSnapshotTest, AReaderKeepsWhatItGot) {
  Snapshot snapshot;
  const Snapshot::Pointer empty = snapshot.Get();
  snapshot.Set({1, 2});
  EXPECT_TRUE(empty->empty());
  EXPECT_EQ(*snapshot.Get(), (std::vector{1, 2}));
}

TEST(SharedSnapshotTest, ACopyStartsWithTheSameObjectAndGoesItsOwnWay) {
  Snapshot snapshot;
  snapshot.Set({1});
  Snapshot copy(snapshot);
  Snapshot assigned;
  assigned = snapshot;
  EXPECT_EQ(copy.Get(), snapshot.Get());
  EXPECT_EQ(assigned.Get(), snapshot.Get());
  snapshot.Set({2});
  EXPECT_EQ(*copy.Get(), std::vector{1});
  EXPECT_EQ(*assigned.Get(), std::vector{1});
}

TEST(SharedSnapshotTest, AnObjectThatWasReplacedIsNotReplacedAgain) {
  Snapshot snapshot;
  const Snapshot::Pointer former = snapshot.Get();
  EXPECT_TRUE(snapshot.CompareAndSet(former, {1}));
  EXPECT_FALSE(snapshot.CompareAndSet(former, {2}));
  EXPECT_EQ(*snapshot.Get(), std::vector{1});
}

TEST(SharedSnapshotTest, WritersThatCompareAndSetLoseNothing) {
  constexpr int kThreads = 4;
  constexpr int kAdditions = 5000;
  yox::SharedSnapshot<int> sum;
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&] {
      for (int n = 0; n < kAdditions; ++n) {
        while (true) {
          const auto seen = sum.Get();
          if (sum.CompareAndSet(seen, *seen + 1)) break;
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(*sum.Get(), kThreads * kAdditions);
}

}  // namespace
