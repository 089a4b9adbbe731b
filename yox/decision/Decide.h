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

// The decision as a pure function of a list and a device's facts. Safe from any thread that has a
// DeviceFacts object of its own. Throws what the facts or the observer throw.
namespace yox::decision {

// What a list decides for a device.
struct Verdict {
  Truth applies = Truth::kUnknown;
  // The index of the filter that decided; std::nullopt if none did, or if an undecided filter came
  // first.
  std::optional<std::size_t> decided_by = {};
  // For an undetermined verdict, the names of the facts that would settle it, sorted.
  std::vector<std::string> needs = {};
};

// Decides a list for a device. Filters are evaluated in order: the first that matches decides by
// its `value`; a filter with `default` decides without a look at its criteria. A list in which no
// filter decides does not apply; an empty list applies.
//
// A filter is undecided when some of its criteria are unknown and none is false. Evaluation then
// goes on both as if it had matched and as if it had not; the verdict is undetermined if the two
// end differently. A verdict that is not undetermined is therefore the verdict of every device that
// agrees with the known facts.
YOX_API Verdict Decide(const CompiledList& list, DeviceFacts& facts, Observer* observer = nullptr);

// The same for callers that only ask whether the list applies: Verdict::applies.
YOX_API Truth Applies(const CompiledList& list, DeviceFacts& facts, Observer* observer = nullptr);

// The result of one filter: kTrue if it matches. `failed` is the first criterion that is false;
// null if there is none.
struct FilterMatch {
  Truth truth = Truth::kTrue;
  const CompiledList::Step* failed = nullptr;
  bool is_unnamed = false;  // as in Failure
};
FilterMatch MatchFilter(const CompiledList& list, const CompiledList::Program& program,
                        DeviceFacts& facts, Observer* observer);

}  // namespace yox::decision
