#include "yox/applicability/DecisionLog.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

#include "yox/base/FoldedText.h"
#include "yox/base/ThreadSlot.h"
#include "yox/decision/Criteria.h"

namespace yox::applicability {
namespace {

using decision::Criterion;
using decision::Throttling;

constexpr const char* kOrigin = "ApplicabilityEvaluator::DoesFilterMatch";

void Append(WString& text, std::string_view ascii) { text.append(ascii.begin(), ascii.end()); }

WString Widen(std::string_view ascii) { return WString(ascii.begin(), ascii.end()); }

// The arguments of the throttle, by criterion.
struct ThrottleWords {
  WString key;
  WString actual;
};
const ThrottleWords& ThrottleWordsOf(const decision::CompiledList::Step& step) {
  static const auto kWords = [] {
    std::array<ThrottleWords, decision::kCriteria.size()> words;
    std::ranges::transform(decision::kCriteria, words.begin(), [](const Criterion& criterion) {
      return ThrottleWords{Widen(criterion.throttle_key), Widen(criterion.actual_word)};
    });
    return words;
  }();
  return kWords[step.criterion];
}

WString MessageOf(const Criterion& criterion, const WString& required, WStringView actual) {
  constexpr std::string_view kMiddle = " filter is false. Required: ";
  constexpr std::string_view kActual = ", Actual: ";
  WString message;
  Append(message, criterion.label);
  Append(message, kMiddle);
  message += required;
  if (criterion.end == decision::MessageEnd::kActual) {
    Append(message, kActual);
    message += actual;
  } else if (criterion.end == decision::MessageEnd::kNotFound) {
    Append(message, " not found");
  }
  return message;
}

bool LogMissingTargetVersion(LogThrottler& throttler) {
  constexpr const char* kMessage = "Target version filter is false. Target version pointer is null";
  if (!throttler.ShouldLogStatic("TargetVersionNull"_w, Widen(kMessage))) return true;
  g_evaluator_log.d("%s %s", kOrigin, kMessage);
  return false;
}

// Whether the throttle or the message depends on the device's value.
bool HasActual(const Criterion& criterion) {
  return criterion.end == decision::MessageEnd::kActual ||
         criterion.throttling == Throttling::kDynamic;
}
WStringView ActualFor(const decision::Failure& failure) {
  return HasActual(CriterionOf(failure.step)) ? ActualOf(failure.facts, failure.step)
                                              : WStringView();
}

}  // namespace

// Lines that the throttle dropped and would drop again, so that it need not be asked: for each
// thread a hash table without chains, keyed by the step and the device's value. Without it, most of
// a logged decision is spent on messages that are built for the comparison with the last one.
class DroppedLines {
 public:
  struct Line {
    const LogThrottler* throttler = nullptr;
    std::uint64_t generation{};  // of the throttle, before it was asked
    std::uint64_t list{};
    const decision::CompiledList::Step* step = nullptr;  // none yet
    bool is_unnamed{};
    bool has_actual{};  // the throttle or the message depends on the device's value
    WString actual;

    bool Is(const LogThrottler& asked, std::uint64_t now, const decision::CompiledList& in,
            const decision::Failure& failure) const {
      return step == &failure.step && list == in.id() && generation == now && throttler == &asked &&
             is_unnamed == failure.is_unnamed && (!has_actual || IsActual(failure));
    }

    bool IsActual(const decision::Failure& failure) const {
      const WStringView value = ActualOf(failure.facts, failure.step);
      return actual.size() == value.size() && SameUnits(actual.data(), value.data(), value.size());
    }
  };

  // Where the line of a step is, if it is here.
  Line& At(const decision::CompiledList::Step& step) {
    const auto address = reinterpret_cast<std::uintptr_t>(&step);
    return lines_[address / sizeof step % kLines];
  }

 private:
  static constexpr std::size_t kLines = 512;

  std::vector<Line> lines_ = std::vector<Line>(kLines);
};

void LogStoppedRollout(const decision::Rollout& rollout,
                       const decision::RolloutProgress& progress) {
  using enum decision::RolloutProgress::Stage;
  constexpr const char* kFunction = "ApplicabilityEvaluator::DoesDateFunctionMatch";
  YOX::Log& log = g_evaluator_log;
  const auto& date = rollout.start.fields;
  switch (progress.stage) {
    case kMalformed:
      return log.e("%s Invalid date function string: %s", kFunction, rollout.text);
    case kMalformedDate:
      return log.e("%s Invalid date format: %s", kFunction, rollout.start.text);
    case kDateUnreadable:
      return log.e("%s Invalid integer value. Year: %s Month: %s Day: %s", kFunction, date[0].text,
                   date[1].text, date[2].text);
    case kDateOutOfRange:
      return log.e("%s Out of range exception!", kFunction);
    case kNotBegun:
      return log.d("%s Filter date is after current date. currentDateUTCTime: %ld dateUTCTime: %ld",
                   kFunction, progress.now, *progress.start);
    case kDaysUnreadable:
      return log.e("%s Invalid days count: %s", kFunction, rollout.days.text);
    case kDaysOutOfRange:
      return log.e("%s Out of range exception on days count!", kFunction);
    case kNoDays:
      return log.d("%s Days count is zero", kFunction);
    case kUnknownGrowth:
      return log.e("%s Unknown growth type: %s", kFunction, rollout.growth_word);
    case kHashOutOfMemory:
      return log.e("%s Bad alloc on seed hash.", kFunction);
    case kHashOutOfRange:
      return log.e("%s Out of range on seed hash", kFunction);
    case kNoSuchDay:
    case kGrowing:
    case kComplete:
      return;
  }
}

void LogDateRangeFailure(const std::exception& exception) {
  g_evaluator_log.d("%s : Exception occured - %s",
                    "ApplicabilityEvaluator::IsCurrentDateWithinRange", exception.what());
}

void LogFailedTerm(String::IntegerStatus status) {
  g_evaluator_log.e("%s : Exception - %s", "ApplicabilityEvaluator::DoesKvpMatch",
                    String::IntegerError(status));
}

bool LogFailure(const decision::Failure& failure, LogThrottler& throttler) {
  if (!g_evaluator_log.Enabled(YOX::LogLevel::Debug)) return false;
  if (failure.is_unnamed) return LogMissingTargetVersion(throttler);
  const Criterion& criterion = CriterionOf(failure.step);
  const WString& required = failure.program.filter->View(failure.step.field);
  if (criterion.throttling == Throttling::kNone) {
    g_evaluator_log.d("%s Hardware ID filter is false. Required hardware ID: %s", kOrigin,
                      required);
    return false;
  }
  const WStringView actual = ActualFor(failure);
  const WString message = MessageOf(criterion, required, actual);
  const ThrottleWords& words = ThrottleWordsOf(failure.step);
  const auto dynamic = [&](const WString& word) {
    return throttler.ShouldLogDynamic(words.key, required, word, message);
  };
  const bool write = criterion.throttling == Throttling::kStatic
                         ? throttler.ShouldLogStatic(words.key, message)
                     : criterion.throttling == Throttling::kDynamic ? dynamic(WString(actual))
                                                                    : dynamic(words.actual);
  if (write) g_evaluator_log.d("%s %s", kOrigin, message);
  return !write;
}

DecisionLog::DecisionLog(const decision::CompiledList& list, LogThrottler& throttler,
                         WString* reason)
    : list_(list), throttler_(throttler) {
  if (reason != nullptr) reason_.emplace(list, *reason);
}

void DecisionLog::FilterPassed(std::size_t filter, const decision::Failure& failure) {
  if (reason_) reason_->FilterPassed(filter, failure);
  if (!g_evaluator_log.IsRead(YOX::LogLevel::Debug)) return;
  const std::uint64_t generation = LogThrottler::Generation();
  if (dropped_ == nullptr) dropped_ = &yox::ThreadOwned<DroppedLines>();
  DroppedLines::Line& line = dropped_->At(failure.step);
  if (!line.Is(throttler_, generation, list_, failure)) WriteFailure(failure, generation);
}

void DecisionLog::WriteFailure(const decision::Failure& failure, std::uint64_t generation) {
  if (!LogFailure(failure, throttler_)) return;
  dropped_->At(failure.step) = {&throttler_,
                                generation,
                                list_.id(),
                                &failure.step,
                                failure.is_unnamed,
                                HasActual(CriterionOf(failure.step)),
                                WString(ActualFor(failure))};
}

void DecisionLog::FilterDecided(std::size_t filter, const decision::CompiledList::Program& program,
                                bool applies) {
  if (reason_) reason_->FilterDecided(filter, program, applies);
}

void DecisionLog::RolloutStopped(const decision::Rollout& rollout,
                                 const decision::RolloutProgress& progress) {
  LogStoppedRollout(rollout, progress);
}

void DecisionLog::TermFailed(String::IntegerStatus status) { LogFailedTerm(status); }

void DecisionLog::DateRangeFailed(const std::exception& exception) {
  LogDateRangeFailure(exception);
}

}  // namespace yox::applicability
