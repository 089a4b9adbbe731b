#include "host/yoxctl/WatchLines.h"

#include <map>

#include "yox/base/Json.h"
#include "yox/base/String.h"

#include "host/yoxctl/Output.h"

namespace yoxctl {
namespace {

using YOX::String;

std::string JsonLine(const Json::Value& document) {
  return yox::JsonText(document, yox::JsonStyle::kReadableLine);
}

std::map<std::string, std::string> ByKey(const std::vector<Tag>& tags) {
  std::map<std::string, std::string> values;
  for (const Tag& tag : tags) values.emplace(tag.key, tag.value);
  return values;
}

// What a reason says of the filters passed, in order: the word of the criterion that failed, empty
// for a filter that matched.
std::vector<std::string> FailedWords(const std::string& reason) {
  constexpr const char* kStart = "Filter [";
  constexpr const char* kFailed = " = false; ";
  std::vector<std::string> words;
  for (std::size_t at = reason.find(kStart); at != std::string::npos;) {
    const std::size_t next = reason.find(kStart, at + 1);
    const std::size_t colon = reason.find("]: ", at);
    if (colon == std::string::npos) break;
    std::string part = reason.substr(colon + 3, next - colon - 3);
    // Without a word it is the version that was not given.
    if (part.empty()) {
      part = "target_version";
    } else if (const std::size_t end = part.find(kFailed); end != std::string::npos) {
      part.resize(end);
    } else {
      part.clear();
    }
    // These matched, and decided by their control.
    if (part == "value" || part == "default") part.clear();
    words.push_back(std::move(part));
    at = next;
  }
  return words;
}

struct Flip {
  std::size_t filter = 0;
  std::string criterion;
};

std::optional<Flip> FindFlip(const Decision& before, const Decision& now) {
  const auto former = FailedWords(before.reason), present = FailedWords(now.reason);
  for (std::size_t i = 0; i < former.size() || i < present.size(); ++i) {
    const std::string was = i < former.size() ? former[i] : "";
    const std::string is = i < present.size() ? present[i] : "";
    if (was.empty() != is.empty()) return Flip{i, was.empty() ? is : was};
  }
  return std::nullopt;
}

}  // namespace

std::string StartLine(std::size_t devices, bool json) {
  if (!json)
    return "watching " + std::to_string(devices) + (devices == 1 ? " device\n" : " devices\n");
  Json::Value document;
  document["event"] = "watching";
  document["devices"] = static_cast<Json::UInt64>(devices);
  return JsonLine(document);
}

std::string DeviceLine(DeviceWatch::Change change, const yox::platform::PresentDevice& device,
                       bool json) {
  const char* const word = change == DeviceWatch::Change::kArrived ? "arrived" : "removed";
  if (json) {
    Json::Value document = DeviceJson(device);
    document["event"] = word;
    return JsonLine(document);
  }
  std::string line = std::string(word) + " " + String::UTF16ToUTF8(device.instance_id);
  for (const yox::WString& id : device.hardware_ids) line += "  " + String::UTF16ToUTF8(id);
  return OneLine(line) + "\n";
}

std::vector<std::string> TagLines(const std::vector<Tag>& before, const std::vector<Tag>& now,
                                  bool json) {
  std::vector<std::string> lines;
  const auto add = [&](const char* change, const std::string& key, const std::string& value) {
    if (!json) {
      lines.push_back(OneLine("tag " + std::string(change) + " " + key + "=" + value) + "\n");
      return;
    }
    Json::Value document;
    document["event"] = "tag";
    document["change"] = change;
    document["key"] = key;
    document["value"] = value;
    lines.push_back(JsonLine(document));
  };
  if (before == now) return lines;
  const auto former = ByKey(before), present = ByKey(now);
  for (const auto& [key, value] : former) {
    if (!present.contains(key)) add("removed", key, value);
  }
  for (const auto& [key, value] : present) {
    const auto known = former.find(key);
    if (known == former.end()) {
      add("added", key, value);
    } else if (known->second != value) {
      add("changed", key, value);
    }
  }
  return lines;
}

std::string DecisionLine(const std::optional<Decision>& before, const Decision& now, bool json) {
  const std::optional<Flip> flip = before ? FindFlip(*before, now) : std::nullopt;
  if (!json) {
    std::string line = now.applies ? "applies" : "does not apply";
    if (flip) line += " by " + flip->criterion + " of filter " + std::to_string(flip->filter);
    return line + ": " + now.reason + "\n";
  }
  Json::Value document;
  document["event"] = "decision";
  document["applies"] = now.applies;
  document["reason"] = now.reason;
  if (flip) {
    document["criterion"] = flip->criterion;
    document["filter"] = static_cast<Json::UInt64>(flip->filter);
  }
  return JsonLine(document);
}

}  // namespace yoxctl
