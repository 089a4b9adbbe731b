#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "host/yoxctl/PresentDevices.h"

// Builds what `watch` prints: one line for each change, with a line break at its end, as text or,
// with `json`, as a JSON document. All text is UTF-8. Pure functions.
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
// One line for each key that was added, removed or changed. If a list has a key several times, the
// first counts, as it does in a filter.
std::vector<std::string> TagLines(const std::vector<Tag>& before, const std::vector<Tag>& now,
                                  bool json);
// The decision `now`. If there was one before, with the criterion that changed it: that which
// failed in the first filter that matched in only one of the two.
std::string DecisionLine(const std::optional<Decision>& before, const Decision& now, bool json);

}  // namespace yoxctl
