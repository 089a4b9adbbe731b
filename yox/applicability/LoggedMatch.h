#pragma once

#include "yox/applicability/EvaluatorLog.h"
#include "yox/decision/MatchOperators.h"

namespace yox::decision {

// Whether a term holds; integers that cannot be compared are logged and count as false.
template <class Find>
bool LoggedMatch(const KeyValueTerm& term, const Find& find) {
  bool holds = false;
  const String::IntegerStatus status = term.TryMatch(find, holds);
  if (status == String::IntegerStatus::kOk) return holds;
  g_evaluator_log.e("%s : Exception - %s", "ApplicabilityEvaluator::DoesKvpMatch",
                    String::IntegerError(status));
  return false;
}

}  // namespace yox::decision
