#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "yox/base/Json.h"
#include "yox/device/DeviceInfoProvider.h"
#include "yox/device/FactTable.h"
#include "yox/device/MachineInformation.h"
#include "yox/platform/Platform.h"
#include "yox/platform/devices/DeviceTree.h"

#include "host/yoxctl/ChosenDevice.h"
#include "host/yoxctl/CommandLine.h"
#include "host/yoxctl/MachineRecord.h"
#include "host/yoxctl/Output.h"
#include "host/yoxctl/PresentDevices.h"
#include "host/yoxctl/ProgressLine.h"
#include "host/yoxctl/Table.h"

namespace yoxctl {
namespace {

using yox::device::Fact;

struct DeviceOptions {
  bool refresh = false;
  bool hardware_ids = false;
};

// The value on one line; a hyphen if there is none.
std::string Line(const Json::Value& value) {
  std::string line;
  if (value.isArray()) {
    for (const Json::Value& element : value) {
      line += (line.empty() ? "" : ", ") + OneLine(element.asString());
    }
  } else {
    line = OneLine(value.asString());
  }
  return line.empty() ? "-" : line;
}

// A column for the names, one for the values, and one for the sources if all of it is wide enough:
// otherwise a source follows its value.
std::string AsText(const std::vector<Fact>& facts, const Painter& paint) {
  constexpr std::size_t kValues = 30;
  constexpr std::size_t kSources = 76;
  Lines lines(paint);
  bool first = true;
  for (const auto& [group, title] : yox::device::FactGroups()) {
    if (!std::exchange(first, false)) lines.NewLine();
    lines.Write(Paint::kPlain, std::string(title)).NewLine();
    for (const Fact& fact : facts) {
      if (std::string_view(fact.group) != group) continue;
      const std::string source = "[" + std::string(fact.source) + "]";
      lines.To(2).Write(Paint::kPlain, fact.name + std::string(" ")).To(kValues);
      lines.WriteWords(Paint::kPlain, Line(fact.read()));
      if (kSources + Columns(source) <= LineColumns() && lines.column() + 2 <= kSources) {
        lines.To(kSources);
      } else if (lines.Fits(2 + Columns(source))) {
        lines.To(lines.column() + 2);
      } else {
        lines.NewLine().To(kValues);
      }
      lines.WriteWords(Paint::kFaint, source).NewLine();
    }
  }
  return std::move(lines).Take();
}

std::string AsJson(const std::vector<Fact>& facts) {
  Json::Value document;
  for (const Fact& fact : facts) {
    Json::Value& entry = document[fact.group][fact.name];
    entry["value"] = fact.read();
    entry["source"] = fact.source;
  }
  return yox::JsonText(document);
}

int Show(const GlobalOptions& global, bool refresh) {
  const ChosenDevice device(global);
  std::string output;
  {
    const ProgressLine progress("still reading the device");
    if (refresh) MachineInformation::GetInstance()->ReInitialize(true);
    const std::shared_ptr<MachineInformation> record = PublishMachineRecord();
    record->CollectAdditionalInfo(true);
    auto* const provider = YOX::DeviceInfoProvider::GetInstance();
    provider->setForceRefresh(true);
    provider->Init(record);
    const auto facts = yox::device::Facts();
    output = global.json ? AsJson(facts) : AsText(facts, PainterOfOutput(global.colours));
  }
  Print(output);
  return kDone;
}

int ShowHardwareIds(const GlobalOptions& global) {
  const ChosenDevice device(global);
  Print(HardwareIdListing(yox::platform::Platform::Get().device_tree(), global.json));
  return kDone;
}

}  // namespace

Command DeviceCommand() {
  const auto options = std::make_shared<DeviceOptions>();
  return {.name = "device",
          .help = "What the device is, how it presents itself to services, and who manages it",
          .options = {{.name = "--refresh",
                       .help = "Read the device again and renew the cache",
                       .target = &options->refresh},
                      {.name = "--hardware-ids",
                       .help = "List the present devices with their hardware IDs instead",
                       .target = &options->hardware_ids}},
          .run = [options](const GlobalOptions& global) {
            return options->hardware_ids ? ShowHardwareIds(global) : Show(global, options->refresh);
          }};
}

}  // namespace yoxctl
