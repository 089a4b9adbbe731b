#pragma once

#include <map>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "yox/base/WString.h"
#include "yox/decision/Filter.h"
#include "yox/decision/FilterFields.h"
#include "yox/decision/Lint.h"

namespace yoxctl {

// A field with the text of its criterion, UTF-16.
using CriterionText = std::pair<yox::decision::FilterField, yox::WString>;

// Findings about a fleet, by the criterion that they are about. An edit of a list changes few
// criteria, so that only these have to be evaluated on the fleet. For one thread.
class FleetKnowledge {
 public:
  // Returns the findings of a list's criteria, as far as they are known, in the order of the
  // filters. Adds the criteria that are not known to `unknown`.
  std::vector<yox::decision::LintFinding> FindingsOf(const ApplicabilityFilter& list,
                                                     std::set<CriterionText>& unknown) const;

  // Keeps what was found of ListOf(criteria). Returns whether anything was.
  bool Learn(const std::set<CriterionText>& criteria,
             std::vector<yox::decision::LintFinding> findings);

  bool Knows(const CriterionText& criterion) const;

  void Forget() { known_.clear(); }

  // Returns a list with one filter for each criterion, in the order of the set.
  static ApplicabilityFilter ListOf(const std::set<CriterionText>& criteria);

 private:
  using Findings = std::vector<yox::decision::LintFinding>;
  std::map<yox::decision::FilterField, std::map<yox::WString, Findings, std::less<>>> known_;
};

}  // namespace yoxctl
