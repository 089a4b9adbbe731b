#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "yox/base/Export.h"
#include "yox/platform/clock/Alarms.h"
#include "yox/platform/clock/Clock.h"
#include "yox/platform/simulated/ClockSection.h"

namespace yox::platform {

// A device's clock. With a section in the profile it stands still until it is moved, and knows the
// section's zone; one whose section names no time, or that has no section, follows the machine's.
// Every operation is safe from any thread.
class YOX_API SimulatedClock final : public Clock {
 public:
  // `real` must outlive the object.
  SimulatedClock(const std::optional<ClockSection>& section, const Clock& real);

  std::int64_t Now() const override;
  LocalDate ToLocalDate(std::int64_t moment) const override;
  std::optional<std::int64_t> StartOfLocalDay(int year, int month, int day) const override;
  std::int64_t SteadyMilliseconds() const override;
  std::int64_t UptimeSeconds() const override;
  bool MovedByHand() const override { return !follows_; }
  std::unique_ptr<Alarm> RingAt(std::int64_t moment, std::function<void()> ring) override;

  // Time passes: the date, the steady clock and the uptime move together, and alarms ring.
  void Advance(std::int64_t seconds) { AdvanceMilliseconds(seconds * 1000); }
  void AdvanceMilliseconds(std::int64_t milliseconds);
  // Somebody sets the date: nothing else moves.
  void Set(std::int64_t moment);
  void SetTimeZone(const TimeZone& zone);

  // Who waits for this clock.
  Alarms& alarms() { return alarms_; }

 private:
  // What a reading starts from: the machine's clock, or zero when it stands still.
  std::int64_t Base(std::int64_t real) const { return follows_ ? real : 0; }

  const Clock& real_;
  const bool follows_;
  const bool uptime_follows_;
  Alarms alarms_;
  std::atomic<std::int64_t> now_milliseconds_{0};
  std::atomic<std::int64_t> steady_milliseconds_{0};
  std::atomic<std::int64_t> uptime_milliseconds_{0};

  // Readers take no lock: a zone that was set once stays for the clock's lifetime.
  std::atomic<const TimeZone*> zone_{nullptr};  // null: the machine's
  std::mutex zones_mutex_;
  std::vector<std::unique_ptr<const TimeZone>> zones_;
};

}  // namespace yox::platform
