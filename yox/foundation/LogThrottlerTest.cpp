#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "yox/foundation/LogThrottler.h"

namespace {

using namespace yox::literals;

TEST(LogThrottlerTest, AMessageIsWrittenOnce) {
  LogThrottler throttler;
  EXPECT_TRUE(throttler.ShouldLogStatic("key"_w, "message"_w));
  EXPECT_FALSE(throttler.ShouldLogStatic("key"_w, "message"_w));
}

TEST(LogThrottlerTest, OnlyTheLastMessageIsRemembered) {
  LogThrottler throttler;
  EXPECT_TRUE(throttler.ShouldLogStatic("key"_w, "A"_w));
  EXPECT_TRUE(throttler.ShouldLogStatic("key"_w, "B"_w));
  EXPECT_TRUE(throttler.ShouldLogStatic("key"_w, "A"_w));
}

TEST(LogThrottlerTest, AnEmptyMessageOnANewKeyIsSuppressedButMakesAnEntry) {
  LogThrottler throttler;
  EXPECT_FALSE(throttler.ShouldLogStatic("key"_w, ""_w));
  EXPECT_EQ(throttler.GetCacheSize(), 1U);
}

TEST(LogThrottlerTest, EmptyRequiredAndActualOnANewKeyAreSuppressed) {
  LogThrottler throttler;
  EXPECT_FALSE(throttler.ShouldLogDynamic("key"_w, ""_w, ""_w, "message"_w));
  EXPECT_EQ(throttler.GetCacheSize(), 1U);
}

TEST(LogThrottlerTest, AlternatingActualsAreWrittenEachTime) {
  LogThrottler throttler;
  for (int i = 0; i < 3; ++i) {
    EXPECT_TRUE(throttler.ShouldLogDynamic("key"_w, "US"_w, "DE"_w, "m"_w));
    EXPECT_TRUE(throttler.ShouldLogDynamic("key"_w, "US"_w, "FR"_w, "m"_w));
  }
  EXPECT_EQ(throttler.GetCacheSize(), 1U);
}

TEST(LogThrottlerTest, AChangeOfTheMessageAloneIsNotWritten) {
  LogThrottler throttler;
  EXPECT_TRUE(throttler.ShouldLogDynamic("key"_w, "US"_w, "DE"_w, "one"_w));
  EXPECT_FALSE(throttler.ShouldLogDynamic("key"_w, "US"_w, "DE"_w, "two"_w));
}

TEST(LogThrottlerTest, EachRequiredHasAnEntryOfItsOwn) {
  LogThrottler throttler;
  EXPECT_TRUE(throttler.ShouldLogDynamic("key"_w, "US"_w, "DE"_w, "m"_w));
  EXPECT_TRUE(throttler.ShouldLogDynamic("key"_w, "FR"_w, "DE"_w, "m"_w));
  EXPECT_FALSE(throttler.ShouldLogDynamic("key"_w, "US"_w, "DE"_w, "m"_w));
  const LogThrottler& constant = throttler;
  EXPECT_EQ(constant.GetCacheSize(), 2U);
}

TEST(LogThrottlerTest, ClearCacheForgetsEverything) {
  LogThrottler throttler;
  EXPECT_TRUE(throttler.ShouldLogStatic("key"_w, "message"_w));
  EXPECT_TRUE(throttler.ShouldLogDynamic("key"_w, "a"_w, "b"_w, "m"_w));
  throttler.ClearCache();
  EXPECT_EQ(throttler.GetCacheSize(), 0U);
  EXPECT_TRUE(throttler.ShouldLogStatic("key"_w, "message"_w));
}

TEST(LogThrottlerTest, AnUnderscoreMaySplitTheSameTextTwice) {
  LogThrottler throttler;
  EXPECT_TRUE(throttler.ShouldLogDynamic("a_b"_w, "c"_w, "x"_w, "m"_w));
  EXPECT_TRUE(throttler.ShouldLogDynamic("a"_w, "b_c"_w, "x"_w, "m"_w));
  EXPECT_EQ(throttler.GetCacheSize(), 1U);
}

TEST(LogThrottlerTest, AStaticKeySharesTheEntryOfTheSameDynamicName) {
  LogThrottler throttler;
  EXPECT_TRUE(throttler.ShouldLogDynamic("key"_w, "US"_w, "DE"_w, "m"_w));
  EXPECT_FALSE(throttler.ShouldLogStatic("key_US"_w, "m"_w));
  EXPECT_TRUE(throttler.ShouldLogStatic("key_US"_w, "n"_w));
  EXPECT_FALSE(throttler.ShouldLogDynamic("key"_w, "US"_w, "DE"_w, "o"_w));
  EXPECT_EQ(throttler.GetCacheSize(), 1U);
}

TEST(LogThrottlerTest, OneOfManyThreadsWrites) {
  LogThrottler throttler;
  std::atomic<int> written{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 500; ++i) {
        written += throttler.ShouldLogStatic("key"_w, "message"_w);
        written += throttler.ShouldLogDynamic("key"_w, "a"_w, "b"_w, "m"_w);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(written, 2);
}

TEST(LogThrottlerTest, TheGenerationStaysWhileAnswersDo) {
  LogThrottler throttler;
  const auto changes = [](auto&& call) {
    const std::uint64_t before = LogThrottler::Generation();
    call();
    return LogThrottler::Generation() != before;
  };
  EXPECT_TRUE(changes([&] { throttler.ShouldLogStatic("key"_w, "a"_w); }));
  EXPECT_FALSE(changes([&] { throttler.ShouldLogStatic("key"_w, "a"_w); }));
  EXPECT_TRUE(changes([&] { throttler.ShouldLogDynamic("key"_w, "a"_w, "b"_w, "m"_w); }));
  EXPECT_FALSE(changes([&] { throttler.ShouldLogDynamic("key"_w, "a"_w, "b"_w, "n"_w); }));
  EXPECT_TRUE(changes([&] { throttler.ClearCache(); }));
  EXPECT_TRUE(changes([&] { const LogThrottler another; }));
}

}  // namespace
