#include "yox/decision/Explanation.h"

#include <algorithm>

namespace yox::decision {

std::optional<DecisionFlip> FlippedBy(const DecisionTrace& before, const DecisionTrace& after) {
  const std::size_t filter = std::min(before.failed.size(), after.failed.size());
  if (filter < after.failed.size()) return DecisionFlip{filter, after.failed[filter], false};
  if (filter < before.failed.size()) return DecisionFlip{filter, before.failed[filter], true};
  return std::nullopt;
}

}  // namespace yox::decision
