#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "yox/base/Export.h"
#include "yox/base/ThreadSafety.h"
#include "yox/platform/clock/Alarms.h"
#include "yox/platform/clock/Clock.h"
#include "yox/platform/simulated/ClockSection.h"

namespace yox::platform {

// The clock of a simulated device. If its profile names a time, it shows that time until it is
// moved. Otherwise time passes as on this machine: with a section, in the section's time zone and
// from its uptime on; without one, it is this machine's clock. Every operation may be called from
// any thread.
class YOX_API SimulatedClock final : public Clock {
 public:
  // `real`, this machine's clock, must outlive the object.
  SimulatedClock(const std::optional<ClockSection>& section, const Clock& real);

  std::int64_t Now() const override;
  LocalDate ToLocalDate(std::int64_t moment) const override;
  std::int32_t UtcOffset(std::int64_t moment) const override;
  std::optional<std::int64_t> StartOfLocalDay(int year, int month, int day) const override;
  WString ZoneName() const override;
  std::int64_t SteadyMilliseconds() const override;
  std::int64_t Tick() const override;
  // True if the profile named a time.
  bool MovedByHand() const override { return !follows_; }
  std::unique_ptr<Alarm> RingAt(std::int64_t moment, std::function<void()> ring) override;

  // Lets time pass: date and steady clock move together, and alarms ring in this call.
  void Advance(std::int64_t seconds) { AdvanceMilliseconds(seconds * 1000); }
  void AdvanceMilliseconds(std::int64_t milliseconds);
  // Sets the date. The steady clock does not move.
  void Set(std::int64_t moment);
  void SetTimeZone(const NamedZone& zone);
  // Shows what another section says. The steady clock does not go back: an uptime that has passed
  // already changes nothing.
  void Apply(const std::optional<ClockSection>& section);

  // The alarms that are set, for a test that waits for a waiting thread.
  Alarms& alarms() { return alarms_; }

 private:
  // A reading is the sum of an offset below and of this: the machine's clock, or 0 if the clock
  // does not follow it.
  std::int64_t Base(std::int64_t real) const { return follows_ ? real : 0; }
  void SetDateAndZone(const std::optional<ClockSection>& section);
  const NamedZone* zone() const { return zone_.load(std::memory_order_acquire); }

  const Clock& real_;
  const bool follows_;
  Alarms alarms_;
  std::atomic<std::int64_t> now_milliseconds_{0};
  std::atomic<std::int64_t> steady_milliseconds_{0};

  // Readers take no lock: they load the pointer, and what it has ever pointed to is kept in
  // `zones_` as long as the clock. Null is the machine's own zone.
  std::atomic<const NamedZone*> zone_{nullptr};
  yox::Mutex zones_mutex_;
  std::vector<std::unique_ptr<const NamedZone>> zones_ YOX_GUARDED_BY(zones_mutex_);
};

}  // namespace yox::platform
