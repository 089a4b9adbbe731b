#pragma once

#include <exception>

#include "yox/applicability/ApplicabilityEvaluator.h"
#include "yox/applicability/EvaluatorLog.h"
#include "yox/applicability/MatchOperators.h"

namespace YOX::match {

// DoesKvpMatch: an exception of a comparison is logged and counts as false.
template <class Find>
bool LoggedTerm(WStringView term, const Find& find) {
  try {
    return Term(term, find);
  } catch (const std::exception& exception) {
    g_evaluator_log.e("%s : Exception - %s", "ApplicabilityEvaluator::DoesKvpMatch",
                      String::UTF8ToUTF16(exception.what()));
    return false;
  }
}

// EvaluateKvpFilter: all terms or any term of a comma list; no term at all is all of them.
template <class Find>
bool Terms(WStringView required, const Find& find, EvaluationModeForKVP mode) {
  const bool all = mode == EvaluationModeForKVP::AllTerms;
  if (!all && mode != EvaluationModeForKVP::AnyTerm) return false;
  for (auto rest = Pieces(required); rest;) {
    if (LoggedTerm(NextPiece(rest, ','), find) != all) return !all;
  }
  return all;
}

}  // namespace YOX::match
