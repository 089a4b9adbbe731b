#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <deque>
#include <optional>
#include <thread>
#include <vector>

#include "yox/base/HazardMark.h"

namespace yox {
namespace {

TEST(HazardMarkTest, AnObjectIsInUseWhileAMarkLives) {
  const int object = 0;
  const int other = 0;
  EXPECT_FALSE(HazardMark::IsInUse(&object));
  {
    const HazardMark mark(&object);
    EXPECT_TRUE(HazardMark::IsInUse(&object));
    EXPECT_FALSE(HazardMark::IsInUse(&other));
    { const HazardMark again(&object); }
    EXPECT_TRUE(HazardMark::IsInUse(&object));
  }
  EXPECT_FALSE(HazardMark::IsInUse(&object));
}

TEST(HazardMarkTest, AThreadMarksAsManyAsItLikes) {
  std::array<int, 30> objects{};
  for (int round = 0; round < 2; ++round) {
    std::array<std::optional<HazardMark>, 30> marks;
    for (std::size_t i = 0; i < objects.size(); ++i) marks[i].emplace(&objects[i]);
    for (const int& object : objects) EXPECT_TRUE(HazardMark::IsInUse(&object));
    for (std::size_t i = objects.size(); i-- != 0;) {
      marks[i].reset();
      EXPECT_FALSE(HazardMark::IsInUse(&objects[i]));
      EXPECT_EQ(HazardMark::IsInUse(&objects[0]), i != 0);
    }
  }
}

TEST(HazardMarkTest, MarksOfOtherThreadsCount) {
  const int object = 0;
  std::optional<HazardMark> mark(&object);
  std::thread([&] { EXPECT_TRUE(HazardMark::IsInUse(&object)); }).join();
  mark.reset();
  std::thread([&] { EXPECT_FALSE(HazardMark::IsInUse(&object)); }).join();
}

// One thread replaces an object as fast as it can while others read it. An object that is not in
// use is cleared, and used again: a reader that meets a cleared one has not been waited for.
TEST(HazardMarkTest, WhatIsReadUnderAMarkIsNotFreed) {
  constexpr int kRounds = 20'000;
  constexpr int kReaders = 2;
  using Object = std::atomic<int>;
  std::deque<Object> objects;
  std::vector<Object*> free;
  const auto take = [&] {
    if (free.empty()) free.push_back(&objects.emplace_back());
    Object* const object = free.back();
    free.pop_back();
    object->store(42);
    return object;
  };
  std::atomic<Object*> place{take()};
  std::atomic<int> reading{kReaders};
  std::atomic<int> wrong{0};
  std::vector<std::thread> readers;
  for (int i = 0; i < kReaders; ++i) {
    readers.emplace_back([&] {
      for (int round = 0; round < kRounds; ++round) {
        if (round % 16 == 0) std::this_thread::yield();
        const HazardMark mark(&place);
        const Object* const object = place.load();
        for (int j = 0; j < 4; ++j) wrong += *object != 42 ? 1 : 0;
      }
      --reading;
    });
  }
  std::vector<Object*> retired;
  while (reading != 0) {
    retired.push_back(place.exchange(take()));
    if (HazardMark::IsInUse(&place)) continue;
    for (Object* const object : retired) {
      object->store(0);
      free.push_back(object);
    }
    retired.clear();
  }
  for (std::thread& reader : readers) reader.join();
  EXPECT_EQ(wrong, 0);
}

}  // namespace
}  // namespace yox
