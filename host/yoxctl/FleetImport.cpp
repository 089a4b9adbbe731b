#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "yox/base/Json.h"

#include "host/yoxctl/CommandLine.h"
#include "host/yoxctl/FactsSource.h"
#include "host/yoxctl/FleetProgress.h"
#include "host/yoxctl/Inventory.h"
#include "host/yoxctl/Output.h"

namespace yoxctl {
namespace {

struct ImportOptions {
  std::string source;
  std::string into;
  std::optional<std::size_t> jobs;
};

// By what an interrupted import is recognised: a file that was changed since is another source.
// Standard input cannot be read again, and is named by nothing.
std::string NameOfSource(const std::string& argument) {
  if (argument == "-" || IsDatabase(argument)) return argument;
  std::error_code error;
  const std::filesystem::path path = PathOf(argument);
  std::string name = PathText(std::filesystem::absolute(path, error));
  const auto size = std::filesystem::file_size(path, error);
  if (!error) name += ", " + std::to_string(size) + " bytes";
  const auto written = std::filesystem::last_write_time(path, error);
  if (!error) name += ", " + std::to_string(written.time_since_epoch().count());
  return name;
}

// A document as it is stored: on one line, and with the device's id, which may be the name of its
// file. Nothing else is changed, because the order of tags counts.
std::string Stored(std::string_view document, std::string_view id, bool has_id) {
  std::string text(document);
  std::ranges::replace_if(
      text, [](char byte) { return byte == '\n' || byte == '\r'; }, ' ');
  if (has_id) return text;
  std::string key = "\"id\": " + yox::JsonText(std::string(id), yox::JsonStyle::kReadableLine);
  key.pop_back();
  const std::size_t begin = text.find('{') + 1;
  const bool is_empty = text.find_first_not_of(" \t", begin) == text.find('}', begin);
  return text.insert(begin, key + (is_empty ? "" : ", "));
}

std::vector<Inventory::Device> DevicesOf(FactsBatch& batch) {
  std::vector<Inventory::Device> devices;
  while (batch.Next()) {
    if (batch.id().empty()) {
      throw Refusal(batch.file() + ", line " + std::to_string(batch.line_number()) +
                    ": expected the key \"id\", which names the device in the database");
    }
    devices.push_back({std::string(batch.id()),
                       Stored(batch.document(), batch.id(), !batch.line().id().empty())});
  }
  return devices;
}

int Import(const GlobalOptions& global, const ImportOptions& options) {
  if (!IsDatabase(options.into)) {
    throw Refusal("--into: expected postgresql://... or a file .db or .sqlite, found \"" +
                  yox::Printable(options.into) + "\"");
  }
  const auto inventory = OpenInventory(options.into, true);
  inventory->CreateSchema();
  const std::string source = NameOfSource(options.source);
  const bool can_resume = options.source != "-";
  const std::uint64_t stored_before = can_resume ? inventory->DevicesStoredOf(source) : 0;
  std::uint64_t read = 0;
  std::uint64_t stored = stored_before;

  // What an earlier import has stored is read again, which is cheap, and not sent again.
  const auto store = [&](std::vector<Inventory::Device> devices) {
    const std::uint64_t first = read;
    read += devices.size();
    if (read <= stored_before) return;
    if (first < stored_before) {
      devices.erase(devices.begin(),
                    devices.begin() + static_cast<std::ptrdiff_t>(stored_before - first));
    }
    inventory->Store(source, devices, read);
    stored = read;
  };
  try {
    std::optional<FleetProgress> progress(std::in_place);
    ReadFleet(
        {{options.source}, false, options.jobs.value_or(0), {}},
        [&](FactsBatch& batch) {
          return [&store, devices = DevicesOf(batch)]() mutable { store(std::move(devices)); };
        },
        [&](const FactsCount& count) { progress->Show(count); });
  } catch (const Refusal& refusal) {
    if (stored == 0 || !can_resume) throw;
    throw Refusal(std::string(refusal.what()) + "; " + std::to_string(stored) +
                  " devices are stored, and the same command goes on after them");
  }
  inventory->Complete(source);
  if (global.json) {
    Json::Value json;
    json["devices"] = Json::UInt64{read};
    json["stored_before"] = Json::UInt64{stored_before};
    Print(yox::JsonText(json));
  } else {
    Print(std::to_string(read) + " devices stored" +
          (stored_before == 0
               ? ""
               : ", the first " + std::to_string(stored_before) + " by an earlier import") +
          "\n");
  }
  return kDone;
}

}  // namespace

Command FleetImportCommand() {
  const auto options = std::make_shared<ImportOptions>();
  return {.name = "import",
          .help = "Store the facts of devices in a database; a device that is there is replaced",
          .options = {{.name = "SOURCE",
                       .help = "A file (.jsonl, .jsonl.gz), a directory of facts or profiles, or - "
                               "for standard input",
                       .target = &options->source,
                       .required = true},
                      {.name = "--into",
                       .type = "DATABASE",
                       .help = "postgresql://..., or a file (.db, .sqlite)",
                       .target = &options->into,
                       .required = true},
                      {.name = "--jobs",
                       .type = "N",
                       .help = "Use this many threads instead of one for each core",
                       .target = &options->jobs}},
          .run = [options](const GlobalOptions& global) { return Import(global, *options); }};
}

}  // namespace yoxctl
