#pragma once

#include <optional>
#include <span>
#include <vector>

#include "yox/base/WString.h"
#include "yox/decision/MatchOperators.h"
#include "yox/decision/TextArena.h"

namespace yox::decision {

// The hardware IDs that are present on a device, in upper case. An implementation that changes
// during a decision makes it a decision about several moments.
class HardwareIds {
 public:
  virtual ~HardwareIds() = default;

  // Returns whether the ID is present. `id` must be in upper case; it is compared as it is.
  virtual bool Contains(WStringView id) const = 0;
  // Whether one of the texts, which have their letter case folded, equals an ID, without regard to
  // letter case and to white space around the ID.
  virtual bool ContainsAnyFolded(std::span<const WStringView> ids) const = 0;
  // In no particular order; valid while the object lives.
  virtual std::span<const WString> All() const = 0;
};

// A `hardware_id` requirement: satisfied if one of its alternatives is a present ID, or is a text
// pattern that matches one. Each alternative is tried as both.
struct HardwareIdRequirement {
  WStringView normalised = {};  // the whole text in upper case, with "\" for "/"
  std::vector<WStringView> exact = {};
  std::vector<TextPattern> patterns = {};   // in the same order
  std::vector<WStringView> plain = {};      // the folded texts of patterns that are texts alone
  std::vector<TextPattern> wildcards = {};  // all other patterns

  // Parses the text; the result keeps views of texts in the arena, which must outlive it.
  static HardwareIdRequirement Compile(WStringView required, TextArena& arena);

  // Returns the ID that satisfies the requirement: the first exact alternative that is present,
  // otherwise the smallest ID that a pattern matches. std::nullopt if there is none.
  std::optional<WStringView> Find(const HardwareIds& present) const;
  bool Matches(const HardwareIds& present) const;
};

}  // namespace yox::decision
