#include "yox/platform/clock/Alarms.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace yox::platform {
namespace {

// The rings that this thread is inside of, the innermost first: a ring may move the clock, so that
// another alarm rings within it.
struct Ringing {
  const void* entry;
  const Ringing* outer;
};
constinit thread_local const Ringing* t_ringing = nullptr;

bool IsInside(const void* entry) {
  for (const Ringing* ringing = t_ringing; ringing != nullptr; ringing = ringing->outer) {
    if (ringing->entry == entry) return true;
  }
  return false;
}

}  // namespace

class YOX_LOCAL Alarms::Armed final : public Clock::Alarm {
 public:
  Armed(Alarms& alarms, std::shared_ptr<Entry> entry) : alarms_(alarms), entry_(std::move(entry)) {}

  ~Armed() override {
    MutexLock lock(alarms_.mutex_);
    std::erase_if(alarms_.waiting_, [&](const auto& waiting) { return waiting.second == entry_; });
    // A ring that destroys its own alarm, or one that rings around it, does not wait for its end.
    if (IsInside(entry_.get())) return;
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
    const Ringing ringing{entry.get(), t_ringing};
    t_ringing = &ringing;
    entry->ring();
    t_ringing = ringing.outer;
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
