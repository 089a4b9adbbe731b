#include "yox/applicability/BucketCache.h"

#include "yox/decision/Dates.h"

namespace yox::applicability {

int BucketCache::BucketOf(WStringView text) {
  Shard& shard = shards_[Hash()(text) % shards_.size()];
  {
    const MutexLock lock(shard.mutex);
    if (const auto known = shard.buckets.find(text); known != shard.buckets.end()) {
      return known->second;
    }
  }
  const int bucket = decision::RolloutBucket(decision::SaltedHashOf(text));
  const MutexLock lock(shard.mutex);
  if (shard.buckets.size() >= kMostInShard) shard.buckets.clear();
  shard.buckets.emplace(text, bucket);
  return bucket;
}

}  // namespace yox::applicability
