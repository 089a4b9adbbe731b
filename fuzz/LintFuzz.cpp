#include <algorithm>
#include <optional>
#include <set>

#include "yox/applicability/TestEvaluator.h"
#include "yox/base/Document.h"
#include "yox/base/String.h"
#include "yox/decision/FilterDocument.h"
#include "yox/decision/Lint.h"

#include "fuzz/FuzzInput.h"
#include "tests/support/TestRecord.h"

using yox::decision::LintDocument;
using yox::decision::LintFinding;
using yox::decision::LintRule;
using yox::decision::MessageOf;
using yox::decision::ReadFilterDocument;

using YOX::String;
using yox::WString;
using namespace yox::literals;

namespace {

// What is said of the list is true on one device.
void CheckDecision(const ApplicabilityFilter& list, const std::vector<LintFinding>& findings,
                   const WString& fact) {
  static yox_test::TestEvaluator evaluator;
  const auto record = yox_test::MakeRecord();
  record->set_os_region(fact);
  record->set_os_language(fact);
  record->set_device_model(fact);
  record->set_device_family(fact);
  record->set_os_version(fact);
  WString target = fact;
  const ApplicabilityEvaluator::Pairs tags = {{fact, fact}, {"Ring"_w, fact}};
  const auto decide = [&](const ApplicabilityFilter& of) {
    WString none = ApplicabilityEvaluator::discard_reason_;
    return evaluator.EvaluateApplicability(record, fact, of, nullptr, &target, tags, none);
  };
  const bool applies = decide(list);

  // Without the unreachable filters the list decides the same.
  std::set<std::size_t> unreachable;
  for (const LintFinding& finding : findings) {
    if (finding.rule == LintRule::kUnreachable) unreachable.insert(*finding.filter);
    if (finding.rule == LintRule::kConstantList) {
      FUZZ_CHECK(applies == (finding.detail == "it always applies"));
    }
  }
  if (unreachable.empty()) return;
  ApplicabilityFilter::List kept;
  const ApplicabilityFilter::List all = list.filters();
  for (std::size_t i = 0; i < all.size(); ++i) {
    if (!unreachable.contains(i)) kept.push_back(all[i]);
  }
  FUZZ_CHECK(decide(ApplicabilityFilter(kept)) == applies);
}

}  // namespace

// A line with a device's facts, and a filter document after it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  yox_fuzz::FuzzInput input(data, size);
  const WString fact = input.Text();
  try {
    const std::string document(input.Rest());
    const auto findings = LintDocument(document, {2026, 3, 1});
    const ApplicabilityFilter list = ReadFilterDocument(document);
    const auto lines = static_cast<std::size_t>(std::ranges::count(document, '\n')) + 1;
    for (const LintFinding& finding : findings) {
      FUZZ_CHECK(!finding.filter || *finding.filter < list.filters().size());
      FUZZ_CHECK(finding.place.line <= lines && finding.place.column <= document.size() + 1);
      FUZZ_CHECK(MessageOf(finding).find('\n') == std::string::npos);
      if (!finding.field) continue;
      const WString text = list.filters()[*finding.filter].View(*finding.field);
      FUZZ_CHECK(finding.offset + finding.length <= text.size());
      FUZZ_CHECK(String::UTF16ToUTF8(text.substr(finding.offset, finding.length)) ==
                 finding.excerpt);
    }
    CheckDecision(list, findings, fact);
    CheckDecision(list, findings, {});
    CheckDecision(list, findings, "10.0.1"_w);
  } catch (const yox::DocumentError&) {
  }
  return 0;
}
