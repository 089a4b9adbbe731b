#pragma once

#include <optional>

namespace yox::decision {

// Returns the fact, which `fetch` creates at the first call.
template <class Value, class Fetch>
const Value& Fetched(std::optional<Value>& fact, Fetch fetch) {
  if (!fact) fact.emplace(fetch());
  return *fact;
}

}  // namespace yox::decision
