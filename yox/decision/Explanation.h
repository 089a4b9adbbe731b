#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "yox/base/Export.h"
#include "yox/base/WString.h"
#include "yox/decision/FilterFields.h"

// Why a list decided as it did: what ApplicabilityEvaluator::Explain answers. Plain values. What is
// the device's or the list's own is UTF-16 text; `source` and `note` are words for people, in
// UTF-8.

namespace yox::decision {

// A missing fact is one that the device does not have: no such registry value, no realm, an empty
// text, no firmware tables. A differing one it has, and it is another than was required.
enum class CriterionResult : std::uint8_t { kHeld, kDiffers, kMissing };

// One thing that a criterion was held against.
struct ExplainedFact {
  yox::WString required;  // the criterion's text, or the one term of it that asks for this
  yox::WString actual;    // empty when the device has none
  std::string source;     // where it comes from: "region", "tag Ring"
  std::string note;       // what the two texts do not tell: "no such key"; often empty
  CriterionResult result = CriterionResult::kHeld;
};

struct ExplainedCriterion {
  FilterField field = FilterField::country;
  yox::WString required;
  // What a list of this criterion alone decides; kMissing when nothing but missing facts fail it.
  CriterionResult result = CriterionResult::kHeld;
  std::vector<ExplainedFact> facts;  // at least one; several where the text has terms
};

struct ExplainedFilter {
  enum class Outcome : std::uint8_t { kMatched, kNotMatched, kDefault, kNotReached };

  Outcome outcome = Outcome::kNotMatched;
  bool answer = true;  // what it decides when it does: its `default`, else its `value`
  // Every criterion that is set, in the order of evaluation, behind the first that fails too.
  std::vector<ExplainedCriterion> criteria;
};

struct Explanation {
  bool applies = false;
  yox::WString reason;                    // as EvaluateApplicability gives it
  std::optional<std::size_t> decided_by;  // the filter's index; nothing: none decided
  std::vector<ExplainedFilter> filters;
  // Of the filters that were passed over and would have turned the answer, the first of those with
  // the fewest failing criteria. These are what would have to change.
  std::optional<std::size_t> nearest_miss;
};

// How a decision went, without the rest: cheap enough to be kept for each decision.
struct DecisionTrace {
  bool applies = false;
  yox::WString reason;
  std::optional<std::size_t> decided_by;
  std::vector<FilterField> failed;  // for each filter passed over, the first criterion that failed
};

struct DecisionFlip {
  std::size_t filter = 0;
  FilterField criterion = FilterField::country;
  bool holds_now = false;
};

// The criterion that made another filter of the same list decide, or none: nothing when the same
// filter decides as before.
YOX_API std::optional<DecisionFlip> FlippedBy(const DecisionTrace& before,
                                              const DecisionTrace& after);

}  // namespace yox::decision
