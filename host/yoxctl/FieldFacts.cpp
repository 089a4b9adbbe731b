#include "host/yoxctl/FieldFacts.h"

#include "yox/applicability/ApplicabilityEvaluator.h"
#include "yox/base/String.h"

#include "host/yoxctl/MachineRecord.h"
#include "host/yoxctl/Output.h"

using yox::decision::ExplainedFact;
using yox::decision::FilterField;

namespace yoxctl {

std::vector<ExplainedFact> FactsOfField(FilterField field, const std::string& text) {
  if (field == FilterField::default_ || field == FilterField::value) return {};
  Filter filter;
  filter.Set(field, YOX::String::UTF8ToUTF16(text));
  PublishMachineRecord();
  const auto explanation = ApplicabilityEvaluator::CreateWithoutTasks()->Explain(
      ApplicabilityFilter({filter}), nullptr, {});
  const auto& criteria = explanation.filters.at(0).criteria;
  return criteria.empty() ? std::vector<ExplainedFact>() : criteria.front().facts;
}

std::string FactText(const ExplainedFact& fact) {
  if (fact.actual.empty()) return "nothing (" + OneLine(fact.note) + ")";
  return OneLine(YOX::String::UTF16ToUTF8(fact.actual)) + " (" + OneLine(fact.source) + ")";
}

}  // namespace yoxctl
