#include "yox/notifications/Subscriber.h"

#include <condition_variable>
#include <mutex>
#include <utility>

#include "yox/clientbase/Pause.h"
#include "yox/clientbase/platform/WaitUntil.h"

namespace YOX::notifications {
namespace {

constexpr int kSpins = 400;

thread_local const Subscriber* t_current = nullptr;

// Where threads sleep until a delivery ends. One for all, and never destroyed: a delivery that has
// ended touches nothing of its own any more.
struct Ends {
  std::mutex mutex;
  std::condition_variable ended;
};

Ends& AllEnds() {
  static auto* const ends = new Ends;
  return *ends;
}

}  // namespace

bool Subscriber::IsCurrent() const { return t_current == this; }

bool Subscriber::WaitEnded(std::int64_t milliseconds) {
  // A delivery takes some microseconds as a rule: no longer than going to sleep and waking.
  for (int i = 0; i < kSpins; ++i) {
    if (Ended()) return true;
    Pause();
  }
  State running = State::kRunning;
  state_.compare_exchange_strong(running, State::kAwaited);
  if (running == State::kEnded) return true;
  Ends& ends = AllEnds();
  std::unique_lock lock(ends.mutex);
  return platform::WaitUntil(lock, ends.ended, milliseconds, [this] { return Ended(); });
}

void Subscriber::Prepare(std::shared_ptr<Subscriber> self, QueuedNotification* source) {
  failure_ = nullptr;
  self_ = std::move(self);
  source_ = source;
  delivered = true;
  state_.store(State::kRunning, std::memory_order_relaxed);
}

void Subscriber::Run() noexcept {
  const std::shared_ptr<Subscriber> self = std::move(self_);
  QueuedNotification* const source = source_;
  const Subscriber* const outer = std::exchange(t_current, this);
  try {
    YOXNotificationData& record = *copy;
    record = source->record;
    callback_(record);
  } catch (...) {
    failure_ = std::current_exception();
  }
  t_current = outer;
  QueuedNotification::Drop(source);
  if (state_.exchange(State::kEnded) == State::kAwaited) {
    Ends& ends = AllEnds();
    { const std::lock_guard lock(ends.mutex); }
    ends.ended.notify_all();
  }
}

}  // namespace YOX::notifications
