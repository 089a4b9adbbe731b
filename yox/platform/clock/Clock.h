#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "yox/base/LocalDate.h"
#include "yox/base/WString.h"

namespace yox::platform {

using yox::LocalDate;

// The date, the time zone and the time since the device started. Every operation may be called from
// any thread and never throws.
//
// A change of the system's time zone takes effect within a minute: each thread remembers for that
// long what it converted last.
class Clock {
 public:
  virtual ~Clock() = default;

  // Seconds since 1970-01-01T00:00:00 UTC. Jumps when the date is set.
  virtual std::int64_t Now() const = 0;

  // The calendar day in the device's time zone at a moment, which is counted like `Now` and may lie
  // before 1970.
  virtual LocalDate ToLocalDate(std::int64_t moment) const = 0;

  // The seconds by which local time is ahead of UTC at a moment: 7200 in Berlin in summer.
  virtual std::int32_t UtcOffset(std::int64_t moment) const = 0;

  // The moment at which a calendar day begins in the device's time zone. Months and days out of
  // range carry over, as in mktime: day 0 is the last day of the month before. Returns -1 for a day
  // before 1970, and std::nullopt for a year below INT_MIN + 1900 or a month of INT_MIN, which
  // mktime's arguments cannot express.
  virtual std::optional<std::int64_t> StartOfLocalDay(int year, int month, int day) const = 0;

  // The IANA name of the device's time zone, such as "Europe/Berlin", or another text that
  // TimeZone::Parse reads; empty when the system does not say, as Windows does not.
  virtual WString ZoneName() const { return {}; }

  // Milliseconds since the device started, the time that it slept included. Never goes back.
  virtual std::int64_t SteadyMilliseconds() const = 0;
  // The same in nanoseconds, as finely as the clock counts.
  virtual std::int64_t SteadyNanoseconds() const { return SteadyMilliseconds() * 1'000'000; }
  // A number that is another one a second later, and otherwise says nothing about the time: for
  // looking at the time about once a second. Costs a tenth of SteadyMilliseconds.
  virtual std::int64_t Tick() const { return SteadyMilliseconds(); }
  std::int64_t UptimeSeconds() const { return SteadyMilliseconds() / 1000; }

  // Whether time passes only when a test moves this clock. A wait with a time limit then sets an
  // alarm; on any other clock the system ends it.
  virtual bool MovedByHand() const { return false; }

  // A ring that is set; destroying it disarms it.
  class Alarm {
   public:
    virtual ~Alarm() = default;
  };
  // Calls `ring` once, when SteadyMilliseconds reaches `moment`: on the thread that moves the
  // clock, or before this returns if the moment has passed. Destroying the alarm disarms it, and
  // waits for a ring that is under way. Returns null on a clock that is not moved by hand.
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
