#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <unordered_map>

#include "yox/base/ThreadSafety.h"
#include "yox/base/WString.h"

namespace yox::applicability {

// Remembers the roll-out buckets of serial numbers and realms, each of which costs a SHA-256. Safe
// from any thread; threads that ask for different texts seldom wait for each other.
class BucketCache {
 public:
  // Throws std::bad_alloc.
  int BucketOf(WStringView text);

 private:
  // Finds by a view, without a copy.
  struct Hash : std::hash<WStringView> {
    using is_transparent = void;
  };
  // A cache line of its own for each lock.
  struct alignas(64) Shard {
    Mutex mutex;
    std::unordered_map<WString, int, Hash, std::equal_to<>> buckets YOX_GUARDED_BY(mutex);
  };
  // A process that decides on more devices than that forgets them all now and then.
  static constexpr std::size_t kMostInShard = 1024;

  std::array<Shard, 16> shards_;
};

}  // namespace yox::applicability
