#pragma once

#include <exception>

#include "yox/applicability/EvaluatorLog.h"
#include "yox/applicability/MatchOperators.h"

namespace YOX::match {

// Whether a term holds; an exception of a comparison is logged and counts as false.
template <class Find>
bool LoggedMatch(const KeyValueTerm& term, const Find& find) {
  try {
    return term.Matches(find);
  } catch (const std::exception& exception) {
    g_evaluator_log.e("%s : Exception - %s", "ApplicabilityEvaluator::DoesKvpMatch",
                      String::UTF8ToUTF16(exception.what()));
    return false;
  }
}

}  // namespace YOX::match
