#pragma once

#include <utility>

#include "yox/decision/MatchOperators.h"
#include "yox/decision/PreparedDevice.h"
#include "yox/decision/TextArena.h"

namespace yox::applicability {

// Pairs of names and texts, and their index. Never changes; many decisions share one.
struct IndexedPairs {
  explicit IndexedPairs(decision::Pairs given) : pairs(std::move(given)), index(pairs, arena) {}
  IndexedPairs(const IndexedPairs&) = delete;
  IndexedPairs& operator=(const IndexedPairs&) = delete;

  const decision::Pairs pairs;
  decision::TextArena arena;  // of the index
  const decision::PreparedPairs index;
};

}  // namespace yox::applicability
