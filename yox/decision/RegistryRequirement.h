#pragma once

#include <cstdint>
#include <optional>

#include "yox/base/WString.h"
#include "yox/decision/MatchOperators.h"
#include "yox/decision/TextArena.h"

// The requirements of the registry criterion, in the same manner as MatchOperators.h.
namespace yox::decision {

enum class Hive : std::uint8_t { kCurrentUser, kLocalMachine };

// `path:name|data`. The name runs from the first ":" to the first "|" after it; nothing is
// trimmed.
struct RegistryRequirement {
  enum class Form : std::uint8_t { kComplete, kNoName, kNoData };

  Form form = Form::kComplete;
  WStringView path = {};
  WStringView name = {};
  WStringView data = {};

  static RegistryRequirement Parse(WStringView requirement);
};

// A requirement as a compiled list has it: where the value is, and what its text has to match.
struct CompiledRegistryRequirement : RegistryRequirement {
  std::optional<Hive> hive = {};       // std::nullopt: the path names none
  WStringView key = {};                // what is looked up below the hive, separated by "\"
  bool has_doubled_separator = false;  // no registry has such a key
  // The same place with its letter case folded, which registries ignore: "hklm\\software\\contoso".
  WStringView folded_place = {};
  WStringView folded_name = {};
  TextPattern pattern = {};

  // Keeps views of the requirement and of texts in the arena.
  static CompiledRegistryRequirement Compile(WStringView requirement, TextArena& arena);

  // Whether there is a value that it can ask for.
  bool CanHold() const { return form == Form::kComplete && hive && !has_doubled_separator; }
};

// The hive that a path begins with; the path becomes what is looked up below it. std::nullopt for a
// hive of another name, or when separators are missing or mixed. Letters of the hive's name that
// the key's name starts with are removed along with the hive, on purpose.
std::optional<Hive> TakeHive(WString& path);

// Whether a path without its hive has an empty key name inside, which no registry looks up.
bool HasDoubledSeparator(WStringView path);

}  // namespace yox::decision
