#pragma once

#include <cstdint>
#include <optional>

#include "yox/base/WString.h"

// The requirements of the registry criterion, in the same manner as MatchOperators.h.
namespace yox::decision {

// `path:name|data`. The name runs from the first ":" to the first "|" behind it; nothing is
// trimmed.
struct RegistryRequirement {
  enum class Form : std::uint8_t { kComplete, kNoName, kNoData };

  Form form = Form::kComplete;
  WStringView path = {};
  WStringView name = {};
  WStringView data = {};

  static RegistryRequirement Parse(WStringView requirement);
};

enum class Hive : std::uint8_t { kCurrentUser, kLocalMachine };

// The hive that a path begins with; the path becomes what is looked up below it. Nothing for a hive
// of another name, or when separators are missing or mixed. Letters of the hive's name that the
// key's name starts with are removed along with the hive, on purpose.
std::optional<Hive> TakeHive(WString& path);

// Whether a path without its hive has an empty key name inside, which no registry looks up.
bool HasDoubledSeparator(WStringView path);

}  // namespace yox::decision
