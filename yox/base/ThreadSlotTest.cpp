#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "yox/base/ThreadSlot.h"

namespace yox {
namespace {

TEST(ThreadSlotTest, EachThreadHasItsOwnPointer) {
  static ThreadSlot slot([](void*) {});
  int mine = 0;
  int theirs = 0;
  EXPECT_EQ(slot.Get(), nullptr);
  slot.Set(&mine);
  std::thread([&] {
    EXPECT_EQ(slot.Get(), nullptr);
    slot.Set(&theirs);
    EXPECT_EQ(slot.Get(), &theirs);
  }).join();
  EXPECT_EQ(slot.Get(), &mine);
  slot.Set(nullptr);
}

TEST(ThreadSlotTest, APointerIsDestroyedWhenItsThreadEnds) {
  static std::atomic<int> destroyed{0};
  static ThreadSlot slot([](void* pointer) { destroyed += *static_cast<int*>(pointer); });
  destroyed = 0;
  int three = 3;
  int four = 4;
  std::thread([&] {
    slot.Set(&three);
    slot.Set(&four);
    EXPECT_EQ(destroyed, 0);
  }).join();
  EXPECT_EQ(destroyed, 4);
  std::thread([] { slot.Set(nullptr); }).join();
  EXPECT_EQ(destroyed, 4);
}

TEST(ThreadSlotTest, TheEndOfASlotDestroysTheOwnPointer) {
  static int destroyed = 0;
  destroyed = 0;
  int two = 2;
  {
    ThreadSlot slot([](void* pointer) { destroyed += *static_cast<int*>(pointer); });
    slot.Set(&two);
  }
  EXPECT_EQ(destroyed, 2);
}

// An object with a mark at each of its ends, and what its destructor found there.
struct Marked {
  static inline std::atomic<int> whole{0};
  static inline std::atomic<int> broken{0};

  ~Marked() { (first == "whole" && last == "whole" ? whole : broken) += 1; }

  std::string first = "whole";
  std::array<char, 4096> between{};
  std::string last = "whole";
};

// Memory of the size of what thread-local storage was would overwrite it, had it been freed.
TEST(ThreadSlotTest, AnObjectIsWholeWhenItIsDestroyed) {
  Marked::whole = 0;
  Marked::broken = 0;
  constexpr int kThreads = 50;
  for (int i = 0; i < kThreads; ++i) {
    std::thread([] {
      EXPECT_EQ(&ThreadOwned<Marked>(), &ThreadOwned<Marked>());
      ThreadOwned<std::vector<int>>().assign(1000, 1);
    }).join();
  }
  EXPECT_EQ(Marked::whole, kThreads);
  EXPECT_EQ(Marked::broken, 0);
}

}  // namespace
}  // namespace yox
