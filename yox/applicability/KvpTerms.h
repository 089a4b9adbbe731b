#pragma once

#include <algorithm>
#include <optional>
#include <vector>

#include "yox/applicability/EvaluatorLog.h"
#include "yox/applicability/MatchOperators.h"
#include "yox/foundation/YOXTag.h"

namespace yox::decision {

// Stored tags, and behind them the caller's, which replace stored ones of the same key.
struct FindInTags {
  const std::vector<YOXTag>& stored;
  const Pairs& extra;

  bool IsCallers(WStringView key) const {
    return std::ranges::any_of(extra, [&](const auto& other) { return other.key() == key; });
  }
  std::optional<PairView> operator()(const TextPattern& key) const {
    for (const YOXTag& tag : stored) {
      if (!key.Matches(String::Trimmed(tag.key()))) continue;
      if (!IsCallers(tag.key())) return PairView{tag.key(), tag.value()};
    }
    return FindInPairs{extra}(key);
  }
};

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
