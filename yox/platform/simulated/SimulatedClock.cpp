#include "yox/platform/simulated/SimulatedClock.h"

#include <utility>

namespace yox::platform {
namespace {

constexpr std::int64_t kDay = 86400;

std::int64_t WholeSeconds(std::int64_t milliseconds) {
  return milliseconds / 1000 - (milliseconds % 1000 < 0);
}

}  // namespace

SimulatedClock::SimulatedClock(const std::optional<ClockSection>& section, const Clock& real)
    : real_(real), follows_(!section || !section->now), uptime_follows_(!section) {
  if (!section) return;
  SetTimeZone(section->time_zone.rule);
  if (section->now) {
    now_milliseconds_ =
        1000 * section->time_zone.rule.ToMoment(section->now->date, section->now->second_of_day);
  }
  uptime_milliseconds_ = 1000 * section->uptime_seconds.value_or(kDay);
  if (follows_) return;
  steady_milliseconds_ = uptime_milliseconds_.load();
  alarms_.Reach(steady_milliseconds_);
}

std::int64_t SimulatedClock::Now() const {
  return Base(real_.Now()) + WholeSeconds(now_milliseconds_);
}

LocalDate SimulatedClock::ToLocalDate(std::int64_t moment) const {
  const TimeZone* const zone = zone_.load(std::memory_order_acquire);
  return zone != nullptr ? zone->ToLocalDate(moment) : real_.ToLocalDate(moment);
}

std::optional<std::int64_t> SimulatedClock::StartOfLocalDay(int year, int month, int day) const {
  const TimeZone* const zone = zone_.load(std::memory_order_acquire);
  return zone != nullptr ? zone->StartOfLocalDay(year, month, day)
                         : real_.StartOfLocalDay(year, month, day);
}

std::int64_t SimulatedClock::SteadyMilliseconds() const {
  return Base(real_.SteadyMilliseconds()) + steady_milliseconds_;
}

std::int64_t SimulatedClock::UptimeSeconds() const {
  return (uptime_follows_ ? real_.UptimeSeconds() : 0) + WholeSeconds(uptime_milliseconds_);
}

void SimulatedClock::AdvanceMilliseconds(std::int64_t milliseconds) {
  now_milliseconds_ += milliseconds;
  uptime_milliseconds_ += milliseconds;
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

void SimulatedClock::SetTimeZone(const TimeZone& zone) {
  const std::lock_guard lock(zones_mutex_);
  zones_.push_back(std::make_unique<const TimeZone>(zone));
  zone_.store(zones_.back().get(), std::memory_order_release);
}

}  // namespace yox::platform
