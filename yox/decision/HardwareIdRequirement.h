#pragma once

#include <optional>
#include <span>
#include <vector>

#include "yox/base/WString.h"
#include "yox/decision/MatchOperators.h"
#include "yox/decision/TextArena.h"

namespace yox::decision {

// The hardware IDs that are present on a device, in upper case. Must not change during a decision
// for the answer to be that of one moment.
class HardwareIds {
 public:
  virtual ~HardwareIds() = default;

  virtual bool Contains(WStringView id) const = 0;
  // Whether one of the texts, which are folded, is an ID without letter case and white space around
  // it.
  virtual bool ContainsAnyFolded(std::span<const WStringView> ids) const = 0;
  // In no particular order; valid while the object lives.
  virtual std::span<const WString> All() const = 0;
};

// What a `hardware_id` criterion requires: one of several IDs that is present, or a text pattern
// that matches one. Each alternative is tried as both.
struct HardwareIdRequirement {
  WStringView normalised = {};  // the whole text in upper case, with "\" for "/"
  std::vector<WStringView> exact = {};
  std::vector<TextPattern> patterns = {};   // in the same order
  std::vector<WStringView> plain = {};      // the folded texts of patterns that are texts alone
  std::vector<TextPattern> wildcards = {};  // all other patterns

  // Keeps views of texts in the arena.
  static HardwareIdRequirement Compile(WStringView required, TextArena& arena);

  // What is present and meets the requirement: the first exact alternative that is there, else the
  // smallest ID that a pattern matches, whatever the order of the IDs.
  std::optional<WStringView> Find(const HardwareIds& present) const;
  bool Matches(const HardwareIds& present) const;
};

}  // namespace yox::decision
