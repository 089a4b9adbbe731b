#include "yox/platform/clock/Alarms.h"

#include <algorithm>
#include <chrono>
#include <thread>
#include <utility>

namespace yox::platform {
namespace {

thread_local const void* t_ringing = nullptr;

}  // namespace

class Alarms::Armed final : public Clock::Alarm {
 public:
  Armed(Alarms& alarms, std::shared_ptr<Entry> entry) : alarms_(alarms), entry_(std::move(entry)) {}

  ~Armed() override {
    std::unique_lock lock(alarms_.mutex_);
    const auto found = std::ranges::find(alarms_.waiting_, entry_,
                                         [](const auto& waiting) { return waiting.second; });
    if (found != alarms_.waiting_.end()) alarms_.waiting_.erase(found);
    // An alarm may be destroyed by its own ring.
    if (t_ringing == entry_.get()) return;
    alarms_.changed_.wait(lock, [this] { return !entry_->ringing; });
  }

 private:
  Alarms& alarms_;
  std::shared_ptr<Entry> entry_;
};

std::unique_ptr<Clock::Alarm> Alarms::Set(std::int64_t moment, std::function<void()> ring) {
  auto entry = std::make_shared<Entry>(Entry{std::move(ring)});
  {
    const std::lock_guard lock(mutex_);
    if (moment > reached_) {
      waiting_.emplace(moment, entry);
      changed_.notify_all();
      return std::make_unique<Armed>(*this, std::move(entry));
    }
  }
  entry->ring();
  return std::make_unique<Armed>(*this, std::move(entry));
}

void Alarms::Reach(std::int64_t moment) {
  std::unique_lock lock(mutex_);
  reached_ = std::max(reached_, moment);
  while (!waiting_.empty() && waiting_.begin()->first <= reached_) {
    const std::shared_ptr<Entry> entry = std::move(waiting_.begin()->second);
    waiting_.erase(waiting_.begin());
    entry->ringing = true;
    lock.unlock();
    const void* const outer = std::exchange(t_ringing, entry.get());
    entry->ring();
    t_ringing = outer;
    lock.lock();
    entry->ringing = false;
    changed_.notify_all();
  }
}

std::optional<std::int64_t> Alarms::AwaitNext(std::int64_t real_milliseconds) {
  std::unique_lock lock(mutex_);
  if (!changed_.wait_for(lock, std::chrono::milliseconds(real_milliseconds),
                         [this] { return !waiting_.empty(); })) {
    return std::nullopt;
  }
  return waiting_.begin()->first;
}

}  // namespace yox::platform
