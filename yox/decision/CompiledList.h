#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "yox/decision/Dates.h"
#include "yox/decision/Filter.h"
#include "yox/decision/MatchOperators.h"

namespace yox::decision {

// A list of filters with every requirement parsed, so that a decision reads no requirement's text.
// Never changes once built: shared by all copies of an ApplicabilityFilter and by all threads.
class CompiledList {
 public:
  enum class Control : std::uint8_t { kNotSet, kTrue, kFalse };

  // One criterion that is set: its row in kCriteria, and its requirements in the list of their
  // kind.
  struct Step {
    FilterField field;
    std::uint8_t criterion;
    std::uint32_t first;
    std::uint32_t count;
  };

  struct Program {
    const Filter* filter;
    Control decides;  // `default`
    bool value;       // what a match answers
    std::uint32_t first_step;
    std::uint32_t step_count;
  };

  explicit CompiledList(std::vector<Filter> filters);
  CompiledList(const CompiledList&) = delete;
  CompiledList& operator=(const CompiledList&) = delete;

  const std::vector<Filter>& filters() const { return filters_; }
  const std::vector<Program>& programs() const { return programs_; }

  std::span<const Step> Steps(const Program& program) const {
    return std::span(steps_).subspan(program.first_step, program.step_count);
  }
  std::span<const TextPattern> Texts(const Step& step) const {
    return std::span(texts_).subspan(step.first, step.count);
  }
  std::span<const VersionRequirement> Versions(const Step& step) const {
    return std::span(versions_).subspan(step.first, step.count);
  }
  std::span<const KeyValueTerm> Terms(const Step& step) const {
    return std::span(terms_).subspan(step.first, step.count);
  }
  const DateRange& Range(const Step& step) const { return ranges_[step.first]; }
  const Rollout& RolloutOf(const Step& step) const { return rollouts_[step.first]; }

 private:
  void Compile(const Filter& filter);

  const std::vector<Filter> filters_;
  std::vector<Program> programs_;
  std::vector<Step> steps_;
  std::vector<TextPattern> texts_;
  std::vector<VersionRequirement> versions_;
  std::vector<KeyValueTerm> terms_;
  std::vector<DateRange> ranges_;
  std::vector<Rollout> rollouts_;
};

}  // namespace yox::decision
