#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "yox/base/Document.h"
#include "yox/decision/FactsDocument.h"

#include "host/yoxctl/CommandLine.h"
#include "host/yoxctl/FactsSubscription.h"
#include "host/yoxctl/Inventory.h"
#include "host/yoxctl/Output.h"

namespace yoxctl {
namespace {

struct CollectOptions {
  FactsSubscription::Options broker;
  std::string into;
  std::size_t quiet = 5;
};

// What a device has published last, by its identifier, so that lines and rows have a fixed order.
using Fleet = std::map<std::string, std::string>;

Fleet Receive(const CollectOptions& options, std::size_t& refused) {
  Fleet fleet;
  FactsSubscription subscription(options.broker);
  while (const auto message = subscription.Next(options.quiet)) {
    const auto& [device, document] = *message;
    if (document.empty()) {  // its facts were withdrawn
      fleet.erase(device);
      continue;
    }
    try {
      const yox::decision::FactsRecord record = yox::decision::ReadFacts(document);
      if (record.id != device) {
        throw yox::DocumentError("id: expected " + device + ", found " + yox::Printable(record.id));
      }
      fleet[device] = document;
    } catch (const yox::DocumentError& error) {
      ++refused;
      Complain(NameOf(device) + ": " + error.what());
    }
  }
  return fleet;
}

void Store(const std::string& into, const Fleet& fleet) {
  if (!IsDatabase(into)) {
    std::string lines;
    for (const auto& [device, document] : fleet) lines += document + "\n";
    return WriteFile(into, lines);
  }
  const auto inventory = OpenInventory(into, true);
  inventory->CreateSchema();
  std::vector<Inventory::Device> devices;
  for (const auto& [device, document] : fleet) devices.push_back({device, document});
  constexpr const char* kSource = "fleet collect";
  inventory->Store(kSource, devices, devices.size());
  inventory->Complete(kSource);
}

int Collect(const CollectOptions& options) {
  std::size_t refused = 0;
  const Fleet fleet = Receive(options, refused);
  Store(options.into, fleet);
  Print(std::to_string(fleet.size()) + " devices stored" +
        (refused == 0 ? "" : ", " + std::to_string(refused) + " documents refused") + "\n");
  return refused == 0 ? kDone : kNegative;
}

}  // namespace

Command FleetCollectCommand() {
  const auto options = std::make_shared<CollectOptions>();
  return {
      .name = "collect",
      .help = "Take what the devices publish to a broker into a file or a database",
      .options = {{.name = "--broker",
                   .type = "URL",
                   .help = "The broker, such as mqtts://broker.example:8883",
                   .target = &options->broker.url,
                   .required = true},
                  {.name = "--into",
                   .type = "TARGET",
                   .help = "A file (.jsonl), which is replaced, or a database "
                           "(postgresql://..., .db, .sqlite)",
                   .target = &options->into,
                   .required = true},
                  {.name = "--ca-file",
                   .type = "FILE",
                   .help = "PEM file with the authorities that the broker's certificate may be of",
                   .target = &options->broker.ca_file,
                   .required = true},
                  {.name = "--certificate",
                   .type = "FILE",
                   .help = "PEM file with the certificate to show to the broker",
                   .target = &options->broker.certificate},
                  {.name = "--key",
                   .type = "FILE",
                   .help = "PEM file with the certificate's key",
                   .target = &options->broker.key},
                  {.name = "--topic-prefix",
                   .type = "NAME",
                   .help = "The first level of the topics",
                   .target = &options->broker.prefix,
                   .initial = "yox"},
                  {.name = "--quiet",
                   .type = "SECONDS",
                   .help = "End when nothing has arrived for so long",
                   .target = &options->quiet,
                   .initial = "5"}},
      .run = [options](const GlobalOptions&) { return Collect(*options); }};
}

}  // namespace yoxctl
