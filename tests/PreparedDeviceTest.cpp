#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "yox/applicability/TestEvaluator.h"
#include "yox/base/String.h"
#include "yox/base/TimeZone.h"
#include "yox/decision/Decide.h"
#include "yox/decision/Explanation.h"
#include "yox/decision/KnownValues.h"
#include "yox/decision/PreparedDevice.h"
#include "yox/decision/ReasonText.h"
#include "yox/platform/Platform.h"
#include "yox/platform/clock/Clock.h"
#include "yox/platform/simulated/DeviceProfileReader.h"
#include "yox/platform/simulated/SimulatedDevice.h"
#include "yox/tags/AppAndTagCollection.h"

#include "tests/support/Encodings.h"
#include "tests/support/Generators.h"
#include "tests/support/TestRecord.h"

// A prepared device decides as the running evaluator does on a device of the same facts, reasons
// and explanations included, tried on generated ones.
namespace yox_test {
namespace {

using YOX::String;
using yox::WString;
using yox::decision::Explanation;
using yox::decision::FactsRecord;
using yox::decision::FilterField;
using yox::decision::Given;
using yox::decision::Pairs;
using yox::decision::PreparedDevice;
using yox::decision::PreparedFacts;
using yox::decision::Question;
using yox::decision::Truth;
using yox::platform::Platform;
using yox::platform::ReadDeviceProfile;
using yox::platform::ScopedPlatform;
using yox::platform::SimulatedDevice;
using namespace yox::literals;

std::vector<WString> WideAll(const std::vector<std::string>& texts) {
  std::vector<WString> wide;
  for (const std::string& text : texts) wide.push_back(Wide(text));
  return wide;
}

FactsRecord FactsOf(const GeneratedDevice& device) {
  FactsRecord facts;
  const auto set = [&](FilterField field, const std::string& text) {
    facts.text(field) = Given<WString>::Known(Wide(text));
  };
  set(FilterField::country, device.country_code);
  set(FilterField::language, device.language_code);
  set(FilterField::mfr, device.manufacturer);
  set(FilterField::family, device.family);
  set(FilterField::model, device.model_number);
  set(FilterField::enclosure, device.enclosure_type);
  set(FilterField::os_version, device.os_version);
  set(FilterField::os_description, device.os_caption);
  set(FilterField::version, device.client_version);
  set(FilterField::sku, device.sku);
  if (!device.has_firmware) facts.text(FilterField::sku) = Given<WString>::Missing();
  facts.text(FilterField::os_bitness) =
      Given<WString>::Known(WString(yox::decision::BitnessText(device.os_architecture)));
  facts.SetSerialNumber(Given<WString>::Known(Wide(device.serial_number)));
  facts.SetRealm(device.has_organisation ? Given<WString>::Known(Wide(device.realm))
                                         : Given<WString>::Missing());
  facts.device_subscriptions =
      device.has_organisation ? Given<std::vector<WString>>::Known(WideAll(device.subscriptions))
                              : Given<std::vector<WString>>::Missing();
  facts.time_zone = yox::TimeZone();
  facts.tags = ToPairs(device.tags);
  facts.installed_items.emplace();
  std::vector<GeneratedDevice::Application> applications = device.installed_apps;
  std::ranges::sort(applications, {}, &GeneratedDevice::Application::key);
  for (const auto& application : applications) {
    facts.installed_items->emplace_back(Wide(application.key), Wide(application.version));
    facts.installed_items->emplace_back(Wide(application.name), Wide(application.version));
  }
  facts.hardware_ids = WideAll(device.hardware_ids);
  // The generated lists ask for three values.
  for (const char* const name : {"Channel", "Level", "Owner"}) {
    auto& value = facts.registry.emplace_back();
    value.key = "HKLM\\SOFTWARE\\Contoso\\App"_w;
    value.name = Wide(name);
    for (const auto& [there, data] : device.registry_values) {
      if (there == name) value.text = Wide(data);
    }
  }
  facts.registry.push_back({"HKLM\\SOFTWARE\\Nobody"_w, "Nothing"_w, std::nullopt});
  return facts;
}

std::string ComparableText(const Explanation& explanation) {
  std::string words = String::UTF16ToUTF8(explanation.reason);
  for (const auto& filter : explanation.filters) {
    words += "\nfilter " + std::to_string(static_cast<int>(filter.outcome));
    for (const auto& criterion : filter.criteria) {
      for (const auto& fact : criterion.facts) {
        // What a look-up of a value that is not there says of its key is the registry's own.
        const bool is_registry = criterion.field == FilterField::registry;
        words += "\n" + String::UTF16ToUTF8(fact.required) + " / " +
                 String::UTF16ToUTF8(fact.actual) + " / " + fact.source + " / " +
                 (is_registry && fact.note.starts_with("no such") ? "no such" : fact.note) + " / " +
                 std::to_string(static_cast<int>(fact.result));
      }
    }
  }
  return words;
}

TEST(PreparedDeviceProperties, DecidesAndExplainsAsTheRunningEvaluatorDoes) {
  constexpr int kDevices = 250;
  constexpr int kListsForEach = 12;
  Random random{17};
  TestEvaluator evaluator;
  AppAndTagCollection* const collection = AppAndTagCollection::GetInstance();
  int applying = 0;
  for (int i = 0; i < kDevices; ++i) {
    const GeneratedDevice device = MakeDevice(random, Mix::kEverything);
    SimulatedDevice simulated(ReadDeviceProfile(device.ToProfile()));
    const ScopedPlatform installed(simulated);
    const auto record = MakeRecord();
    device.Fill(*record);
    AppAndTagCollection::List tags;
    for (const auto& pair : ToPairs(device.tags)) tags.emplace_back(pair.key(), pair.value());
    collection->setTags(tags);
    const PreparedDevice prepared(FactsOf(device));
    for (int j = 0; j < kListsForEach; ++j) {
      const GeneratedArguments arguments = MakeArguments(random);
      const GeneratedList list = MakeList(random, Mix::kEverything);
      const ApplicabilityFilter filter = list.ToFilters();
      Question question{Platform::Get().clock().Now(), {}, ToPairs(arguments.extra_tags)};
      if (!arguments.target_version.empty())
        question.target_version = Wide(arguments.target_version);
      WString client = Wide(device.client_version);
      WString target = question.target_version.value_or(WString());
      WString* const given_target = question.target_version ? &target : nullptr;

      WString reason;
      const bool applies = evaluator.EvaluateApplicability(
          record, client, filter, collection, given_target, question.extra_tags, reason);
      const ApplicabilityFilter::Lease compiled(filter);
      PreparedFacts facts(prepared, question);
      WString prepared_reason;
      yox::decision::ReasonText text(*compiled, prepared_reason);
      const auto verdict = Decide(*compiled, facts, &text);
      const std::string context = list.ToDocument() + device.ToProfile();
      // A list may require a registry value that was not given.
      if (verdict.applies == Truth::kUnknown) {
        for (const std::string& need : verdict.needs) {
          ASSERT_TRUE(need.starts_with("registry.")) << need << context;
        }
        continue;
      }
      ASSERT_EQ(verdict.applies, yox::decision::TruthOf(applies)) << context;
      if (!prepared_reason.empty()) {
        ASSERT_EQ(prepared_reason, reason) << context;
      }
      applying += applies ? 1 : 0;
      const Explanation theirs = evaluator.Explain(
          record, Wide(device.client_version), filter, collection,
          question.target_version ? &*question.target_version : nullptr, question.extra_tags);
      PreparedFacts again(prepared, question);
      const Explanation ours = Explain(*compiled, again);
      ASSERT_EQ(ComparableText(ours), ComparableText(theirs)) << context;
      ASSERT_EQ(ours.decided_by, theirs.decided_by) << context;
      ASSERT_EQ(ours.nearest_miss, theirs.nearest_miss) << context;
    }
  }
  EXPECT_GT(applying, kDevices) << "the property would be empty";
}

}  // namespace
}  // namespace yox_test
