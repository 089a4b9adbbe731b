#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>

#include "yox/base/Export.h"
#include "yox/base/ThreadSafety.h"
#include "yox/platform/clock/Clock.h"

namespace yox::platform {

// The alarms of a clock that is moved by hand. Every operation may be called from any thread. Must
// outlive its alarms.
class YOX_API Alarms {
 public:
  // The same as Clock::RingAt.
  std::unique_ptr<Clock::Alarm> Set(std::int64_t moment, std::function<void()> ring);

  // Says that the clock has reached `moment`: rings on this thread what is due, the earliest first.
  void Reach(std::int64_t moment);

  // For tests. Waits, in real time, until an alarm is set that has not rung, which means that a
  // thread is waiting for the clock. Returns the moment of the earliest one, or std::nullopt if
  // none was set within the limit.
  std::optional<std::int64_t> AwaitNext(std::int64_t real_milliseconds);

 private:
  class Armed;
  struct Entry {
    const std::function<void()> ring;
    bool ringing = false;  // guarded by mutex_
  };

  yox::Mutex mutex_;
  ConditionVariable changed_;  // an alarm was set, or has rung
  std::int64_t reached_ YOX_GUARDED_BY(mutex_) = INT64_MIN;
  std::multimap<std::int64_t, std::shared_ptr<Entry>> waiting_ YOX_GUARDED_BY(mutex_);
};

}  // namespace yox::platform
