#pragma once

#include <algorithm>
#include <optional>
#include <vector>

#include "yox/decision/MatchOperators.h"
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

}  // namespace yox::decision
