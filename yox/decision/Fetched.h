#pragma once

#include <optional>

namespace yox::decision {

// A fact that is fetched when it is first asked for.
template <class Value, class Fetch>
const Value& Fetched(std::optional<Value>& fact, Fetch fetch) {
  if (!fact) fact.emplace(fetch());
  return *fact;
}

}  // namespace yox::decision
