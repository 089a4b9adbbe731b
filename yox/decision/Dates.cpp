#include "yox/decision/Dates.h"

#include <algorithm>
#include <cmath>

#include "yox/base/SaltedHash.h"
#include "yox/base/TimeZone.h"
#include "yox/decision/MatchOperators.h"

namespace yox::decision {
namespace {

constexpr std::int64_t kSecondsPerDay = 86400;

constexpr std::array kGrowthWords = {"linear"_wv, "exponentialNormal"_wv, "exponentialSlow"_wv};

std::optional<Growth> ParseGrowth(WStringView word) {
  for (std::size_t i = 0; i < kGrowthWords.size(); ++i) {
    if (String::CaseInsesitiveEqual(word, kGrowthWords[i])) return static_cast<Growth>(i);
  }
  return std::nullopt;
}

// The first pieces of a text, and how many it has in all.
template <std::size_t N>
std::size_t FirstPieces(WStringView text, WChar separator, std::array<WStringView, N>& pieces) {
  std::size_t count = 0;
  for (auto rest = Pieces(text); rest; ++count) {
    const WStringView piece = NextPiece(rest, separator);
    if (count < N) pieces[count] = piece;
  }
  return count;
}

}  // namespace

IntegerText IntegerText::Parse(WStringView text) {
  IntegerText integer{text};
  integer.status = String::TryToInteger(text, integer.number);
  return integer;
}

DateText DateText::Parse(WStringView text) {
  DateText date{text};
  std::array<WStringView, 3> pieces;
  date.has_three_pieces = FirstPieces(text, '-', pieces) == pieces.size();
  if (!date.has_three_pieces) return date;
  std::ranges::transform(pieces, date.fields.begin(), IntegerText::Parse);
  return date;
}

std::optional<int> DateText::CompareTo(const LocalDate& day) const {
  if (!has_three_pieces) return std::nullopt;
  const std::array numbers = {day.year, day.month, day.day};
  for (std::size_t i = 0; i < fields.size(); ++i) {
    if (fields[i].status != String::IntegerStatus::kOk) return std::nullopt;
    if (fields[i].number != numbers[i]) return fields[i].number < numbers[i] ? -1 : 1;
  }
  return 0;
}

DateRange DateRange::Parse(WStringView range) {
  DateRange parsed;
  std::array<WStringView, 2> pieces;
  parsed.has_two_pieces = FirstPieces(range, '|', pieces) == pieces.size();
  if (!parsed.has_two_pieces) return parsed;
  parsed.open_start = pieces[0] == "*"_wv;
  parsed.open_end = pieces[1] == "*"_wv;
  if (!parsed.open_start) parsed.start = DateText::Parse(pieces[0]);
  if (!parsed.open_end) parsed.end = DateText::Parse(pieces[1]);
  return parsed;
}

bool DateRange::Contains(const LocalDate& day) const {
  if (!has_two_pieces) return false;
  if (!open_start && start.CompareTo(day).value_or(1) > 0) return false;
  return open_end || end.CompareTo(day).value_or(-1) >= 0;
}

Rollout Rollout::Parse(WStringView text) {
  Rollout rollout{text};
  std::array<WStringView, 4> pieces;
  const std::size_t count = FirstPieces(text, '|', pieces);
  rollout.has_three_pieces = count >= 3;
  if (!rollout.has_three_pieces) return rollout;
  rollout.start = DateText::Parse(pieces[0]);
  rollout.days = IntegerText::Parse(pieces[1]);
  rollout.growth_word = pieces[2];
  rollout.growth = ParseGrowth(pieces[2]);
  rollout.by_tenant = count > 3 && String::CaseInsesitiveEqual(pieces[3], "tenant"_wv);
  return rollout;
}

LocalDays LocalDays::Anywhere(std::int64_t moment) {
  // The zones at both ends are 26 hours apart, so that it may be a third day in between; that day
  // then contains the middle.
  constexpr std::array kHours = {-12, 1, 14};
  LocalDays days{{}, kHours.size()};
  std::ranges::transform(kHours, days.days.begin(), [&](int hours) {
    return TimeZone().ToLocalDate(moment + std::int64_t{hours} * 3600);
  });
  return days;
}

DayStart DayStart::Anywhere(int year, int month, int day) {
  static const TimeZone kEarliest = TimeZone::Parse("+14:00").value();
  static const TimeZone kLatest = TimeZone::Parse("-12:00").value();
  return {kEarliest.StartOfLocalDay(year, month, day), kLatest.StartOfLocalDay(year, month, day)};
}

std::optional<RolloutProgress::Stage> FlawOf(const Rollout& rollout) {
  using enum RolloutProgress::Stage;
  if (!rollout.has_three_pieces) return kMalformed;
  if (!rollout.start.has_three_pieces) return kMalformedDate;
  for (const IntegerText& field : rollout.start.fields) {
    if (field.status == String::IntegerStatus::kInvalid) return kDateUnreadable;
    if (field.status == String::IntegerStatus::kOutOfRange) return kDateOutOfRange;
  }
  return std::nullopt;
}

RolloutProgress ProgressOf(const Rollout& rollout, std::optional<std::int64_t> start,
                           std::int64_t now) {
  using enum RolloutProgress::Stage;
  RolloutProgress progress{kNoSuchDay, start, now};
  if (!start) return progress;
  const auto ends_at = [&](RolloutProgress::Stage stage) {
    progress.stage = stage;
    return progress;
  };
  if (now < *start) return ends_at(kNotBegun);
  if (rollout.days.status == String::IntegerStatus::kInvalid) return ends_at(kDaysUnreadable);
  if (rollout.days.status == String::IntegerStatus::kOutOfRange) return ends_at(kDaysOutOfRange);
  if (rollout.days.number == 0) return ends_at(kNoDays);
  progress.elapsed = ElapsedDays(*start, now);
  const std::optional<double> share = ShareOnDay(rollout, *progress.elapsed);
  if (!share) return ends_at(kUnknownGrowth);
  progress.share = *share;
  return ends_at(*share >= 1 ? kComplete : kGrowing);
}

std::int64_t ElapsedDays(std::int64_t start, std::int64_t now) {
  return (now - start) / kSecondsPerDay + 1;
}

double RolloutShare(Growth growth, std::int64_t elapsed, int days) {
  if (growth == Growth::kLinear) return static_cast<double>(elapsed) / days;
  const double base = growth == Growth::kExponentialNormal ? 1.2 : 1.8;
  return std::pow(base, static_cast<double>(elapsed - days) / (days / 20.0));
}

std::optional<double> ShareOnDay(const Rollout& rollout, std::int64_t elapsed) {
  if (elapsed >= rollout.days.number) return 1.0;
  if (!rollout.growth) return std::nullopt;
  return RolloutShare(*rollout.growth, elapsed, rollout.days.number);
}

std::int64_t FirstDayIn(const Rollout& rollout, int bucket) {
  return FirstWhere(std::int64_t{1}, std::int64_t{rollout.days.number}, [&](std::int64_t day) {
    return BucketIsIn(bucket, ShareOnDay(rollout, day).value_or(0));
  });
}

WString SaltedHashOf(WStringView text) {
  return String::UTF8ToUTF16(YOX::utility::SHA256WithSalt(String::UTF16ToUTF8(text)));
}

int RolloutBucket(WStringView hash) {
  int bucket = 0;
  for (const WChar unit : hash.substr(0, 3)) {
    const auto lower = static_cast<WChar>(unit | 0x20);
    if (unit >= '0' && unit <= '9') {
      bucket = bucket * 16 + (unit - '0');
    } else if (lower >= 'a' && lower <= 'f') {
      bucket = bucket * 16 + (lower - 'a' + 10);
    } else {
      break;
    }
  }
  return bucket;
}

}  // namespace yox::decision
