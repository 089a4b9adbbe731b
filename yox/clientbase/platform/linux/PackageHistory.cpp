#include "yox/clientbase/platform/linux/PackageHistory.h"

#include <algorithm>
#include <optional>
#include <string>

#include "yox/clientbase/String.h"

namespace YOX::platform {
namespace {

constexpr std::int32_t kInProgress = 1;
constexpr std::int32_t kSucceeded = 2;
constexpr std::int32_t kFailed = 4;

std::string_view TakeLine(std::string_view& text) {
  const std::string_view line = text.substr(0, text.find('\n'));
  text.remove_prefix(std::min(line.size() + 1, text.size()));
  return line;
}

// What follows the word, if the text begins with it.
std::optional<std::string_view> After(std::string_view text, std::string_view word) {
  if (!text.starts_with(word)) return std::nullopt;
  return text.substr(word.size());
}

}  // namespace

std::vector<OperatingSystemUpdate> ReadAptHistory(std::string_view log) {
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
    if (After(line, "Start-Date:")) {
      finish();
      update.result_code = kInProgress;
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
      if (!update.description.empty()) update.description += ", "_w;
      update.description += String::UTF8ToUTF16(*package);
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

}  // namespace YOX::platform
