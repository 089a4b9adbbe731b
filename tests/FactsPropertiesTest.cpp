#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "yox/applicability/ApplicabilityEvaluator.h"
#include "yox/applicability/SimulatedProcess.h"
#include "yox/base/Json.h"
#include "yox/base/String.h"
#include "yox/decision/Decide.h"
#include "yox/decision/Explanation.h"
#include "yox/decision/ExplanationDocument.h"
#include "yox/decision/FactsDocument.h"
#include "yox/decision/FilterDocument.h"
#include "yox/decision/PreparedDevice.h"
#include "yox/decision/ReasonText.h"
#include "yox/facts/FactsLine.h"
#include "yox/platform/Platform.h"
#include "yox/platform/clock/Clock.h"
#include "yox/platform/simulated/DeviceProfileReader.h"
#include "yox/tags/AppAndTagCollection.h"

#include "tests/support/Generators.h"

// A device's facts document decides as the device does, reasons and explanations included, tried on
// generated devices and lists.
namespace yox_test {
namespace {

using yox::WString;
using yox::decision::Anonymity;
using yox::decision::Explanation;
using yox::decision::PreparedDevice;
using yox::decision::PreparedFacts;
using yox::decision::Question;
using yox::decision::Truth;
using yox::facts::FactsLine;
using yox::facts::LineFacts;

// Of a registry value that is missing, a document does not say whether its key is there.
std::string ComparableJson(Explanation explanation) {
  for (auto& filter : explanation.filters) {
    for (auto& criterion : filter.criteria) {
      for (auto& fact : criterion.facts) {
        const bool is_lookup = criterion.field == yox::decision::FilterField::registry;
        const bool is_missing =
            fact.note.starts_with("no such ") || fact.note.starts_with("longer than");
        if (is_lookup && is_missing) fact.note = "missing";
      }
    }
  }
  return yox::JsonText(ExplanationJson(explanation));
}

// The decision with its reason.
std::string Decision(bool applies, const WString& reason) {
  return (applies ? "applies: " : "does not apply: ") + YOX::String::UTF16ToUTF8(reason);
}

std::string Decision(const yox::decision::CompiledList& list, yox::decision::DeviceFacts& facts) {
  WString reason;
  yox::decision::ReasonText text(list, reason);
  const auto verdict = Decide(list, facts, &text);
  EXPECT_NE(verdict.applies, Truth::kUnknown);
  return Decision(verdict.applies == Truth::kTrue, reason);
}

TEST(FactsProperties, ADocumentDecidesAndExplainsAsItsDevice) {
  constexpr int kDevices = 120;
  constexpr std::size_t kLists = 12;
  Random random{41};
  int applying = 0;
  for (int i = 0; i < kDevices; ++i) {
    const GeneratedDevice device = MakeDevice(random, Mix::kEverything);
    const yox::applicability::SimulatedProcess process(
        yox::platform::ReadDeviceProfile(device.ToProfile()));
    AppAndTagCollection::List tags;
    for (const auto& pair : ToPairs(device.tags)) tags.emplace_back(pair.key(), pair.value());
    AppAndTagCollection::GetInstance()->setTags(tags);
    std::vector<ApplicabilityFilter> lists;
    for (std::size_t j = 0; j < kLists; ++j) {
      lists.push_back(MakeList(random, Mix::kEverything).ToFilters());
    }
    const auto evaluator = ApplicabilityEvaluator::CreateWithoutTasks();
    const auto record = evaluator->CollectFacts(lists);
    for (const Anonymity anonymity : {Anonymity::kNamed, Anonymity::kAnonymous}) {
      const std::string document = FactsJson(record, anonymity);
      const PreparedDevice prepared(yox::decision::ReadFacts(document));
      const std::string padded = document + std::string(FactsLine::kPadding, ' ');
      FactsLine line;
      line.Read(std::string_view(padded).substr(0, document.size()));
      for (const ApplicabilityFilter& list : lists) {
        const GeneratedArguments arguments = MakeArguments(random);
        Question question{
            yox::platform::Platform::Get().clock().Now(), {}, ToPairs(arguments.extra_tags)};
        if (!arguments.target_version.empty()) {
          question.target_version = YOX::String::UTF8ToUTF16(arguments.target_version);
        }
        WString target = question.target_version.value_or(WString());
        WString* const given = question.target_version ? &target : nullptr;
        const std::string context = document + yox::decision::WriteFilterDocument(list);

        WString reason;
        const bool applies = evaluator->IsApplicable(list, given, question.extra_tags, reason);
        applying += applies ? 1 : 0;
        const ApplicabilityFilter::Lease compiled(list);
        PreparedFacts facts(prepared, question);
        ASSERT_EQ(Decision(*compiled, facts), Decision(applies, reason)) << context;
        LineFacts line_facts(line, question);
        ASSERT_EQ(Decision(*compiled, line_facts), Decision(applies, reason)) << context;

        target = question.target_version.value_or(WString());
        const std::string explanation =
            ComparableJson(evaluator->Explain(list, given, question.extra_tags));
        PreparedFacts again(prepared, question);
        ASSERT_EQ(ComparableJson(Explain(*compiled, again)), explanation) << context;
        LineFacts line_again(line, question);
        ASSERT_EQ(ComparableJson(Explain(*compiled, line_again)), explanation) << context;
      }
    }
  }
  EXPECT_GT(applying, kDevices) << "the property would be empty";
}

}  // namespace
}  // namespace yox_test
