#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "yox/base/Log.h"
#include "yox/base/ThreadSafety.h"

namespace yox_test {

// Takes every line of every log for its lifetime, as CapturedLog writes them, and lets a test wait
// for one: what a thread has said it has reached.
class AwaitedLog {
 public:
  AwaitedLog() {
    YOX::Log::SetSink(
        [taken = taken_](std::string_view log, YOX::LogLevel level, std::string_view line) {
          yox::MutexLock lock(taken->mutex);
          taken->text.append(log).append({' ', "DWE"[static_cast<int>(level)], ' '});
          taken->text.append(line).append("\n");
          taken->came.NotifyAll();
          if (taken->awaited.empty() || line.find(taken->awaited) == line.npos) return;
          taken->awaited.clear();
          const auto act = std::exchange(taken->act, nullptr);
          lock.Unlock();
          act();
        });
  }
  ~AwaitedLog() { YOX::Log::SetSink({}); }
  AwaitedLog(const AwaitedLog&) = delete;
  AwaitedLog& operator=(const AwaitedLog&) = delete;

  // Returns false if no line that was logged so far, or in the time given, contains the text.
  [[nodiscard]] bool Await(std::string_view text, std::int64_t milliseconds = 30'000) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    yox::MutexLock lock(taken_->mutex);
    while (taken_->text.find(text) == std::string::npos) {
      if (!taken_->came.WaitUntil(lock, end)) return taken_->text.find(text) != std::string::npos;
    }
    return true;
  }

  // Calls the function once, on the thread that next logs a line that contains the text, before the
  // thread goes on.
  void OnLine(std::string_view text, std::function<void()> act) {
    const yox::MutexLock lock(taken_->mutex);
    taken_->awaited = text;
    taken_->act = std::move(act);
  }

  std::string Text() const {
    const yox::MutexLock lock(taken_->mutex);
    return taken_->text;
  }
  // How often the text was logged.
  std::size_t Count(std::string_view text) const {
    const yox::MutexLock lock(taken_->mutex);
    std::size_t count = 0;
    for (std::size_t at = taken_->text.find(text); at != std::string::npos;
         at = taken_->text.find(text, at + 1)) {
      ++count;
    }
    return count;
  }
  void Clear() {
    const yox::MutexLock lock(taken_->mutex);
    taken_->text.clear();
  }

 private:
  // Shared with the sink: a line that is under way on another thread may still come to it.
  struct Taken {
    mutable yox::Mutex mutex;
    yox::ConditionVariable came;
    std::string text YOX_GUARDED_BY(mutex);
    std::string awaited YOX_GUARDED_BY(mutex);
    std::function<void()> act YOX_GUARDED_BY(mutex);
  };

  const std::shared_ptr<Taken> taken_ = std::make_shared<Taken>();
};

}  // namespace yox_test
