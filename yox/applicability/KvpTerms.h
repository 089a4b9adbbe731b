#pragma once

#include <algorithm>
#include <exception>
#include <optional>
#include <vector>

#include "yox/applicability/EvaluatorLog.h"
#include "yox/applicability/MatchOperators.h"
#include "yox/foundation/YOXTag.h"

namespace YOX::match {

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
