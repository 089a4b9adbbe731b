#include "bindings/sql/TableRows.h"

#include <cstddef>
#include <utility>

#include "yox/base/Interruption.h"
#include "yox/base/String.h"
#include "yox/decision/Criteria.h"
#include "yox/decision/ExplanationDocument.h"
#include "yox/decision/Lint.h"

namespace yox::sql {
namespace {

using decision::CompiledList;
using decision::CriterionResult;
using decision::ExplainedCriterion;

void AppendWithComma(std::string& text, std::string_view part) {
  if (part.empty()) return;
  if (!text.empty()) text += ", ";
  text += part;
}

Cell TextOrNull(std::string text) {
  if (text.empty()) return {};
  return text;
}

Cell ActualOf(const ExplainedCriterion& criterion) {
  std::string actual;
  for (const auto& fact : criterion.facts) {
    AppendWithComma(actual, String::UTF16ToUTF8(fact.actual));
  }
  return TextOrNull(std::move(actual));
}

Cell MissingFactsOf(const CompiledList& list, const CompiledList::Step& step,
                    decision::DeviceFacts& facts) {
  std::vector<std::string> needs;
  step.evaluate({list, facts, nullptr, &needs}, step);
  std::string missing;
  for (const std::string& need : needs) AppendWithComma(missing, need);
  return TextOrNull(std::move(missing));
}

std::string NameOf(FilterField field) {
  return std::string(decision::kFilterFieldNames[static_cast<std::size_t>(field)]);
}

}  // namespace

std::vector<Row> CriteriaRows(const CompiledList& list, decision::DeviceFacts& facts) {
  const decision::Explanation explanation = Explain(list, facts);
  std::vector<Row> rows;
  for (std::size_t filter = 0; filter < explanation.filters.size(); ++filter) {
    ThrowIfInterrupted();
    const auto steps = list.Steps(list.programs()[filter]);
    for (std::size_t i = 0; i < steps.size(); ++i) {
      const ExplainedCriterion& criterion = explanation.filters[filter].criteria[i];
      const bool is_unknown = criterion.result == CriterionResult::kUnknown;
      rows.push_back({static_cast<std::int64_t>(filter), NameOf(criterion.field),
                      std::string(WordOf(criterion.result)),
                      String::UTF16ToUTF8(criterion.required), ActualOf(criterion),
                      is_unknown ? MissingFactsOf(list, steps[i], facts) : Cell()});
    }
  }
  return rows;
}

std::vector<Row> LintRows(std::string_view list, const LocalDate& today) {
  std::vector<Row> rows;
  for (const decision::LintFinding& finding : decision::LintDocument(list, today)) {
    const decision::LintRuleRow& rule = RowOf(finding.rule);
    Row& row = rows.emplace_back(Row(kLintColumns.size()));
    if (finding.filter) row[0] = static_cast<std::int64_t>(*finding.filter);
    if (finding.field) row[1] = NameOf(*finding.field);
    row[2] = std::string(rule.id);
    row[3] = rule.severity == decision::LintSeverity::kError ? "error" : "warning";
    row[4] = MessageOf(finding);
    row[5] = std::string(rule.remedy);
  }
  return rows;
}

}  // namespace yox::sql
