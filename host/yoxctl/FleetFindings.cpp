#include "host/yoxctl/FleetFindings.h"

#include <cstddef>
#include <deque>
#include <utility>

#include "yox/decision/FleetLint.h"
#include "yox/decision/PreparedDevice.h"
#include "yox/facts/FactsLine.h"

using yox::decision::FleetLint;

namespace yoxctl {

FleetFindings LintOnFleet(const FactsInput& input, const std::function<void()>& progress) {
  std::deque<FleetLint> lints;
  for (const ApplicabilityFilter& list : input.lists) lints.emplace_back(list);
  const yox::decision::Question question;
  FleetFindings findings;
  findings.count = ReadFleet(input, [&](FactsBatch& batch) {
    std::vector<FleetLint::Tally> tallies(lints.begin(), lints.end());
    while (batch.Next()) {
      if (progress) progress();
      for (FleetLint::Tally& tally : tallies) {
        yox::facts::LineFacts facts(batch.line(), question);
        tally.Add(facts);
      }
    }
    return [&lints, tallies = std::move(tallies)] {
      for (std::size_t i = 0; i < lints.size(); ++i) lints[i].Add(tallies[i]);
    };
  });
  for (const FleetLint& lint : lints) findings.of_lists.push_back(lint.Findings());
  return findings;
}

}  // namespace yoxctl
