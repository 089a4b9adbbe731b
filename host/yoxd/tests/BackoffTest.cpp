#include <gtest/gtest.h>

#include <algorithm>

#include "host/yoxd/Backoff.h"

namespace yoxd {
namespace {

using std::chrono::milliseconds;

struct Range {
  milliseconds least = milliseconds::max();
  milliseconds most{};
};

// The waits after so many failures, of a thousand clients.
Range WaitsAfter(int failures) {
  Range range;
  for (int client = 0; client < 1'000; ++client) {
    Backoff backoff(milliseconds(1'000), milliseconds(60'000));
    for (int i = 0; i < failures; ++i) backoff.Next();
    const milliseconds wait = backoff.Next();
    range.least = std::min(range.least, wait);
    range.most = std::max(range.most, wait);
  }
  return range;
}

// The chance that a thousand even draws leave a tenth of their range free is 2 in 10^46.
void ExpectEvenUpTo(milliseconds limit, const Range& range) {
  EXPECT_LT(range.least, limit / 10);
  EXPECT_GT(range.most, limit * 9 / 10);
  EXPECT_LE(range.most, limit);
}

TEST(BackoffTest, TheRangeDoublesWithEachFailure) {
  ExpectEvenUpTo(milliseconds(1'000), WaitsAfter(0));
  ExpectEvenUpTo(milliseconds(2'000), WaitsAfter(1));
  ExpectEvenUpTo(milliseconds(16'000), WaitsAfter(4));
}

TEST(BackoffTest, TheRangeStaysWithinItsBound) {
  ExpectEvenUpTo(milliseconds(60'000), WaitsAfter(6));
  ExpectEvenUpTo(milliseconds(60'000), WaitsAfter(100));
}

TEST(BackoffTest, ASuccessBringsTheFirstRangeBack) {
  Backoff backoff(milliseconds(10), milliseconds(1'000'000));
  for (int i = 0; i < 30; ++i) backoff.Next();
  EXPECT_EQ(backoff.failures(), 30);
  backoff.Reset();
  EXPECT_EQ(backoff.failures(), 0);
  EXPECT_LE(backoff.Next(), milliseconds(10));
}

}  // namespace
}  // namespace yoxd
