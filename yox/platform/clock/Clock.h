#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "yox/base/LocalDate.h"

namespace yox::platform {

using yox::LocalDate;

// What time it is, in three senses. Every operation is safe from any thread.
class Clock {
 public:
  virtual ~Clock() = default;

  // Seconds since 1970-01-01T00:00:00 UTC.
  virtual std::int64_t Now() const = 0;

  // The calendar day, in the device's time zone, of a moment given as `Now` gives it.
  virtual LocalDate ToLocalDate(std::int64_t moment) const = 0;

  // The moment at which a calendar day begins in the device's time zone. A month or day out of its
  // range carries over, as in mktime. A day before 1970 gives -1; a year or month that the calendar
  // cannot hold (below INT_MIN + 1900, or a month of INT_MIN) gives nothing.
  virtual std::optional<std::int64_t> StartOfLocalDay(int year, int month, int day) const = 0;

  // Milliseconds since some moment in the past; never goes back, stands still while the device
  // sleeps.
  virtual std::int64_t SteadyMilliseconds() const = 0;
  // The same clock as finely as it goes.
  virtual std::int64_t SteadyNanoseconds() const { return SteadyMilliseconds() * 1'000'000; }

  // Seconds since the device started, sleep included.
  virtual std::int64_t UptimeSeconds() const = 0;

  // Whether time passes only when somebody moves this clock. Waits with a time limit then set an
  // alarm; on a clock that goes by itself they leave the limit to the system.
  virtual bool MovedByHand() const { return false; }

  class Alarm {
   public:
    virtual ~Alarm() = default;
  };
  // Calls `ring` once, when SteadyMilliseconds reaches `moment`: on the thread that moves the
  // clock, or at once if the moment has passed. Destroying the alarm disarms it, and waits for a
  // ring that is under way. Null from a clock that goes by itself.
  virtual std::unique_ptr<Alarm> RingAt([[maybe_unused]] std::int64_t moment,
                                        [[maybe_unused]] std::function<void()> ring) {  // NOLINT
    return nullptr;
  }

  // The moment of `Now`, as finely as the system's clock counts.
  std::chrono::system_clock::time_point SystemTime() const {
    if (!MovedByHand()) return std::chrono::system_clock::now();
    return std::chrono::system_clock::time_point(std::chrono::seconds(Now()));
  }
};

}  // namespace yox::platform
