#pragma once

#include <array>
#include <atomic>
#include <cstddef>

#include "yox/base/WString.h"

namespace yox::applicability {

// Caches the roll-out buckets of serial numbers and realms, because computing one takes a SHA-256.
// A lock-free hash table of fixed size, safe from any thread: an entry never changes and lives as
// long as the cache. A text that finds no free slot is computed each time.
class BucketCache {
 public:
  BucketCache() = default;
  ~BucketCache();
  BucketCache(const BucketCache&) = delete;
  BucketCache& operator=(const BucketCache&) = delete;

  // Returns the bucket of a serial number or realm, 0 to 4095. Throws std::bad_alloc.
  int BucketOf(WStringView text);

 private:
  struct Entry {
    const WString text;
    const int bucket;
  };
  static constexpr std::size_t kSlots = 4096;
  static constexpr std::size_t kTries = 8;

  // A hash table with linear probing, which may go past the last place; a slot is set once.
  std::array<std::atomic<const Entry*>, kSlots + kTries> slots_{};
};

}  // namespace yox::applicability
