#include "yox/notifications/Subscriber.h"

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "yox/base/Pause.h"
#include "yox/platform/waits/WaitUntil.h"

namespace yox::notifications {
namespace {

constexpr int kSpins = 400;

// What it costs to wake a thread, and somewhat more.
constexpr std::chrono::microseconds kBrisk{20};

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
    if (!IsRunning()) return true;
    Pause();
  }
  unsigned state = state_.load();
  do {
    if ((state & kRunning) == 0) return true;
  } while (!state_.compare_exchange_weak(state, state | kAwaited));
  Ends& ends = AllEnds();
  std::unique_lock lock(ends.mutex);
  return platform::WaitUntil(lock, ends.ended, milliseconds, [this] { return !IsRunning(); });
}

Subscriber::Begun Subscriber::TryBegin() {
  unsigned state = kJoined;
  if (!state_.compare_exchange_strong(state, kJoined | kRunning)) {
    return (state & kJoined) != 0 ? Begun::kBusy : Begun::kLeft;
  }
  failure_ = nullptr;
  return Begun::kYes;
}

void Subscriber::Call() noexcept {
  const Subscriber*& current = t_current;
  const Subscriber* const outer = std::exchange(current, this);
  try {
    callback_(*copy);
  } catch (...) {
    failure_ = std::current_exception();
  }
  current = outer;
  End();
}

void Subscriber::Start(std::shared_ptr<Subscriber> self) {
  self_ = std::move(self);
  try {
    TaskPool::Process().Start(*this);
  } catch (...) {
    self_ = nullptr;
    throw;
  }
}

void Subscriber::Run() noexcept {
  const std::shared_ptr<Subscriber> self = std::move(self_);
  const auto begin = std::chrono::steady_clock::now();
  Call();
  brisk_.store(std::chrono::steady_clock::now() - begin < kBrisk, std::memory_order_relaxed);
}

void Subscriber::End() {
  if ((state_.fetch_and(~(kRunning | kAwaited)) & kAwaited) == 0) return;
  Ends& ends = AllEnds();
  { const std::lock_guard lock(ends.mutex); }
  ends.ended.notify_all();
}

}  // namespace yox::notifications
