#include "yox/notifications/LentRole.h"

#include <chrono>
#include <utility>

#include "yox/base/Pause.h"

namespace yox::notifications {
namespace {

// How often the owner looks on.
constexpr std::chrono::milliseconds kLook{1};

// A role that comes back within a few microseconds is not worth a sleep.
constexpr int kSpins = 400;

}  // namespace

LentRole::Return LentRole::Lend() {
  const std::uint64_t lent = word_.load(std::memory_order_relaxed) | kLent;
  self_ = shared_from_this();
  word_.store(lent);
  try {
    TaskPool::Process().Start(*this);
  } catch (...) {
    self_ = nullptr;
    word_.store(lent & ~kPlace);
    return Return::kNeverLent;
  }
  const auto place = [this] { return word_.load(std::memory_order_acquire) & kPlace; };
  for (int i = 0; i < kSpins; ++i) {
    if (place() == kOwned) return Return::kGivenBack;
    Pause();
  }
  std::unique_lock lock(mutex_);
  asleep_ = true;
  Return back = Return::kGivenBack;
  std::uint64_t seen = lent;
  while (!returned_.wait_for(lock, kLook, [&] { return place() == kOwned; })) {
    std::uint64_t word = word_.load();
    const bool begun = seen != lent;
    if (begun && (word & kPlace) == kCalling && (word - seen) / kOneCall < kFewCalls &&
        word_.compare_exchange_strong(word, word & ~kPlace)) {
      back = Return::kTakenBack;
      break;
    }
    seen = word;
  }
  asleep_ = false;
  return back;
}

void LentRole::GiveBack() {
  word_.store(word_.load(std::memory_order_relaxed) & ~kPlace);
  if (!asleep_) return;
  { const std::lock_guard lock(mutex_); }
  returned_.notify_one();
}

void LentRole::Run() noexcept {
  const std::shared_ptr<LentRole> self = std::move(self_);
  borrow_(*this);
}

}  // namespace yox::notifications
