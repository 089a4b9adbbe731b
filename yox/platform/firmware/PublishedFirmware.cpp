#include "yox/platform/firmware/PublishedFirmware.h"

#include <algorithm>
#include <utility>

namespace yox::platform {

const FirmwareFacts* PublishedFirmware::Facts() {
  // Double-checked: `read_` is stored after `facts_`.
  if (!read_.load(std::memory_order_acquire)) {
    const MutexLock lock(mutex_);
    if (!read_.load(std::memory_order_relaxed)) Publish(Read());
  }
  return facts_.load(std::memory_order_acquire);
}

void PublishedFirmware::Reread() {
  std::optional<FirmwareFacts> facts = Read();
  const MutexLock lock(mutex_);
  Publish(std::move(facts));
}

void PublishedFirmware::Publish(std::optional<FirmwareFacts> facts) {
  const FirmwareFacts* published = nullptr;
  if (facts) {
    auto known = std::ranges::find_if(kept_, [&](const auto& kept) { return *kept == *facts; });
    if (known == kept_.end()) {
      kept_.push_back(std::make_unique<const FirmwareFacts>(*std::move(facts)));
      known = kept_.end() - 1;
    }
    published = known->get();
  }
  facts_.store(published, std::memory_order_release);
  read_.store(true, std::memory_order_release);
}

}  // namespace yox::platform
