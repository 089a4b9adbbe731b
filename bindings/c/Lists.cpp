// SPDX-License-Identifier: Apache-2.0
// Filter lists and what is wrong with them.
#include "yox/base/LocalDate.h"
#include "yox/decision/CompiledList.h"
#include "yox/decision/FilterDocument.h"
#include "yox/decision/Lint.h"
#include "yox/platform/Platform.h"
#include "yox/platform/clock/Clock.h"

#include "bindings/c/Handles.h"

using namespace yox::c;  // NOLINT: only C functions are defined here

struct yox_findings {
  struct Finding {
    yox::decision::LintFinding finding;
    std::string message;
  };

  std::vector<Finding> findings;
};

yox_status yox_list_read(const char* document, size_t size, yox_list** list) {
  return Guarded([&] {
    Required(list, "list");
    ApplicabilityFilter filter =
        yox::decision::ReadFilterDocument(Document(document, size, "document"));
    auto compiled = filter.snapshot();
    *list = new yox_list{std::move(filter), std::move(compiled)};
  });
}

yox_status yox_list_write(const yox_list* list, yox_string** document) {
  return Guarded([&] {
    Required(document, "document");
    *document = NewString(yox::decision::WriteFilterDocument(Required(list, "list").filter));
  });
}

size_t yox_list_count(const yox_list* list) {
  return list == nullptr ? 0 : list->compiled->filters().size();
}

void yox_list_free(yox_list* list) { delete list; }

yox_status yox_lint(const char* document, size_t size, const yox_date* today,
                    yox_findings** findings) {
  return Guarded([&] {
    Required(findings, "findings");
    const auto& clock = yox::platform::Platform::Get().clock();
    const yox::LocalDate date = today == nullptr
                                    ? clock.ToLocalDate(clock.Now())
                                    : yox::LocalDate{today->year, today->month, today->day};
    auto result = std::make_unique<yox_findings>();
    for (auto& finding : yox::decision::LintDocument(Document(document, size, "document"), date)) {
      std::string message = yox::decision::MessageOf(finding);
      result->findings.push_back({std::move(finding), std::move(message)});
    }
    std::ranges::stable_sort(result->findings, {}, [](const yox_findings::Finding& one) {
      return std::pair(one.finding.place.line, one.finding.place.column);
    });
    *findings = result.release();
  });
}

size_t yox_findings_count(const yox_findings* findings) {
  return findings == nullptr ? 0 : findings->findings.size();
}

yox_status yox_findings_get(const yox_findings* findings, size_t index, yox_finding* finding) {
  return Guarded([&] {
    const auto& [found, message] = At(Required(findings, "findings").findings, index, "index");
    const yox::decision::LintRuleRow& rule = yox::decision::RowOf(found.rule);
    Write(finding,
          {.size = 0,
           .severity = static_cast<int32_t>(rule.severity),
           .rule = {rule.id.data(), rule.id.size()},  // literals
           .filter = found.filter.value_or(YOX_NONE),
           .field = found.field ? FieldName(*found.field) : yox_text{"", 0},
           .line = found.place.line,
           .column = found.place.column,
           .message = Text(message),
           .remedy = {rule.remedy.data(), rule.remedy.size()}},
          "finding");
  });
}

void yox_findings_free(yox_findings* findings) { delete findings; }
