#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "yox/base/Export.h"
#include "yox/base/WString.h"
#include "yox/decision/CompiledList.h"
#include "yox/decision/DeviceFacts.h"
#include "yox/decision/FilterFields.h"

// Why a list decided as it did. Plain values: what is the device's or the list's own is UTF-16
// text; `source` and `note` are words for people, in UTF-8.
namespace yox::decision {

enum class CriterionResult : std::uint8_t {
  kHeld,     // matched
  kDiffers,  // the device has a value, and it is another than was required
  kMissing,  // the device has none: no such registry value, no realm, an empty text
  kUnknown,  // nobody has given the value
};

// One thing that a criterion was compared with.
struct ExplainedFact {
  yox::WString required;  // the criterion's text, or the one term of it that asks for this
  yox::WString actual;    // empty when the device has none
  std::string source;     // where it comes from: "region", "tag Ring"
  std::string note;       // what the two texts do not say: "no such key"; often empty
  CriterionResult result = CriterionResult::kHeld;
};

struct ExplainedCriterion {
  FilterField field = FilterField::country;
  yox::WString required;
  // What a list of this criterion alone decides; kMissing when only missing facts make it false.
  CriterionResult result = CriterionResult::kHeld;
  std::vector<ExplainedFact> facts;  // at least one; several where the text has terms
  std::size_t facts_left_out = 0;  // how many there are beyond the first 256, which are in `facts`
};

struct ExplainedFilter {
  enum class Outcome : std::uint8_t { kMatched, kNotMatched, kDefault, kNotReached, kUndecided };

  Outcome outcome = Outcome::kNotMatched;
  bool answer = true;  // what it decides when it does: its `default`, else its `value`
  // Every criterion that is set, in the order of evaluation, those after the first failure too.
  std::vector<ExplainedCriterion> criteria;
};

struct Explanation {
  bool applies = false;
  yox::WString reason;                    // the reason text of the decision
  std::optional<std::size_t> decided_by;  // the filter's index; std::nullopt when none decided
  std::vector<ExplainedFilter> filters;
  // Of the filters that were passed over and would have turned the answer, the first of those with
  // the fewest failing criteria. These are what would have to change.
  std::optional<std::size_t> nearest_miss;
  // Whether facts are missing without which nothing can be said; then `applies` is false, and
  // `needs` has the names of these facts, sorted.
  bool is_undetermined = false;
  std::vector<std::string> needs;
};

// How a decision went, without the rest: cheap enough to be kept for each decision.
struct DecisionTrace {
  bool applies = false;
  yox::WString reason;
  std::optional<std::size_t> decided_by;
  std::vector<FilterField> failed;  // for each filter passed over, the first criterion that failed
};

// The list is decided, and then each of its criteria by itself, on the same facts. Both are safe
// from any thread that has a DeviceFacts object of its own.
YOX_API Explanation Explain(const CompiledList& list, DeviceFacts& facts);
YOX_API DecisionTrace Trace(const CompiledList& list, DeviceFacts& facts);

struct DecisionFlip {
  std::size_t filter = 0;
  FilterField criterion = FilterField::country;
  bool holds_now = false;
};

// The criterion that made another filter of the same list decide, or none; std::nullopt when the
// same filter decides as before. Of two devices that know all their facts.
YOX_API std::optional<DecisionFlip> FlippedBy(const DecisionTrace& before,
                                              const DecisionTrace& after);

}  // namespace yox::decision
