#include "yox/decision/HardwareIdRequirement.h"

#include <algorithm>

#include "yox/base/String.h"

namespace yox::decision {

HardwareIdRequirement HardwareIdRequirement::Compile(WStringView required, TextArena& arena) {
  WString text = String::ToUpper(required);
  std::ranges::replace(text, WChar{'/'}, WChar{'\\'});
  HardwareIdRequirement requirement;
  requirement.normalised = arena.Keep(text);
  for (auto rest = Pieces(requirement.normalised); rest;) {
    const WStringView alternative = NextPiece(rest, ',');
    requirement.exact.push_back(String::Trimmed(alternative));
    TextPattern& pattern = requirement.patterns.emplace_back(TextPattern::Parse(alternative));
    pattern.text = arena.KeepFolded(pattern.text);
    if (pattern.form == TextPattern::Form::kEqual && !pattern.negated) {
      requirement.plain.push_back(pattern.text);
    } else {
      requirement.wildcards.push_back(pattern);
    }
  }
  return requirement;
}

std::optional<WStringView> HardwareIdRequirement::Find(const HardwareIds& present) const {
  const auto found =
      std::ranges::find_if(exact, [&](WStringView id) { return present.Contains(id); });
  if (found != exact.end()) return *found;
  std::optional<WStringView> smallest;
  for (const WString& id : present.All()) {
    if ((!smallest || id < *smallest) && AnyText(patterns, id)) smallest = id;
  }
  return smallest;
}

bool HardwareIdRequirement::Matches(const HardwareIds& present) const {
  return std::ranges::any_of(exact, [&](WStringView id) { return present.Contains(id); }) ||
         present.ContainsAnyFolded(plain) ||
         (!wildcards.empty() && std::ranges::any_of(present.All(), [&](const WString& id) {
           return AnyText(wildcards, id);
         }));
}

}  // namespace yox::decision
