#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <vector>

#include "yox/base/ThreadSafety.h"
#include "yox/platform/firmware/Firmware.h"

namespace yox::platform {

// What the implementations of Firmware have in common: each says how the tables are read, and this
// publishes what was read to all threads.
class PublishedFirmware : public Firmware {
 public:
  const FirmwareFacts* Facts() final;
  void Reread() final;

 private:
  // Reads the tables; std::nullopt if there are none. Several threads may call it at once.
  virtual std::optional<FirmwareFacts> Read() const = 0;

  void Publish(std::optional<FirmwareFacts> facts) YOX_REQUIRES(mutex_);

  yox::Mutex mutex_;
  // Readers take no lock: they load the pointer, which is stored with release once the facts are
  // complete. What was read before is kept, because a reader may still use it; a firmware changes
  // so rarely that this needs no end.
  std::vector<std::unique_ptr<const FirmwareFacts>> kept_ YOX_GUARDED_BY(mutex_);
  std::atomic<const FirmwareFacts*> facts_{nullptr};
  std::atomic<bool> read_{false};
};

}  // namespace yox::platform
