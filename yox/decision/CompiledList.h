#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "yox/decision/Dates.h"
#include "yox/decision/Filter.h"
#include "yox/decision/HardwareIdRequirement.h"
#include "yox/decision/InlineStep.h"
#include "yox/decision/MatchOperators.h"
#include "yox/decision/RegistryRequirement.h"
#include "yox/decision/TextAlternatives.h"
#include "yox/decision/TextArena.h"
#include "yox/decision/Truth.h"

namespace yox::decision {

struct Evaluation;

// A list of filters with every requirement parsed, so that a decision parses none. Immutable: all
// copies of an ApplicabilityFilter and all threads share one. Parsing cannot fail: a malformed
// requirement becomes one that matches no device, or every device, as docs/filter-list.md says.
class alignas(64) CompiledList {
 public:
  enum class Control : std::uint8_t { kNotSet, kTrue, kFalse };

  // One criterion that is set: the index of its row in kCriteria, and the range of its requirements
  // in the vector of their kind.
  struct Step {
    FilterField field;
    std::uint8_t criterion;
    std::uint32_t first;
    std::uint32_t count;
    WStringView required;                                               // as the filter has it
    Truth (*evaluate)(const Evaluation& evaluation, const Step& step);  // from the row
    TextAlternatives::Set alternatives = {};                            // of texts
    WStringView reason = {};  // "Filter [3]: country = false; ", when this step fails
  };

  // One filter: what it decides when it matches, and the range of its steps.
  struct Program {
    const Filter* filter;
    Control decides;  // `default`
    bool value;       // what a match decides
    std::uint32_t first_step;
    std::uint32_t step_count;
    WStringView opening;         // "Filter [3]: ", how the filter's part of a reason begins
    std::uint32_t first_inline;  // the steps once more, in the same order; a step may be several
  };

  explicit CompiledList(std::vector<Filter> filters);
  CompiledList(const CompiledList&) = delete;
  CompiledList& operator=(const CompiledList&) = delete;

  // No other list of the process has it, nor had before.
  std::uint64_t id() const { return id_; }
  const std::vector<Filter>& filters() const { return filters_; }
  const std::vector<Program>& programs() const { return programs_; }
  // An upper bound of the length, in UTF-16 units, of a reason text for this list.
  std::size_t longest_reason() const { return longest_reason_; }

  // The criteria of a filter, in the order of evaluation, and the parsed requirements of a step.
  // Only the function for the language of the step's criterion may be called. Views and references
  // are valid while the list lives.
  std::span<const Step> Steps(const Program& program) const {
    return std::span(steps_).subspan(program.first_step, program.step_count);
  }
  // The inline steps of all filters, in order; those of a filter's criteria begin at its
  // `first_inline`.
  const InlineStep* inline_steps() const { return inline_steps_.data(); }
  const Step& StepOf(const InlineStep& step) const { return steps_[step.step]; }
  const KeyValueTerm& TermOf(const InlineStep& step) const { return terms_[step.size]; }
  std::span<const TextPattern> Texts(const Step& step) const { return Of(texts_, step); }
  // The same, arranged for matching, as the sets of steps.
  const TextAlternatives& alternatives() const { return alternatives_; }
  std::span<const VersionRequirement> Versions(const Step& step) const {
    return Of(versions_, step);
  }
  std::span<const KeyValueTerm> Terms(const Step& step) const { return Of(terms_, step); }
  std::span<const CompiledRegistryRequirement> Registry(const Step& step) const {
    return Of(registry_, step);
  }
  const DateRange& Range(const Step& step) const { return ranges_[step.first]; }
  const Rollout& RolloutOf(const Step& step) const { return rollouts_[step.first]; }
  const HardwareIdRequirement& HardwareId(const Step& step) const {
    return hardware_ids_[step.first];
  }

 private:
  template <class Requirement>
  static std::span<const Requirement> Of(const std::vector<Requirement>& all, const Step& step) {
    return std::span(all).subspan(step.first, step.count);
  }

  void Compile(const Filter& filter);
  void CompileCriterion(Step& step);
  TextPattern Folded(TextPattern pattern);
  void AddInline(const Step& step);
  void AddInlineMark(InlineStep::Kind kind, bool applies = false);
  void LinkInlineSteps();

  // What most decisions use, in one line of the cache.
  std::vector<InlineStep> inline_steps_;
  std::vector<Step> steps_;
  std::vector<KeyValueTerm> terms_;

  const std::uint64_t id_;
  const std::vector<Filter> filters_;
  TextArena arena_;
  std::vector<Program> programs_;
  std::vector<TextPattern> texts_;
  TextAlternatives alternatives_;
  std::vector<VersionRequirement> versions_;
  std::vector<DateRange> ranges_;
  std::vector<Rollout> rollouts_;
  std::vector<CompiledRegistryRequirement> registry_;
  std::vector<HardwareIdRequirement> hardware_ids_;
  std::size_t longest_reason_ = 0;
};

}  // namespace yox::decision
