#include "yox/applicability/Dates.h"

#include <array>
#include <cmath>

#include "yox/applicability/MatchOperators.h"
#include "yox/clientbase/String.h"

namespace YOX::match {
namespace {

constexpr std::int64_t kSecondsPerDay = 86400;

// How a date stands to today, year before month before day; a number is read only when those before
// it are equal. Nothing when the text has not three pieces or a number that is needed cannot be
// read.
std::optional<int> CompareToToday(WStringView date, const platform::LocalDate& today) {
  std::array<WStringView, 3> pieces;
  std::size_t count = 0;
  for (auto rest = Pieces(date); rest; ++count) {
    const WStringView piece = NextPiece(rest, '-');
    if (count == pieces.size()) return std::nullopt;
    pieces[count] = piece;
  }
  if (count != pieces.size()) return std::nullopt;

  const std::array fields = {today.year, today.month, today.day};
  for (std::size_t i = 0; i < pieces.size(); ++i) {
    int number = 0;
    if (String::TryToInteger(pieces[i], number) != String::IntegerStatus::kOk) return std::nullopt;
    if (number != fields[i]) return number < fields[i] ? -1 : 1;
  }
  return 0;
}

}  // namespace

bool DateWithinRange(WStringView range, const platform::LocalDate& today) {
  const std::size_t bar = range.find('|');
  if (bar == WStringView::npos) return false;
  const WStringView start = range.substr(0, bar);
  const WStringView end = range.substr(bar + 1);
  if (end.find('|') != WStringView::npos) return false;

  constexpr WStringView kOpen = "*"_wv;
  if (start != kOpen && CompareToToday(start, today).value_or(1) > 0) return false;
  return end == kOpen || CompareToToday(end, today).value_or(-1) >= 0;
}

std::optional<Growth> ParseGrowth(WStringView word) {
  constexpr std::array kWords = {"linear"_wv, "exponentialNormal"_wv, "exponentialSlow"_wv};
  for (std::size_t i = 0; i < kWords.size(); ++i) {
    if (String::CaseInsesitiveEqual(word, kWords[i])) return static_cast<Growth>(i);
  }
  return std::nullopt;
}

std::int64_t ElapsedDays(std::int64_t start, std::int64_t now) {
  return (now - start) / kSecondsPerDay + 1;
}

double RolloutShare(Growth growth, std::int64_t elapsed, int days) {
  if (growth == Growth::kLinear) return static_cast<double>(elapsed) / days;
  const double base = growth == Growth::kExponentialNormal ? 1.2 : 1.8;
  return std::pow(base, static_cast<double>(elapsed - days) / (days / 20.0));
}

int RolloutBucket(WStringView hash) {
  int bucket = 0;
  for (const WChar unit : hash.substr(0, 3)) {
    const WChar lower = static_cast<WChar>(unit | 0x20);
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

}  // namespace YOX::match
