#include "yox/base/TimeZone.h"

#include <algorithm>
#include <chrono>
#include <limits>

namespace yox {
namespace {

struct NamedRule {
  std::string_view name;
  std::string_view rule;
};

#include "yox/base/TimeZones.inc"

static_assert(std::ranges::is_sorted(kNamedRules, {}, &NamedRule::name));

constexpr std::int64_t kSecondsPerDay = 86400;

constexpr std::int64_t FloorDivide(std::int64_t number, std::int64_t divisor) {
  return number / divisor - (number % divisor < 0);
}

// The calendar repeats itself every 400 years, which keeps the reckoning inside what std::chrono
// holds.
constexpr std::int64_t kYearsPerCycle = 400;
constexpr std::int64_t kDaysPerCycle = 146097;

struct CivilDay {
  std::int64_t year;
  int month;
  int day;
};

CivilDay ToCivilDay(std::int64_t days) {
  const std::int64_t cycle = FloorDivide(days, kDaysPerCycle);
  const std::chrono::year_month_day date{
      std::chrono::sys_days{std::chrono::days{days - cycle * kDaysPerCycle}}};
  return {static_cast<int>(date.year()) + cycle * kYearsPerCycle,
          static_cast<int>(static_cast<unsigned>(date.month())),
          static_cast<int>(static_cast<unsigned>(date.day()))};
}

// Days since 1970 of the first day of a month; the month carries over into the year.
std::int64_t FirstOfMonth(std::int64_t year, std::int64_t month) {
  year += FloorDivide(month - 1, 12);
  month = month - 1 - FloorDivide(month - 1, 12) * 12;
  const std::int64_t cycle = FloorDivide(year - 2000, kYearsPerCycle);
  const std::chrono::sys_days day{
      std::chrono::year{static_cast<int>(year - cycle * kYearsPerCycle)} /
      std::chrono::month{static_cast<unsigned>(month + 1)} / 1};
  return day.time_since_epoch().count() + cycle * kDaysPerCycle;
}

constexpr int Weekday(std::int64_t days) {  // Sunday is 0, and 1970 began on a Thursday
  return static_cast<int>(days + 4 - FloorDivide(days + 4, 7) * 7);
}

// The changes of the years around a moment are computed too; the ends of the range need no exact
// day.
std::int64_t AwayFromTheEnds(std::int64_t moment) {
  constexpr std::int64_t kMargin = 100'000'000;
  return std::clamp(moment, std::numeric_limits<std::int64_t>::min() + kMargin,
                    std::numeric_limits<std::int64_t>::max() - kMargin);
}

}  // namespace

// Reads a zone's text from the front. Each function returns whether it found what it looks for.
class TimeZone::RuleReader {
 public:
  explicit RuleReader(std::string_view text) : text_(text) {}

  bool AtEnd() const { return text_.empty(); }

  bool Take(char letter) {
    if (!text_.starts_with(letter)) return false;
    text_.remove_prefix(1);
    return true;
  }

  bool TakeNumber(int lowest, int highest, int& number, std::size_t max_digits = 3) {
    std::size_t digits = 0;
    number = 0;
    while (digits < text_.size() && digits < max_digits && IsDigit(text_[digits])) {
      number = number * 10 + (text_[digits++] - '0');
    }
    text_.remove_prefix(digits);
    return digits > 0 && number >= lowest && number <= highest;
  }

  // "+hh", "+hh:mm" or "+hhmm"; after UTC or GMT also "+h" and "+h:mm".
  bool TakeFixedOffset(std::int32_t& offset) {
    const bool named = text_.starts_with("UTC") || text_.starts_with("GMT");
    if (named) text_.remove_prefix(3);
    int sign = 1;
    if (!TakeSign(sign)) return false;
    const std::size_t before = text_.size();
    int hours = 0;
    int minutes = 0;
    if (!TakeNumber(0, 24, hours, 2)) return false;
    if (!named && before - text_.size() != 2) return false;
    if (!AtEnd()) {
      const bool colon = Take(':');
      if ((named && !colon) || text_.size() != 2 || !TakeNumber(0, 59, minutes, 2)) return false;
    }
    offset = sign * (hours * 3600 + minutes * 60);
    return AtEnd();
  }

  bool TakeRule(TimeZone& zone) {
    std::int32_t west = 0;
    if (!TakeName() || !TakeTime(24, west)) return false;
    zone.standard_ = -west;
    if (AtEnd()) return true;
    if (!TakeName()) return false;
    zone.changes_ = true;
    zone.daylight_ = zone.standard_ + 3600;
    if (!AtEnd() && !text_.starts_with(',')) {
      if (!TakeTime(24, west)) return false;
      zone.daylight_ = -west;
    }
    if (AtEnd()) text_ = ",M3.2.0,M11.1.0";  // the rule that C libraries use if none is given
    return TakeChange(zone.to_daylight_) && TakeChange(zone.to_standard_) && AtEnd();
  }

 private:
  static bool IsDigit(char letter) { return letter >= '0' && letter <= '9'; }
  static bool IsLetter(char letter) {
    return (letter >= 'A' && letter <= 'Z') || (letter >= 'a' && letter <= 'z');
  }

  bool TakeSign(int& sign) {
    if (Take('+')) return true;
    if (!Take('-')) return false;
    sign = -1;
    return true;
  }

  bool TakeName() {
    const bool quoted = Take('<');
    std::size_t size = 0;
    while (size < text_.size() &&
           (IsLetter(text_[size]) ||
            (quoted && (IsDigit(text_[size]) || text_[size] == '+' || text_[size] == '-')))) {
      ++size;
    }
    text_.remove_prefix(size);
    return size >= 3 && (!quoted || Take('>'));
  }

  bool TakeTime(int max_hours, std::int32_t& seconds) {
    int sign = 1;
    int part[3] = {};
    TakeSign(sign);
    if (!TakeNumber(0, max_hours, part[0])) return false;
    for (int i = 1; i < 3 && Take(':'); ++i) {
      if (!TakeNumber(0, 59, part[i], 2)) return false;
    }
    seconds = sign * (part[0] * 3600 + part[1] * 60 + part[2]);
    return true;
  }

  bool TakeChange(Change& change) {
    int month = 1;
    int week = 1;
    int day = 0;
    if (!Take(',')) return false;
    if (Take('M')) {
      change.form = Change::Form::kWeekdayOfMonth;
      if (!TakeNumber(1, 12, month, 2) || !Take('.') || !TakeNumber(1, 5, week, 1) || !Take('.') ||
          !TakeNumber(0, 6, day, 1)) {
        return false;
      }
    } else if (Take('J')) {
      change.form = Change::Form::kDayWithoutLeapDay;
      if (!TakeNumber(1, 365, day)) return false;
    } else {
      change.form = Change::Form::kDayWithLeapDay;
      if (!TakeNumber(0, 365, day)) return false;
    }
    change.month = static_cast<std::uint8_t>(month);
    change.week = static_cast<std::uint8_t>(week);
    change.day = static_cast<std::uint16_t>(day);
    return !Take('/') || TakeTime(167, change.second);
  }

  std::string_view text_;
};

std::optional<TimeZone> TimeZone::Parse(std::string_view text) {
  const auto* const named = std::ranges::lower_bound(kNamedRules, text, {}, &NamedRule::name);
  TimeZone zone;
  if (named != std::end(kNamedRules) && named->name == text) {
    if (!RuleReader(named->rule).TakeRule(zone)) return std::nullopt;
    return zone;
  }
  if (RuleReader(text).TakeFixedOffset(zone.standard_)) return zone;
  if (text.starts_with("UTC+") || text.starts_with("UTC-") || text.starts_with("GMT+") ||
      text.starts_with("GMT-")) {
    return std::nullopt;
  }
  zone = {};
  if (RuleReader(text).TakeRule(zone)) return zone;
  return std::nullopt;
}

std::vector<std::string_view> TimeZone::KnownRules() {
  std::vector<std::string_view> rules;
  for (const NamedRule& named : kNamedRules) rules.push_back(named.rule);
  std::ranges::sort(rules);
  rules.erase(std::unique(rules.begin(), rules.end()), rules.end());
  return rules;
}

std::int64_t TimeZone::Change::InYear(std::int64_t year) const {
  std::int64_t days = 0;
  switch (form) {
    case Form::kDayWithoutLeapDay: {  // day 60 is always the first of March
      const bool behind_february = day >= 60;
      days = FirstOfMonth(year, behind_february ? 3 : 1) + day - (behind_february ? 60 : 1);
      break;
    }
    case Form::kDayWithLeapDay:
      days = FirstOfMonth(year, 1) + day;
      break;
    case Form::kWeekdayOfMonth: {
      const std::int64_t first = FirstOfMonth(year, month);
      days = first + (day + 7 - Weekday(first)) % 7 + 7 * (week - 1);
      while (days >= FirstOfMonth(year, month + 1)) days -= 7;
      break;
    }
  }
  return days * kSecondsPerDay + second;
}

bool TimeZone::IsDaylight(std::int64_t moment) const {
  if (!changes_) return false;
  moment = AwayFromTheEnds(moment);
  const std::int64_t year = ToCivilDay(FloorDivide(moment, kSecondsPerDay)).year;
  const std::int64_t begin = to_daylight_.InYear(year) - standard_;
  const std::int64_t end = to_standard_.InYear(year) - daylight_;
  // South of the equator daylight time runs over the turn of the year.
  return begin > end ? moment < end || moment >= begin : moment >= begin && moment < end;
}

LocalDate TimeZone::ToLocalDate(std::int64_t moment) const {
  moment = AwayFromTheEnds(moment);
  const CivilDay day = ToCivilDay(FloorDivide(moment + OffsetAt(moment), kSecondsPerDay));
  return {static_cast<int>(std::clamp<std::int64_t>(day.year, std::numeric_limits<int>::min(),
                                                    std::numeric_limits<int>::max())),
          day.month, day.day};
}

std::optional<std::int64_t> TimeZone::StartOfLocalDay(int year, int month, int day) const {
  constexpr int kLowest = std::numeric_limits<int>::min();
  if (year < kLowest + 1900 || month == kLowest) return std::nullopt;
  const std::int64_t days = FirstOfMonth(year, month) + day - 1;
  // mktime fails if the year after all carrying does not fit.
  constexpr std::int64_t kLastYear = std::int64_t{std::numeric_limits<int>::max()} + 1900;
  if (ToCivilDay(days).year > kLastYear) return -1;
  return std::max<std::int64_t>(FromLocalSeconds(days * kSecondsPerDay), -1);
}

std::int64_t TimeZone::ToMoment(const LocalDate& date, std::int32_t second_of_day) const {
  const std::int64_t days = FirstOfMonth(date.year, date.month) + date.day - 1;
  return FromLocalSeconds(days * kSecondsPerDay + second_of_day);
}

std::int64_t TimeZone::FromLocalSeconds(std::int64_t seconds) const {
  const std::int64_t as_standard = seconds - standard_;
  if (!changes_) return as_standard;
  const std::int64_t as_daylight = seconds - daylight_;
  const bool is_standard = !IsDaylight(as_standard);
  const bool is_daylight = IsDaylight(as_daylight);
  if (is_standard && is_daylight) return std::min(as_standard, as_daylight);
  if (is_standard || is_daylight) return is_standard ? as_standard : as_daylight;
  // Skipped: read as winter time it is after the change, in summer.
  return as_standard;
}

}  // namespace yox
