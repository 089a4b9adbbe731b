#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "host/yoxctl/PresentDevices.h"

// What `watch` prints: one line for each change, as text or as a JSON document.
namespace yoxctl {

struct Tag {
  std::string key;
  std::string value;

  friend bool operator==(const Tag&, const Tag&) = default;
};

struct Decision {
  bool applies = false;
  std::string reason;
};

std::string StartLine(std::size_t devices, bool json);
std::string DeviceLine(DeviceWatch::Change change, const yox::platform::PresentDevice& device,
                       bool json);
// Of a key that stands there several times the first counts, as in a filter.
std::vector<std::string> TagLines(const std::vector<Tag>& before, const std::vector<Tag>& now,
                                  bool json);
// With the criterion that flipped it: the one that fails in the first filter that only one of the
// two reasons has matched.
std::string DecisionLine(const std::optional<Decision>& before, const Decision& now, bool json);

}  // namespace yoxctl
