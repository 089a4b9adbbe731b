#pragma once

#include <cstdint>
#include <optional>

#include "yox/base/WString.h"
#include "yox/decision/MatchOperators.h"
#include "yox/decision/TextArena.h"

// The language of the registry criterion. As in MatchOperators.h, parsing cannot fail and keeps
// views.
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

  // Splits the requirement; `form` says which separator is missing.
  static RegistryRequirement Parse(WStringView requirement);
};

// A requirement in a compiled list: where the value is, and the pattern that its text has to match.
struct CompiledRegistryRequirement : RegistryRequirement {
  std::optional<Hive> hive = {};       // std::nullopt: the path names none
  WStringView key = {};                // the key's path below the hive, with "\"
  bool has_doubled_separator = false;  // no registry has such a key
  // The same place with its letter case folded, which registries ignore: "hklm\\software\\contoso".
  WStringView folded_place = {};
  WStringView folded_name = {};
  TextPattern pattern = {};

  // Keeps views of the requirement and of texts in the arena.
  static CompiledRegistryRequirement Compile(WStringView requirement, TextArena& arena);

  // Whether a registry can contain the value at all.
  bool CanHold() const { return form == Form::kComplete && hive && !has_doubled_separator; }
};

// Removes the hive from the beginning of a path and returns it. std::nullopt for a hive of another
// name, or when separators are missing or mixed. Letters of the hive's name that the key's name
// starts with are removed along with the hive, on purpose.
std::optional<Hive> TakeHive(WString& path);

// Whether a path without its hive contains an empty key name, which no registry has.
bool HasDoubledSeparator(WStringView path);

}  // namespace yox::decision
