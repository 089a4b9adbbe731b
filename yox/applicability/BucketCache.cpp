#include "yox/applicability/BucketCache.h"

#include <functional>
#include <memory>
#include <span>

#include "yox/base/SchedulePoint.h"
#include "yox/decision/Dates.h"

namespace yox::applicability {

BucketCache::~BucketCache() {
  for (const auto& slot : slots_) delete slot.load(std::memory_order_relaxed);
}

int BucketCache::BucketOf(WStringView text) {
  const std::size_t hash = std::hash<WStringView>()(text);
  std::unique_ptr<const Entry> entry;
  for (std::atomic<const Entry*>& slot : std::span(slots_).subspan(hash % kSlots, kTries)) {
    // Acquire, here and below: what another thread has published is read whole.
    const Entry* there = slot.load(std::memory_order_acquire);
    if (there == nullptr) {
      if (entry == nullptr) {
        entry.reset(
            new Entry{WString(text), decision::RolloutBucket(decision::SaltedHashOf(text))});
      }
      YOX_SCHEDULE_POINT();
      if (slot.compare_exchange_strong(there, entry.get(), std::memory_order_acq_rel)) {
        return entry.release()->bucket;
      }
    }
    if (there->text == text) return there->bucket;
  }
  return entry != nullptr ? entry->bucket : decision::RolloutBucket(decision::SaltedHashOf(text));
}

}  // namespace yox::applicability
