#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <vector>

#include "yox/base/ThreadSafety.h"
#include "yox/base/WString.h"
#include "yox/notifications/YOXNotificationData.h"
#include "yox/platform/waits/Event.h"

#include "host/yoxd/Part.h"

namespace yoxd {

// The service's place on the process's bus (YOXPublisherSubscriber): publishes what the channel
// received, and collects what other components publish. The bus drops what it has no room for, so
// only some of the received records are on it at once; and what is collected is bounded too.
class BusLink {
 public:
  // The bus keeps 1024 records, those of other components among them.
  static constexpr std::size_t kMostPublished = 256;
  static constexpr std::size_t kMostCollected = 4'096;
  // A delivery that the bus gave up does not hold up what follows.
  static constexpr auto kPatience = std::chrono::seconds(15);

  // `received` gets each record that was published here, on the bus's threads. `changed` is set
  // when there is something to take.
  BusLink(yox::platform::Event& changed,
          std::function<void(const YOXNotificationData& record)> received);
  ~BusLink();
  BusLink(const BusLink&) = delete;
  BusLink& operator=(const BusLink&) = delete;

  bool has_room() const { return published_.size() < kMostPublished; }
  // Publishes a record, which is known here by its number.
  void Publish(YOXNotificationData record, std::uint64_t number);
  // The numbers of the records that the bus has delivered, or given up, since the last call.
  std::vector<std::uint64_t> TakeDelivered(Moment now);
  // When TakeDelivered gives up what is on the bus; std::nullopt: there is nothing on it.
  std::optional<Moment> Due() const;
  // How many records were delivered.
  std::uint64_t delivered() const { return delivered_; }

  // What other components have published since the last call.
  std::deque<YOXNotificationData> TakeCollected();
  // How many records there was no room for.
  std::uint64_t dropped() const;

 private:
  void Collect(const YOXNotificationData& record);

  yox::platform::Event& changed_;
  yox::WString collector_;
  yox::WString receiver_;
  std::deque<std::uint64_t> published_;      // the numbers of what is on the bus, in order
  Moment progress_{};                        // when the bus last delivered one of them
  std::atomic<std::uint64_t> delivered_{0};  // counted on the bus's threads
  std::uint64_t taken_ = 0;                  // so many of them

  mutable yox::Mutex mutex_;
  std::deque<YOXNotificationData> collected_ YOX_GUARDED_BY(mutex_);
  std::uint64_t dropped_ YOX_GUARDED_BY(mutex_) = 0;
};

}  // namespace yoxd
