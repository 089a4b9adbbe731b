#include "host/yoxd/BusLink.h"

#include <utility>

#include "yox/notifications/YOXPublisherSubscriber.h"

namespace yoxd {
namespace {

// Marks the records that were published here.
constexpr NotificationProvider kFromHere{1};

YOXPublisherSubscriber& Bus() { return *YOXPublisherSubscriber::GetInstance(); }

}  // namespace

BusLink::BusLink(yox::platform::Event& changed,
                 std::function<void(const YOXNotificationData& record)> received)
    : changed_(changed) {
  collector_ = Bus().Subscribe([this](YOXNotificationData& record) { Collect(record); }, false);
  receiver_ = Bus().Subscribe(
      [this, received = std::move(received)](YOXNotificationData& record) {
        if (record.getNotificationProvider() != kFromHere) return;
        received(record);
        ++delivered_;
        changed_.Set();
      },
      false);
}

BusLink::~BusLink() {
  Bus().Unsubscribe(collector_);
  Bus().Unsubscribe(receiver_);
}

void BusLink::Publish(YOXNotificationData record, std::uint64_t number) {
  if (published_.empty()) progress_ = SteadyClock::now();
  published_.push_back(number);
  record.setNotificationProvider(kFromHere);
  // Not to the collector: it would be sent back to where it came from.
  Bus().Notify(record, collector_);
}

std::vector<std::uint64_t> BusLink::TakeDelivered(Moment now) {
  std::vector<std::uint64_t> numbers;
  for (const std::uint64_t delivered = delivered_; taken_ < delivered; ++taken_) {
    progress_ = now;
    if (published_.empty()) continue;  // of a delivery that was given up
    numbers.push_back(published_.front());
    published_.pop_front();
  }
  if (!published_.empty() && now - progress_ >= kPatience) {
    numbers.insert(numbers.end(), published_.begin(), published_.end());
    published_.clear();
  }
  return numbers;
}

std::optional<Moment> BusLink::Due() const {
  if (published_.empty()) return std::nullopt;
  return progress_ + kPatience;
}

void BusLink::Collect(const YOXNotificationData& record) {
  {
    const yox::MutexLock lock(mutex_);
    if (collected_.size() >= kMostCollected) {
      ++dropped_;
      return;
    }
    collected_.push_back(record);
  }
  changed_.Set();
}

std::deque<YOXNotificationData> BusLink::TakeCollected() {
  std::deque<YOXNotificationData> records;
  const yox::MutexLock lock(mutex_);
  records.swap(collected_);
  return records;
}

std::uint64_t BusLink::dropped() const {
  const yox::MutexLock lock(mutex_);
  return dropped_;
}

}  // namespace yoxd
