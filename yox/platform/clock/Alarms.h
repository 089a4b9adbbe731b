#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>

#include "yox/base/Export.h"
#include "yox/platform/clock/Clock.h"

namespace yox::platform {

// The alarms of a clock that is moved by hand. Safe from any thread; outlives its alarms.
class YOX_API Alarms {
 public:
  // As Clock::RingAt.
  std::unique_ptr<Clock::Alarm> Set(std::int64_t moment, std::function<void()> ring);

  // The clock has reached `moment`: rings everything that is due, the earliest first.
  void Reach(std::int64_t moment);

  // Waits, in real time, until an alarm is set that has not rung, and answers the earliest one's
  // moment: somebody is waiting for the clock. Nothing if none came within the limit.
  std::optional<std::int64_t> AwaitNext(std::int64_t real_milliseconds);

 private:
  class Armed;
  struct Entry {
    std::function<void()> ring;
    bool ringing = false;
  };

  std::mutex mutex_;
  std::condition_variable changed_;
  std::int64_t reached_ = INT64_MIN;
  std::multimap<std::int64_t, std::shared_ptr<Entry>> waiting_;
};

}  // namespace yox::platform
