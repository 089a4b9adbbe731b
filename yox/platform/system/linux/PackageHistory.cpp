#include "yox/platform/system/linux/PackageHistory.h"

#include <algorithm>
#include <optional>
#include <string>

#include "yox/base/String.h"
#include "yox/platform/system/linux/Lines.h"

namespace yox::platform {
namespace {

constexpr std::int32_t kInProgress = 1;
constexpr std::int32_t kSucceeded = 2;
constexpr std::int32_t kFailed = 4;

void AddPackage(OperatingSystemUpdate& update, std::string_view package) {
  if (!update.description.empty()) update.description += ", "_w;
  update.description += String::UTF8ToUTF16(package);
}

}  // namespace

std::vector<OperatingSystemUpdate> ReadAptHistory(std::string_view log) {
  constexpr std::string_view kStart = "Start-Date:";
  log.remove_prefix(std::min(log.find(kStart), log.size()));  // an entry that lacks its beginning
  std::vector<OperatingSystemUpdate> updates;
  OperatingSystemUpdate update;
  bool upgraded = false;
  const auto finish = [&] {
    if (upgraded) updates.push_back(std::move(update));
    update = {};
    upgraded = false;
  };
  while (!log.empty()) {
    const std::string_view line = TakeLine(log);
    if (After(line, kStart)) {
      finish();
      update.result_code = kInProgress;
      update.title.emplace();  // not every front end records its command line
    } else if (const auto command = After(line, "Commandline: ")) {
      update.title = String::UTF8ToUTF16(*command);
    } else if (const auto packages = After(line, "Upgrade: ")) {
      update.description = String::UTF8ToUTF16(*packages);
      upgraded = true;
    } else if (After(line, "Error:")) {
      update.result_code = kFailed;
    } else if (After(line, "End-Date:") && update.result_code == kInProgress) {
      update.result_code = kSucceeded;
    }
  }
  finish();
  std::ranges::reverse(updates);
  return updates;
}

std::vector<OperatingSystemUpdate> ReadDnfHistory(std::string_view log) {
  std::vector<OperatingSystemUpdate> updates;
  OperatingSystemUpdate update;
  const auto begin = [&] {
    if (!update.description.empty()) updates.push_back(std::move(update));
    update = {};
    update.title = "dnf"_w;
    update.result_code = kSucceeded;
  };
  begin();
  while (!log.empty()) {
    std::string_view line = TakeLine(log);
    TakeUpTo(line, ' ');  // the moment
    if (After(line, "INFO --- logging initialized ---")) {
      begin();
    } else if (const auto package = After(line, "SUBDEBUG Upgrade: ")) {
      AddPackage(update, *package);
    } else if (After(line, "ERROR ")) {
      update.result_code = kFailed;
    }
  }
  begin();
  std::ranges::reverse(updates);
  return updates;
}

std::vector<OperatingSystemUpdate> ReadZypperHistory(std::string_view log) {
  constexpr std::string_view kUpdating[] = {"'up'",  "'update'",       "'patch'",
                                            "'dup'", "'dist-upgrade'", "'full-upgrade'"};
  std::vector<OperatingSystemUpdate> updates;
  OperatingSystemUpdate update;
  bool updating = false;
  const auto finish = [&] {
    if (!update.description.empty()) updates.push_back(std::move(update));
    update = {};
    update.result_code = kSucceeded;  // what is not installed in the end is not written down
  };
  finish();
  while (!log.empty()) {
    std::string_view line = TakeLine(log);
    TakeUpTo(line, '|');  // the moment
    const std::string_view event = TakeUpTo(line, '|');
    if (event == "command") {
      finish();
      TakeUpTo(line, '|');  // who
      const std::string_view command = TakeUpTo(line, '|');
      updating = std::ranges::any_of(
          kUpdating, [&](auto word) { return command.find(word) != std::string_view::npos; });
      update.title = String::UTF8ToUTF16(command);
    } else if (event == "install" && updating) {
      const std::string package(TakeUpTo(line, '|'));
      AddPackage(update, package + " " + std::string(TakeUpTo(line, '|')));
    }
  }
  finish();
  std::ranges::reverse(updates);
  return updates;
}

std::vector<OperatingSystemUpdate> ReadPacmanHistory(std::string_view log) {
  std::vector<OperatingSystemUpdate> updates;
  OperatingSystemUpdate update;
  const auto finish = [&](std::int32_t result) {
    update.result_code = result;
    if (!update.description.empty()) {
      update.title = "pacman"_w;
      updates.push_back(std::move(update));
    }
    update = {};
  };
  while (!log.empty()) {
    const std::string_view line = TakeLine(log);
    constexpr std::string_view kSource = "[ALPM] ";
    const std::size_t source = line.find(kSource);
    if (source == std::string_view::npos) continue;
    const std::string_view event = line.substr(source + kSource.size());
    if (const auto package = After(event, "upgraded ")) {
      AddPackage(update, *package);
    } else if (After(event, "transaction started")) {
      finish(kInProgress);
    } else if (After(event, "transaction completed")) {
      finish(kSucceeded);
    } else if (After(event, "transaction failed") || After(event, "transaction interrupted")) {
      finish(kFailed);
    }
  }
  finish(kInProgress);
  std::ranges::reverse(updates);
  return updates;
}

}  // namespace yox::platform
