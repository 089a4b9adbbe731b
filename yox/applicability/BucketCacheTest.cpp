#include <gtest/gtest.h>

#include <string>

#include "yox/applicability/BucketCache.h"
#include "yox/base/String.h"
#include "yox/decision/Dates.h"

namespace {

using yox::WString;
using yox::applicability::BucketCache;

// More texts than the cache has places, so that many hashes share one.
TEST(BucketCacheTest, EveryTextHasItsOwnBucketAlsoWhenTheCacheIsFull) {
  BucketCache cache;
  for (int round = 0; round < 2; ++round) {
    for (int i = 0; i < 6'000; ++i) {
      const WString text = YOX::String::UTF8ToUTF16("SN" + std::to_string(i));
      ASSERT_EQ(cache.BucketOf(text),
                yox::decision::RolloutBucket(yox::decision::SaltedHashOf(text)))
          << "text " << i << " in round " << round;
    }
  }
}

}  // namespace
