#include "host/yoxctl/FleetKnowledge.h"

#include <cstddef>

#include "yox/decision/CompiledList.h"

using yox::decision::LintFinding;

namespace yoxctl {

std::vector<LintFinding> FleetKnowledge::FindingsOf(const ApplicabilityFilter& list,
                                                    std::set<CriterionText>& unknown) const {
  std::vector<LintFinding> findings;
  const auto compiled = list.snapshot();
  std::size_t filter = 0;
  for (const auto& program : compiled->programs()) {
    for (const auto& step : compiled->Steps(program)) {
      const auto of_field = known_.find(step.field);
      if (of_field != known_.end()) {
        const auto found = of_field->second.find(step.required);
        if (found != of_field->second.end()) {
          for (const LintFinding& known : found->second) {
            findings.push_back(known);
            findings.back().filter = filter;
          }
          continue;
        }
      }
      unknown.emplace(step.field, step.required);
    }
    ++filter;
  }
  return findings;
}

bool FleetKnowledge::Knows(const CriterionText& criterion) const {
  const auto of_field = known_.find(criterion.first);
  return of_field != known_.end() && of_field->second.contains(criterion.second);
}

bool FleetKnowledge::Learn(const std::set<CriterionText>& criteria,
                           std::vector<LintFinding> findings) {
  std::vector<Findings*> of_filters;
  for (const auto& [field, text] : criteria) {
    Findings& known = known_[field][text];
    known.clear();
    of_filters.push_back(&known);
  }
  for (LintFinding& finding : findings) {
    of_filters[finding.filter.value()]->push_back(std::move(finding));
  }
  return !findings.empty();
}

ApplicabilityFilter FleetKnowledge::ListOf(const std::set<CriterionText>& criteria) {
  std::vector<Filter> filters;
  for (const auto& [field, text] : criteria) filters.emplace_back().Set(field, text);
  return ApplicabilityFilter(std::move(filters));
}

}  // namespace yoxctl
