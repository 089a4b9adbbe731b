#include <array>
#include <exception>
#include <new>
#include <stdexcept>
#include <utility>

#include "yox/applicability/ApplicabilityEvaluator.h"
#include "yox/applicability/Dates.h"
#include "yox/applicability/EvaluatorLog.h"
#include "yox/applicability/MatchOperators.h"
#include "yox/clientbase/SaltedHash.h"
#include "yox/clientbase/String.h"
#include "yox/clientbase/platform/Platform.h"

using YOX::String;
using YOX::WString;
using YOX::WStringView;
using YOX::platform::Clock;
using YOX::platform::Platform;
using namespace YOX::literals;

namespace {

constexpr const char* kOrigin = "ApplicabilityEvaluator::DoesDateFunctionMatch";

// The pieces of a text; `count` counts all of them, also those that found no room.
template <std::size_t N>
struct PieceArray {
  std::array<WStringView, N> pieces;
  std::size_t count = 0;

  PieceArray(WStringView text, YOX::WChar separator) {
    for (auto rest = YOX::match::Pieces(text); rest; ++count) {
      const WStringView piece = YOX::match::NextPiece(rest, separator);
      if (count < N) pieces[count] = piece;
    }
  }
};

}  // namespace

WString ApplicabilityEvaluator::GetHashedSaltedString(WString text) {
  return String::UTF8ToUTF16(YOX::utility::SHA256WithSalt(String::UTF16ToUTF8(text)));
}

bool ApplicabilityEvaluator::IsCurrentDateWithinRange(const WString& range) {
  try {
    const Clock& clock = Platform::Get().clock();
    return YOX::match::DateWithinRange(range, clock.ToLocalDate(clock.Now()));
  } catch (const std::exception& exception) {
    g_evaluator_log.d("%s : Exception occured - %s",
                      "ApplicabilityEvaluator::IsCurrentDateWithinRange", exception.what());
    return false;
  }
}

bool ApplicabilityEvaluator::DoesDateFunctionMatch(const WString& function,
                                                   const WString* serialNumber,
                                                   const WString* orgName) {
  using enum String::IntegerStatus;
  YOX::Log& log = g_evaluator_log;

  const PieceArray<4> parts(function, '|');
  if (parts.count < 3) {
    log.e("%s Invalid date function string: %s", kOrigin, function);
    return false;
  }
  const auto& [start_text, days_text, growth_word, segment] = parts.pieces;

  const PieceArray<3> date(start_text, '-');
  if (date.count != 3) {
    log.e("%s Invalid date format: %s", kOrigin, start_text);
    return false;
  }
  std::array<int, 3> numbers{};
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    switch (String::TryToInteger(date.pieces[i], numbers[i])) {
      case kOk:
        break;
      case kInvalid:
        log.e("%s Invalid integer value. Year: %s Month: %s Day: %s", kOrigin, date.pieces[0],
              date.pieces[1], date.pieces[2]);
        return false;
      case kOutOfRange:
        log.e("%s Out of range exception!", kOrigin);
        return false;
    }
  }

  const Clock& clock = Platform::Get().clock();
  const auto start = clock.StartOfLocalDay(numbers[0], numbers[1], numbers[2]);
  if (!start) return false;
  const std::int64_t now = clock.Now();
  if (now < *start) {
    log.d("%s Filter date is after current date. currentDateUTCTime: %ld dateUTCTime: %ld", kOrigin,
          now, *start);
    return false;
  }
  const std::int64_t elapsed = YOX::match::ElapsedDays(*start, now);

  int days = 0;
  switch (String::TryToInteger(days_text, days)) {
    case kOk:
      break;
    case kInvalid:
      log.e("%s Invalid days count: %s", kOrigin, days_text);
      return false;
    case kOutOfRange:
      log.e("%s Out of range exception on days count!", kOrigin);
      return false;
  }
  if (days == 0) {
    log.d("%s Days count is zero", kOrigin);
    return false;
  }
  if (elapsed >= days) return true;

  const auto growth = YOX::match::ParseGrowth(growth_word);
  if (!growth) {
    log.e("%s Unknown growth type: %s", kOrigin, growth_word);
    return false;
  }
  const bool by_tenant = parts.count > 3 && String::CaseInsesitiveEqual(segment, "tenant"_wv);
  const WString* const seed = by_tenant ? orgName : serialNumber;
  if (seed == nullptr) {
    log.e(by_tenant ? YOX::LogFormat<const char*>("%s No org/tenant name")
                    : YOX::LogFormat<const char*>("%s No serial number"),
          kOrigin);
    return false;
  }
  try {
    const int bucket = YOX::match::RolloutBucket(GetHashedSaltedString(*seed));
    return YOX::match::BucketIsIn(bucket, YOX::match::RolloutShare(*growth, elapsed, days));
  } catch (const std::bad_alloc&) {
    log.e("%s Bad alloc on seed hash.", kOrigin);
  } catch (const std::out_of_range&) {
    log.e("%s Out of range on seed hash", kOrigin);
  }
  return false;
}
