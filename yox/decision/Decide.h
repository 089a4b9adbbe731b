#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "yox/base/Export.h"
#include "yox/decision/CompiledList.h"
#include "yox/decision/DeviceFacts.h"
#include "yox/decision/Observer.h"
#include "yox/decision/Truth.h"

// The decision itself: one list, one device, nothing else. Safe from any thread that has a
// DeviceFacts object of its own.
namespace yox::decision {

struct Verdict {
  Truth applies = Truth::kUnknown;
  // The filter that decided; std::nullopt when none did, or when the walk met a filter that is
  // undecided.
  std::optional<std::size_t> decided_by = {};
  // Sorted, of an undetermined verdict: the names of the facts that would settle it.
  std::vector<std::string> needs = {};
};

// Walks the list up to the filter that decides. The first filter that matches decides by its
// `value`, one with `default` unseen; a list without a decisive filter does not apply, and an empty
// list applies.
//
// A filter is undecided when some of its criteria are unknown and none is false. It leaves both
// ways open, and the walk goes on; the list is undetermined when the open ways end differently. A
// verdict that is not undetermined is therefore the verdict of every device that agrees with the
// known facts.
YOX_API Verdict Decide(const CompiledList& list, DeviceFacts& facts, Observer* observer = nullptr);

// What one filter does: kTrue when it matches. `failed` is the first criterion that is false.
struct FilterMatch {
  Truth truth = Truth::kTrue;
  const CompiledList::Step* failed = nullptr;
  bool is_unnamed = false;  // as in Failure
};
FilterMatch MatchFilter(const CompiledList& list, const CompiledList::Program& program,
                        DeviceFacts& facts, Observer* observer);

}  // namespace yox::decision
