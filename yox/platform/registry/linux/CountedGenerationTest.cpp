#include <gtest/gtest.h>

#include <cstdint>

#include "yox/platform/registry/linux/CountedGeneration.h"

namespace yox_test {
namespace {

using yox::platform::CountedGeneration;

constexpr auto kNoChange = [] {};

// What comes in between is called by the functions that a thread passes, as if another thread had
// done it at that moment.
TEST(CountedGenerationTest, IsThatOfTheSameCountAndConnection) {
  CountedGeneration generation;
  EXPECT_EQ(generation.Get(0, [] { return 0U; }), 0U);
  generation.Set(1, 20, 300, kNoChange);
  EXPECT_EQ(generation.Get(20, [] { return 300U; }), 1U);
  EXPECT_EQ(generation.Get(20, [] { return 301U; }), 0U);
  EXPECT_EQ(generation.Get(20, [] { return 299U; }), 0U);
  EXPECT_EQ(generation.Get(21, [] { return 300U; }), 0U);
  EXPECT_EQ(generation.Get(19, [] { return 300U; }), 0U);
}

TEST(CountedGenerationTest, IsNotTheFormerOneForTheNextCount) {
  CountedGeneration generation;
  generation.Set(1, 20, 300, kNoChange);
  const std::uint64_t found = generation.Get(20, [&] {
    generation.Set(2, 20, 301, kNoChange);
    return 301U;
  });
  EXPECT_EQ(found, 0U);
  EXPECT_EQ(generation.Get(20, [] { return 301U; }), 2U);
}

TEST(CountedGenerationTest, IsUnknownWhileTheNextOneIsSet) {
  CountedGeneration generation;
  generation.Set(1, 20, 300, kNoChange);
  generation.Set(2, 20, 300, [&] { EXPECT_EQ(generation.Get(20, [] { return 300U; }), 0U); });
  EXPECT_EQ(generation.Get(20, [] { return 300U; }), 2U);
}

}  // namespace
}  // namespace yox_test
