#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "yox/base/CopyOnWrite.h"

namespace {

using Text = yox::CopyOnWrite<std::string>;

Text Of(const std::string& value) {
  Text text;
  text.Mutable() = value;
  return text;
}

TEST(CopyOnWriteTest, CopiesShareOneObjectUntilOneIsChanged) {
  Text text = Of("a");
  Text copy(text);
  Text assigned;
  assigned = text;
  EXPECT_EQ(&*copy, &*text);
  EXPECT_EQ(&*assigned, &*text);
  copy.Mutable() = "b";
  EXPECT_EQ(*copy, "b");
  EXPECT_EQ(*text, "a");
  EXPECT_EQ(*assigned, "a");
}

TEST(CopyOnWriteTest, TheOnlyOwnerIsChangedInPlace) {
  Text text = Of("a");
  const std::string* const object = &*text;
  text.Mutable() += "b";
  EXPECT_EQ(&*text, object);
  { const Text copy(text); }
  text.Mutable() += "c";
  EXPECT_EQ(&*text, object) << "the copy has gone";
  EXPECT_EQ(*text, "abc");
}

TEST(CopyOnWriteTest, ANewAndAMovedFromValueAreTheDefault) {
  Text text;
  EXPECT_EQ(*text, "");
  text = Of("a");
  const Text moved(std::move(text));
  EXPECT_EQ(*moved, "a");
  EXPECT_EQ(*text, "");  // NOLINT(bugprone-use-after-move): promised
  text.Mutable() = "b";
  EXPECT_EQ(*moved, "a");
}

TEST(CopyOnWriteTest, AssigningAValueToItselfKeepsIt) {
  Text text = Of("a");
  const Text& same = text;
  text = same;
  EXPECT_EQ(*text, "a");
}

// Under ThreadSanitizer this is what the memory orders are for.
TEST(CopyOnWriteTest, CopiesOfOneObjectAreReadAndChangedOnManyThreads) {
  for (int round = 0; round < 200; ++round) {
    Text text = Of("a");
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) {
      threads.emplace_back([copy = text]() mutable {
        EXPECT_EQ(*copy, "a");
        copy.Mutable() += "b";
        EXPECT_EQ(*copy, "ab");
      });
    }
    text.Mutable() += "c";
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(*text, "ac");
  }
}

}  // namespace
