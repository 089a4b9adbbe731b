#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "yox/base/Export.h"
#include "yox/base/LocalDate.h"

namespace yox {

// A time zone as a rule that holds for all years, the same on every system: the machine's settings
// and its time zone database are not read. A plain value; const functions are safe from any thread.
class YOX_API TimeZone {
 public:
  // UTC.
  TimeZone() = default;

  // Reads one of
  //   Europe/Berlin                       a name of the IANA database
  //   +02:00, -0330, UTC-5, GMT+5:30      a fixed distance, east of Greenwich positive
  //   CET-1CEST,M3.5.0,M10.5.0/3          a POSIX TZ rule, in which west is positive
  // A name means the rule that its zone follows today; earlier rules of the zone, and days that the
  // database lists one by one (Morocco's Ramadan), are not known. Returns std::nullopt for any
  // other text.
  static std::optional<TimeZone> Parse(std::string_view text);

  // Returns the POSIX rules of all names, each once.
  static std::vector<std::string_view> KnownRules();

  // Returns the seconds by which local time is ahead of UTC at a moment, in seconds since 1970.
  std::int32_t OffsetAt(std::int64_t moment) const {
    return IsDaylight(moment) ? daylight_ : standard_;
  }

  // As in platform::Clock. Years are limited to the range of int.
  LocalDate ToLocalDate(std::int64_t moment) const;
  std::optional<std::int64_t> StartOfLocalDay(int year, int month, int day) const;

  // Returns the moment of a local time. One that the zone skips in spring is read as standard time,
  // as mktime does; one that exists twice in autumn is the first.
  std::int64_t ToMoment(const LocalDate& date, std::int32_t second_of_day) const;

  friend bool operator==(const TimeZone&, const TimeZone&) = default;

 private:
  class RuleReader;

  // The moment of each year at which the offset changes.
  struct Change {
    enum class Form : std::uint8_t { kDayWithoutLeapDay, kDayWithLeapDay, kWeekdayOfMonth };

    // Returns that moment in a year, in seconds of local time since 1970.
    std::int64_t InYear(std::int64_t year) const;

    friend bool operator==(const Change&, const Change&) = default;

    Form form = Form::kWeekdayOfMonth;
    std::uint8_t month = 1;
    std::uint8_t week = 1;       // 5 is the last
    std::uint16_t day = 0;       // of the year, or of the week from Sunday
    std::int32_t second = 7200;  // of the day; may be negative or more than a day
  };

  bool IsDaylight(std::int64_t moment) const;
  std::int64_t FromLocalSeconds(std::int64_t seconds) const;

  std::int32_t standard_ = 0;
  std::int32_t daylight_ = 0;
  bool changes_ = false;
  Change to_daylight_;
  Change to_standard_;
};

}  // namespace yox
