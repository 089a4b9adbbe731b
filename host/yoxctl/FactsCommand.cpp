#include <algorithm>
#include <cstddef>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "yox/applicability/ApplicabilityEvaluator.h"
#include "yox/base/String.h"
#include "yox/decision/CompiledList.h"
#include "yox/decision/Facts.h"
#include "yox/decision/FactsDocument.h"
#include "yox/decision/FilterDocument.h"

#include "host/yoxctl/ChosenDevice.h"
#include "host/yoxctl/CommandLine.h"
#include "host/yoxctl/Inputs.h"
#include "host/yoxctl/MachineRecord.h"
#include "host/yoxctl/Output.h"
#include "host/yoxctl/ProgressLine.h"

namespace yoxctl {
namespace {

using namespace yox::literals;
using yox::decision::Fact;
using yox::decision::FactForm;
using yox::decision::FactsRecord;
using yox::decision::FilterField;

struct FactsOptions {
  bool anonymous = false;
  std::string id;
  std::vector<std::string> lists;
  std::vector<std::string> values;
};

// A list that asks for one value of the registry, by which a decision would look it up.
ApplicabilityFilter ListFor(const std::string& argument) {
  Filter filter;
  filter.set_registry(Widened("--registry", argument) + "|*"_w);
  ApplicabilityFilter list({filter});
  const auto compiled = list.snapshot();
  const auto steps = compiled->Steps(compiled->programs().front());
  const bool is_value = !steps.empty() && argument.find('|') == argument.npos &&
                        compiled->Registry(steps.front()).size() == 1 &&
                        compiled->Registry(steps.front()).front().CanHold();
  if (!is_value) {
    throw Refusal("--registry: expected a value such as HKLM\\SOFTWARE\\Contoso:Channel, as a " +
                  ("list asks for it, found \"" + yox::Printable(argument)) + "\"");
  }
  return list;
}

Fact FactOf(FilterField field) {
  switch (field) {
    case FilterField::tag:
      return Fact::tags;
    case FilterField::hardware_id:
      return Fact::hardware_ids;
    case FilterField::sn_hash:
      return Fact::serial_number;
    case FilterField::org_hash:
      return Fact::realm;
    case FilterField::date_range:
    case FilterField::date_function:
      return Fact::time_zone;
    default:  // a criterion that is named as its fact
      return yox::decision::FactOfKey(
                 yox::decision::kFilterFieldNames[static_cast<std::size_t>(field)])
          .value_or(Fact::target_version);
  }
}

std::set<Fact> FactsFor(const std::vector<ApplicabilityFilter>& lists) {
  std::set<Fact> facts;
  for (const ApplicabilityFilter& list : lists) {
    const auto compiled = list.snapshot();
    for (const auto& program : compiled->programs()) {
      for (const auto& step : compiled->Steps(program)) {
        facts.insert(FactOf(step.field));
        if (step.field != FilterField::date_function) continue;
        facts.insert(compiled->RolloutOf(step).by_tenant ? Fact::realm : Fact::serial_number);
      }
    }
  }
  return facts;
}

// Makes all facts unknown but these; of the registry, only what lists ask for was read.
void KeepOnly(const std::set<Fact>& facts, FactsRecord& record) {
  const auto keep = [&](Fact fact, auto&... values) {
    if (!facts.contains(fact)) ((values = {}), ...);
  };
  // A missing SKU says that there are no firmware tables, which all of their texts need.
  const auto is_of_firmware = [](Fact fact) { return FormOf(fact) == FactForm::kFirmwareText; };
  const bool has_firmware =
      record.text(FilterField::sku).knowledge != yox::decision::Knowledge::kMissing;
  for (std::size_t i = 0; i < yox::decision::kFacts.size(); ++i) {
    const auto fact = static_cast<Fact>(i);
    if (fact == Fact::sku && !has_firmware && std::ranges::any_of(facts, is_of_firmware)) continue;
    if (FormOf(fact) == FactForm::kText || is_of_firmware(fact)) {
      keep(fact, record.text(FieldOf(fact)));
    }
  }
  keep(Fact::serial_number, record.serial_number, record.rollout_bucket,
       record.text(FilterField::sn_hash));
  keep(Fact::realm, record.realm, record.organisation_bucket, record.text(FilterField::org_hash));
  keep(Fact::time_zone, record.time_zone, record.time_zone_name);
  keep(Fact::device_subscription, record.device_subscriptions);
  keep(Fact::tags, record.tags);
  keep(Fact::installed_items, record.installed_items);
  keep(Fact::hardware_ids, record.hardware_ids);
}

int Facts(const GlobalOptions& global, const FactsOptions& options) {
  std::vector<ApplicabilityFilter> lists;
  for (const std::string& value : options.values) lists.push_back(ListFor(value));
  for (const std::string& list : ExpandFolders(options.lists, IsFilterList)) {
    lists.push_back(ReadNamed(list, yox::decision::ReadFilterDocument));
  }
  Widened("--id", options.id);  // well-formed
  const ChosenDevice device(global);
  PublishMachineRecord();
  FactsRecord record;
  {
    const ProgressLine progress("still asking the device");
    record = ApplicabilityEvaluator::CreateWithoutTasks()->CollectFacts(lists);
  }
  if (!options.lists.empty()) KeepOnly(FactsFor(lists), record);
  record.id = options.id;
  using yox::decision::Anonymity;
  Print(FactsJson(record, options.anonymous ? Anonymity::kAnonymous : Anonymity::kNamed) + "\n");
  return kDone;
}

}  // namespace

Command FactsCommand() {
  const auto options = std::make_shared<FactsOptions>();
  return {
      .name = "facts",
      .help = "What a decision may ask of the device, as a facts document of one line",
      .options = {{.name = "--anonymous",
                   .help = "Write hashes and buckets instead of serial number and realm; every "
                           "decision stays the same",
                   .target = &options->anonymous},
                  {.name = "--for",
                   .type = "LIST.json",
                   .help =
                       "Take only what this list needs, its registry values included; a directory: "
                       "all lists below it; -: standard input; may be given several times",
                   .target = &options->lists},
                  {.name = "--registry",
                   .type = "KEY:VALUE",
                   .help = "Take this registry value, for example HKLM\\SOFTWARE\\Contoso:Ring; "
                           "may be given several times",
                   .target = &options->values},
                  {.name = "--id",
                   .type = "TEXT",
                   .help = "What a fleet calls the device",
                   .target = &options->id}},
      .run = [options](const GlobalOptions& global) { return Facts(global, *options); }};
}

}  // namespace yoxctl
