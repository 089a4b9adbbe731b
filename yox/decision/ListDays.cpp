#include "yox/decision/ListDays.h"

#include <algorithm>
#include <set>

#include "yox/base/TimeZone.h"
#include "yox/decision/Criteria.h"
#include "yox/decision/Dates.h"

namespace yox::decision {
namespace {

constexpr std::int64_t kSecondsPerDay = 86400;

bool IsNumber(const IntegerText& text) { return text.status == String::IntegerStatus::kOk; }

// A month or day out of its range carries over.
std::int64_t DayNumber(int year, int month, int day) {
  return TimeZone().ToMoment({year, month, day}, {}) / kSecondsPerDay;
}

bool IsRealDay(const LocalDate& date) {
  return date.month >= 1 && date.month <= 12 &&
         TimeZone().ToLocalDate(TimeZone().ToMoment(date, {})) == date;
}

// Calls `visit` for each step of the list that is in the language.
template <class Visit>
void ForEachStep(const CompiledList& list, Language language, Visit visit) {
  for (const CompiledList::Program& program : list.programs()) {
    if (program.decides != CompiledList::Control::kNotSet) continue;
    for (const CompiledList::Step& step : list.Steps(program)) {
      if (CriterionOf(step).language == language) visit(step);
    }
  }
}

// The days on which a comparison with a date may change: on the date itself, or on the day after
// it. One that is no real day is compared with its year and month all the same.
void AddChanges(const DateText& text, bool after, std::set<std::int64_t>& days) {
  if (!text.has_three_pieces || !IsNumber(text.fields[0])) return;
  const int year = text.fields[0].number;
  if (year > 9999) return;
  const int month = text.fields[1].number;
  const bool has_month = IsNumber(text.fields[1]) && month >= 1 && month <= 12;
  if (!has_month) {
    days.insert({DayNumber(year, 1, 1), DayNumber(year + 1, 1, 1)});
    return;
  }
  const int day = text.fields[2].number;
  if (!IsNumber(text.fields[2]) || !IsRealDay({year, month, day})) {
    days.insert({DayNumber(year, month, 1), DayNumber(year, month + 1, 1)});
    return;
  }
  days.insert(DayNumber(year, month, day) + (after ? 1 : 0));
}

// Of a roll-out that includes devices at some time.
std::optional<DaySpan> SpanOf(const Rollout& rollout) {
  if (FlawOf(rollout) || !IsNumber(rollout.days) || rollout.days.number == 0) return std::nullopt;
  const auto& fields = rollout.start.fields;
  const auto start =
      TimeZone().StartOfLocalDay(fields[0].number, fields[1].number, fields[2].number);
  if (!start) return std::nullopt;
  const std::int64_t first = *start / kSecondsPerDay;
  return DaySpan{first, first + std::max(rollout.days.number, 1) - 1};
}

}  // namespace

std::optional<DaySpan> RolloutDaysOf(const CompiledList& list) {
  std::optional<DaySpan> all;
  ForEachStep(list, Language::kRollout, [&](const CompiledList::Step& step) {
    const std::optional<DaySpan> span = SpanOf(list.RolloutOf(step));
    if (!span) return;
    if (!all) all = span;
    all = {std::min(all->first, span->first), std::max(all->last, span->last)};
  });
  return all;
}

std::vector<std::int64_t> DaysOfChange(const CompiledList& list, const DaySpan& span) {
  std::set<std::int64_t> days = {span.first};
  ForEachStep(list, Language::kDateRange, [&](const CompiledList::Step& step) {
    AddChanges(list.Range(step).start, false, days);
    AddChanges(list.Range(step).end, true, days);
  });
  ForEachStep(list, Language::kRollout, [&](const CompiledList::Step& step) {
    const std::optional<DaySpan> rollout = SpanOf(list.RolloutOf(step));
    if (!rollout) return;
    const std::int64_t last = std::min(rollout->last, span.last);
    for (std::int64_t day = std::max(rollout->first, span.first); day <= last; ++day) {
      days.insert(day);
    }
  });
  return {days.lower_bound(span.first), days.upper_bound(span.last)};
}

}  // namespace yox::decision
