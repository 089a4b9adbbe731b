#include "yox/notifications/NotificationQueue.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "yox/base/Pause.h"

namespace yox::notifications {
namespace {

constexpr int kSpins = 200;

}  // namespace

// The size of the batch when it was filled bounds what is left of it, and reading it costs no cache
// miss: the consumer's own count is read only near the limit.
bool NotificationQueue::HasRoom() const {
  const MutexLock lock(mutex_);
  const std::size_t queued = queue_.size();
  return queued + batch_size_ < kCapacity || queued + LeftInBatch() < kCapacity;
}

bool NotificationQueue::AddTokenLocked() {
  if (closed_) return true;
  const std::size_t tokens = tokens_.load(std::memory_order_relaxed);
  if (tokens + batch_size_ >= kCapacity && tokens + LeftInBatch() >= kCapacity) return false;
  tokens_.store(tokens + 1, std::memory_order_relaxed);
  return true;
}

bool NotificationQueue::Append(QueuedNotification queued) {
  MutexLock lock(mutex_);
  queue_.push_back(std::move(queued));
  const bool added = AddTokenLocked();
  const bool wake = std::exchange(waiting_, false);
  lock.Unlock();
  if (wake) added_.NotifyOne();
  return added;
}

bool NotificationQueue::AddToken() {
  MutexLock lock(mutex_);
  const bool added = AddTokenLocked();
  lock.Unlock();
  added_.NotifyOne();
  return added;
}

void NotificationQueue::Close() {
  {
    const MutexLock lock(mutex_);
    closed_ = true;
  }
  added_.NotifyOne();
}

bool NotificationQueue::AwaitToken(std::optional<std::chrono::milliseconds> limit) {
  if (LeftInBatch() > 0) return true;
  batch_.clear();
  SpinUntil(kSpins, [this] { return tokens_.load(std::memory_order_relaxed) != 0; });
  MutexLock lock(mutex_);
  if (!MayTake() && limit) {
    const auto deadline = std::chrono::steady_clock::now() + *limit;
    do {
      waiting_ = true;
    } while (added_.WaitUntil(lock, deadline) && !MayTake());
  }
  while (!MayTake() && !limit) {
    waiting_ = true;
    added_.Wait(lock);
  }
  if (!MayTake()) return false;
  if (!closed_) FillBatch();
  return true;
}

void NotificationQueue::FillBatch() {
  const std::size_t tokens = tokens_.load(std::memory_order_relaxed);
  const std::size_t count = std::min(tokens, queue_.size());
  if (count == queue_.size()) {
    batch_.swap(queue_);
  } else {  // producers that raced at the limit have queued more than there are tokens
    const auto end = queue_.begin() + static_cast<std::ptrdiff_t>(count);
    batch_.assign(std::move_iterator(queue_.begin()), std::move_iterator(end));
    queue_.erase(queue_.begin(), end);
  }
  // A token without a record is taken by itself.
  tokens_.store(tokens - std::max<std::size_t>(count, 1), std::memory_order_relaxed);
  batch_size_ = count;
  left_in_batch_.store(count, std::memory_order_relaxed);
}

bool NotificationQueue::Take(QueuedNotification& taken) {
  const std::size_t left = LeftInBatch();
  if (left == 0) return false;
  taken = std::move(batch_[batch_.size() - left]);
  left_in_batch_.store(left - 1, std::memory_order_relaxed);
  return true;
}

}  // namespace yox::notifications
