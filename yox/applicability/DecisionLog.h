#pragma once

#include <cstddef>
#include <exception>
#include <optional>

#include "yox/base/String.h"
#include "yox/base/WString.h"
#include "yox/decision/Observer.h"
#include "yox/decision/ReasonText.h"
#include "yox/foundation/LogThrottler.h"

// What the evaluator writes into its log about a decision.
namespace yox::applicability {

// The line of a roll-out that stopped before its share counted.
void LogStoppedRollout(const decision::Rollout& rollout, const decision::RolloutProgress& progress);
// The line of a clock that threw.
void LogDateRangeFailure(const std::exception& exception);
// The line of a term whose integers cannot be compared.
void LogFailedTerm(String::IntegerStatus status);
// The line of a failing criterion, unless the throttle has just seen it.
void LogFailure(const decision::Failure& failure, LogThrottler& throttler);

// Follows a decision: writes these lines and, unless `reason` is null, its reason text.
class DecisionLog final : public decision::Observer {
 public:
  // What is passed must outlive the object. `reason` is cleared.
  DecisionLog(const decision::CompiledList& list, LogThrottler& throttler, WString* reason);

  // Whether there is anything to write down.
  bool IsWanted() const;

  void FilterPassed(std::size_t filter, const decision::Failure& failure) override;
  void FilterDecided(std::size_t filter, const decision::CompiledList::Program& program,
                     bool applies) override;
  void RolloutStopped(const decision::Rollout& rollout,
                      const decision::RolloutProgress& progress) override;
  void TermFailed(String::IntegerStatus status) override;
  void DateRangeFailed(const std::exception& exception) override;

 private:
  std::optional<decision::ReasonText> reason_;
  LogThrottler& throttler_;
};

}  // namespace yox::applicability
