#include "yox/platform/clock/Alarms.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace yox::platform {
namespace {

// The alarm whose ring this thread is inside of.
constinit thread_local const void* t_ringing = nullptr;

}  // namespace

class YOX_LOCAL Alarms::Armed final : public Clock::Alarm {
 public:
  Armed(Alarms& alarms, std::shared_ptr<Entry> entry) : alarms_(alarms), entry_(std::move(entry)) {}

  ~Armed() override {
    MutexLock lock(alarms_.mutex_);
    std::erase_if(alarms_.waiting_, [&](const auto& waiting) { return waiting.second == entry_; });
    // A ring that destroys its own alarm does not wait for itself.
    if (t_ringing == entry_.get()) return;
    while (entry_->ringing) alarms_.changed_.Wait(lock);
  }

 private:
  Alarms& alarms_;
  std::shared_ptr<Entry> entry_;
};

std::unique_ptr<Clock::Alarm> Alarms::Set(std::int64_t moment, std::function<void()> ring) {
  auto entry = std::make_shared<Entry>(Entry{std::move(ring)});
  {
    const MutexLock lock(mutex_);
    if (moment > reached_) {
      waiting_.emplace(moment, entry);
      changed_.NotifyAll();
      return std::make_unique<Armed>(*this, std::move(entry));
    }
  }
  entry->ring();
  return std::make_unique<Armed>(*this, std::move(entry));
}

void Alarms::Reach(std::int64_t moment) {
  MutexLock lock(mutex_);
  reached_ = std::max(reached_, moment);
  while (!waiting_.empty() && waiting_.begin()->first <= reached_) {
    const std::shared_ptr<Entry> entry = std::move(waiting_.begin()->second);
    waiting_.erase(waiting_.begin());
    entry->ringing = true;
    lock.Unlock();  // a ring may set and destroy alarms
    const void* const outer = std::exchange(t_ringing, entry.get());
    entry->ring();
    t_ringing = outer;
    lock.Lock();
    entry->ringing = false;
    changed_.NotifyAll();
  }
}

std::optional<std::int64_t> Alarms::AwaitNext(std::int64_t real_milliseconds) {
  const auto deadline =
      std::chrono::steady_clock::now() + std::chrono::milliseconds(real_milliseconds);
  MutexLock lock(mutex_);
  while (waiting_.empty()) {
    if (!changed_.WaitUntil(lock, deadline) && waiting_.empty()) return std::nullopt;
  }
  return waiting_.begin()->first;
}

}  // namespace yox::platform
