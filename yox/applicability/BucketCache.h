#pragma once

#include <array>
#include <atomic>
#include <cstddef>

#include "yox/base/WString.h"

namespace yox::applicability {

// Remembers the roll-out buckets of serial numbers and realms, each of which costs a SHA-256. Safe
// from any thread, without a lock: an entry never changes, and lives as long as the cache. What
// finds no place is computed each time.
class BucketCache {
 public:
  BucketCache() = default;
  ~BucketCache();
  BucketCache(const BucketCache&) = delete;
  BucketCache& operator=(const BucketCache&) = delete;

  // Throws std::bad_alloc.
  int BucketOf(WStringView text);

 private:
  struct Entry {
    const WString text;
    const int bucket;
  };
  static constexpr std::size_t kSlots = 4096;
  static constexpr std::size_t kTries = 8;

  // A hash table with linear probing; a slot is set once.
  std::array<std::atomic<const Entry*>, kSlots> slots_{};
};

}  // namespace yox::applicability
