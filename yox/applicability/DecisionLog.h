#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <optional>

#include "yox/applicability/EvaluatorLog.h"
#include "yox/base/String.h"
#include "yox/base/WString.h"
#include "yox/decision/Observer.h"
#include "yox/decision/ReasonText.h"
#include "yox/foundation/LogThrottler.h"

// What the evaluator writes into its log about a decision.
namespace yox::applicability {

// Write one line of the evaluator's log each. For a roll-out that is at neither of the stages
// kGrowing and kComplete;
void LogStoppedRollout(const decision::Rollout& rollout, const decision::RolloutProgress& progress);
// for an exception from the clock;
void LogDateRangeFailure(const std::exception& exception);
// for a term with a text that is not an integer;
void LogFailedTerm(String::IntegerStatus status);
// for a criterion that is false, unless the throttle has just logged the same. Returns whether the
// throttle dropped the line.
bool LogFailure(const decision::Failure& failure, LogThrottler& throttler);

class DroppedLines;

// The observer of a decision, for one thread: writes these lines and, unless `reason` is null, the
// reason text.
class DecisionLog final : public decision::Observer {
 public:
  // The arguments must outlive the object. `reason` is cleared.
  DecisionLog(const decision::CompiledList& list, LogThrottler& throttler, WString* reason);

  // Whether some line would go to the log; a decision without a reason needs no observer otherwise.
  // Nothing silences the log of a decision: that is for explanations.
  static bool IsRead() { return g_evaluator_log.IsRead(YOX::LogLevel::Error); }

  void FilterPassed(std::size_t filter, const decision::Failure& failure) override;
  void FilterDecided(std::size_t filter, const decision::CompiledList::Program& program,
                     bool applies) override;
  void RolloutStopped(const decision::Rollout& rollout,
                      const decision::RolloutProgress& progress) override;
  void TermFailed(String::IntegerStatus status) override;
  void DateRangeFailed(const std::exception& exception) override;

 private:
  // `generation` is that of the throttle before it is asked.
  [[gnu::noinline]] void WriteFailure(const decision::Failure& failure, std::uint64_t generation);

  const decision::CompiledList& list_;
  std::optional<decision::ReasonText> reason_;
  LogThrottler& throttler_;
  DroppedLines* dropped_ = nullptr;  // the thread's, once it is needed
};

}  // namespace yox::applicability
