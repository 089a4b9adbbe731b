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

// Why a list decided as it did, as plain values. Texts of the device and of the list are UTF-16;
// `source` and `note` are English words, UTF-8.
namespace yox::decision {

enum class CriterionResult : std::uint8_t {
  kHeld,     // matched
  kDiffers,  // the device has a value that does not match
  kMissing,  // the device has no value: no such registry value, no realm, an empty text
  kUnknown,  // the value is not known
};

// One comparison of a criterion with the device.
struct ExplainedFact {
  yox::WString required;  // the criterion's text, or one term of it
  yox::WString actual;    // empty if the device has none
  std::string source;     // where it comes from: "region", "tag Ring"
  std::string note;       // an addition, such as "no such key"; often empty
  CriterionResult result = CriterionResult::kHeld;
};

// The result of one criterion of a filter, and what it was compared with.
struct ExplainedCriterion {
  FilterField field = FilterField::country;
  yox::WString required;
  // The result of this criterion alone; kMissing if only missing facts make it false.
  CriterionResult result = CriterionResult::kHeld;
  std::vector<ExplainedFact> facts;  // at least one; several where the text has terms
  std::size_t facts_left_out = 0;  // how many there are beyond the first 256, which are in `facts`
};

// The result of one filter of the list.
struct ExplainedFilter {
  enum class Outcome : std::uint8_t { kMatched, kNotMatched, kDefault, kNotReached, kUndecided };

  Outcome outcome = Outcome::kNotMatched;
  bool answer = true;  // what it would decide: its `default`, otherwise its `value`
  // Every criterion that is set, in the order of evaluation, those after the first failure too.
  std::vector<ExplainedCriterion> criteria;
};

// A decision with the result of every criterion of every filter.
struct Explanation {
  bool applies = false;
  yox::WString reason;                    // the reason text of the decision
  std::optional<std::size_t> decided_by;  // the filter's index; std::nullopt when none decided
  std::vector<ExplainedFilter> filters;
  // Among the filters that did not match and would have decided the opposite, the first with the
  // fewest failing criteria, which are what would have to change.
  std::optional<std::size_t> nearest_miss;
  // Whether the decision depends on unknown facts; then `applies` is false, and `needs` has the
  // names of these facts, sorted.
  bool is_undetermined = false;
  std::vector<std::string> needs;
};

// The short form of an explanation, cheap enough to keep one for each decision.
struct DecisionTrace {
  bool applies = false;
  yox::WString reason;
  std::optional<std::size_t> decided_by;
  std::vector<FilterField>
      failed;  // for each filter that did not match, its first criterion that failed
};

// Explain decides the list, and then evaluates every criterion by itself on the same facts. Trace
// only decides. Both are safe from any thread that has a DeviceFacts object of its own, and throw
// what the facts throw.
YOX_API Explanation Explain(const CompiledList& list, DeviceFacts& facts);
YOX_API DecisionTrace Trace(const CompiledList& list, DeviceFacts& facts);

// The criterion that made another filter decide: its filter's index, and its result afterwards.
struct DecisionFlip {
  std::size_t filter = 0;
  FilterField criterion = FilterField::country;
  bool holds_now = false;
};

// Compares two traces of the same list, for devices that know all their facts. Returns the
// criterion because of which another filter decides; std::nullopt if the same filter decides in
// both.
YOX_API std::optional<DecisionFlip> FlippedBy(const DecisionTrace& before,
                                              const DecisionTrace& after);

}  // namespace yox::decision
