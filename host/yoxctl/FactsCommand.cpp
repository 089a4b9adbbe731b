#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "yox/applicability/ApplicabilityEvaluator.h"
#include "yox/base/String.h"
#include "yox/decision/CompiledList.h"
#include "yox/decision/FactsDocument.h"
#include "yox/decision/FilterDocument.h"

#include "host/yoxctl/ChosenDevice.h"
#include "host/yoxctl/CommandLine.h"
#include "host/yoxctl/MachineRecord.h"
#include "host/yoxctl/Output.h"
#include "host/yoxctl/ProgressLine.h"

namespace yoxctl {
namespace {

using namespace yox::literals;

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

int Facts(const GlobalOptions& global, const FactsOptions& options) {
  std::vector<ApplicabilityFilter> lists;
  for (const std::string& value : options.values) lists.push_back(ListFor(value));
  for (const std::string& list : options.lists) {
    lists.push_back(ReadNamed(list, yox::decision::ReadFilterDocument));
  }
  Widened("--id", options.id);  // well-formed
  const ChosenDevice device(global);
  PublishMachineRecord();
  yox::decision::FactsRecord record;
  {
    const ProgressLine progress("still asking the device");
    record = ApplicabilityEvaluator::CreateWithoutTasks()->CollectFacts(lists);
  }
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
                   .help = "Take the registry values that this list asks for; may be given "
                           "several times",
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
