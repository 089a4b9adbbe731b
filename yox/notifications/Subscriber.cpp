#include "yox/notifications/Subscriber.h"

#include <chrono>

#include "yox/base/Pause.h"
#include "yox/base/SchedulePoint.h"
#include "yox/base/ThreadSafety.h"
#include "yox/platform/waits/WaitUntil.h"

namespace yox::notifications {
namespace {

constexpr int kSpins = 400;

// What it costs to wake a thread, and somewhat more.
constexpr std::chrono::microseconds kShort{20};

constinit thread_local const Subscriber* t_current = nullptr;

// Makes a subscriber the thread's current one for a block.
class Current {
 public:
  explicit Current(const Subscriber* subscriber) : outer_(std::exchange(t_current, subscriber)) {}
  ~Current() { t_current = outer_; }
  Current(const Current&) = delete;
  Current& operator=(const Current&) = delete;

 private:
  const Subscriber* const outer_;
};

// Where threads sleep until a delivery ends. One for all subscribers, and never destroyed: a
// delivery that has ended no longer touches its subscriber.
struct Ends {
  Mutex mutex;
  ConditionVariable ended;
};

Ends& AllEnds() {
  static auto* const ends = new Ends;
  return *ends;
}

}  // namespace

bool Subscriber::IsCurrent() const { return t_current == this; }
bool Subscriber::IsAnyCurrent() { return t_current != nullptr; }

Subscriber::Callback Subscriber::Leave() {
  if ((state_.fetch_and(~kJoined) & kCalls) != 0) return {};
  return std::exchange(callback_, nullptr);
}

bool Subscriber::WaitEnded(std::int64_t milliseconds) {
  // A delivery takes some microseconds as a rule: no longer than going to sleep and waking.
  SpinUntil(kSpins, [this] { return !IsRunning(); });
  unsigned state = state_.load();
  do {
    if ((state & kDelivery) == 0) return true;
  } while (!state_.compare_exchange_weak(state, state | kAwaited));
  Ends& ends = AllEnds();
  MutexLock lock(ends.mutex);
  return platform::WaitUntil(lock, ends.ended, milliseconds, [this] { return !IsRunning(); });
}

Subscriber::Begun Subscriber::TryBegin() {
  unsigned state = kJoined;
  if (!state_.compare_exchange_strong(state, kJoined | kDelivery)) {
    return (state & kJoined) != 0 ? Begun::kBusy : Begun::kLeft;
  }
  YOX_SCHEDULE_POINT();
  failure_ = nullptr;
  return Begun::kYes;
}

void Subscriber::Call() noexcept {
  const Current current(this);
  try {
    callback_(*copy);
  } catch (...) {
    failure_ = std::current_exception();
  }
  // The bus would keep the record, however large, until the next one.
  *copy = YOXNotificationData();
  End(kDelivery);
}

void Subscriber::CallFirst(YOXNotificationData& record) {
  const Current current(this);
  try {
    callback_(record);
  } catch (...) {
    End(kFirstCall);
    throw;
  }
  End(kFirstCall);
}

void Subscriber::Start(std::shared_ptr<Subscriber> self) {
  self_ = std::move(self);
  YOX_SCHEDULE_POINT();
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
  short_.store(std::chrono::steady_clock::now() - begin < kShort, std::memory_order_relaxed);
}

// Compare and swap, because the subscriber may leave at any moment: either Leave finds the call and
// this destroys the callback, or this ends the call and Leave takes the callback.
void Subscriber::End(unsigned call) {
  const unsigned ended = call == kDelivery ? kDelivery | kAwaited : call;
  unsigned state = state_.load();
  YOX_SCHEDULE_POINT();
  do {
    if ((state & (kJoined | kCalls)) == call) callback_ = nullptr;
  } while (!state_.compare_exchange_weak(state, state & ~ended));
  if ((state & ended & kAwaited) == 0) return;
  Ends& ends = AllEnds();
  { const MutexLock lock(ends.mutex); }
  ends.ended.NotifyAll();
}

}  // namespace yox::notifications
