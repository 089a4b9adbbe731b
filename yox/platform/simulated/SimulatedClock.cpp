#include "yox/platform/simulated/SimulatedClock.h"

#include <utility>

namespace yox::platform {
namespace {

constexpr std::uint32_t kDay = 86400;

std::int64_t WholeSeconds(std::int64_t milliseconds) {
  return milliseconds / 1000 - (milliseconds % 1000 < 0);
}

std::int64_t UptimeMilliseconds(const ClockSection& section) {
  return 1000 * std::int64_t{section.uptime_seconds.value_or(kDay)};
}

}  // namespace

SimulatedClock::SimulatedClock(const std::optional<ClockSection>& section, const Clock& real)
    : real_(real), follows_(!section || !section->now) {
  if (!section) return;
  SetDateAndZone(section);
  steady_milliseconds_ = UptimeMilliseconds(*section) - Base(real.SteadyMilliseconds());
  if (!follows_) alarms_.Reach(steady_milliseconds_);
}

std::int64_t SimulatedClock::Now() const {
  return Base(real_.Now()) + WholeSeconds(now_milliseconds_);
}

LocalDate SimulatedClock::ToLocalDate(std::int64_t moment) const {
  const NamedZone* const own = zone();
  return own != nullptr ? own->rule.ToLocalDate(moment) : real_.ToLocalDate(moment);
}

std::int32_t SimulatedClock::UtcOffset(std::int64_t moment) const {
  const NamedZone* const own = zone();
  return own != nullptr ? own->rule.OffsetAt(moment) : real_.UtcOffset(moment);
}

std::optional<std::int64_t> SimulatedClock::StartOfLocalDay(int year, int month, int day) const {
  const NamedZone* const own = zone();
  return own != nullptr ? own->rule.StartOfLocalDay(year, month, day)
                        : real_.StartOfLocalDay(year, month, day);
}

WString SimulatedClock::ZoneName() const {
  const NamedZone* const own = zone();
  return own != nullptr ? own->text : real_.ZoneName();
}

std::int64_t SimulatedClock::SteadyMilliseconds() const {
  return Base(real_.SteadyMilliseconds()) + steady_milliseconds_;
}

std::int64_t SimulatedClock::Tick() const {
  return (follows_ ? real_.Tick() : 0) + steady_milliseconds_;
}

void SimulatedClock::AdvanceMilliseconds(std::int64_t milliseconds) {
  now_milliseconds_ += milliseconds;
  const std::int64_t steady = steady_milliseconds_ += milliseconds;
  if (!follows_) alarms_.Reach(steady);
}

std::unique_ptr<Clock::Alarm> SimulatedClock::RingAt(std::int64_t moment,
                                                     std::function<void()> ring) {
  return follows_ ? nullptr : alarms_.Set(moment, std::move(ring));
}

void SimulatedClock::Set(std::int64_t moment) {
  now_milliseconds_ = 1000 * (moment - Base(real_.Now()));
}

void SimulatedClock::SetTimeZone(const NamedZone& zone) {
  const MutexLock lock(zones_mutex_);
  zones_.push_back(std::make_unique<const NamedZone>(zone));
  zone_.store(zones_.back().get(), std::memory_order_release);
}

void SimulatedClock::SetDateAndZone(const std::optional<ClockSection>& section) {
  const std::optional<std::int64_t> moment = section ? section->Moment() : std::nullopt;
  if (moment) {
    Set(*moment);
  } else {
    now_milliseconds_ = follows_ ? 0 : 1000 * real_.Now();
  }
  if (section) {
    SetTimeZone(section->time_zone);
  } else {
    zone_.store(nullptr, std::memory_order_release);
  }
}

void SimulatedClock::Apply(const std::optional<ClockSection>& section) {
  SetDateAndZone(section);
  if (!section || !section->uptime_seconds) return;
  const std::int64_t missing = UptimeMilliseconds(*section) - SteadyMilliseconds();
  if (missing <= 0) return;
  const std::int64_t steady = steady_milliseconds_ += missing;
  if (!follows_) alarms_.Reach(steady);
}

}  // namespace yox::platform
