#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "yox/base/WString.h"
#include "yox/decision/MatchOperators.h"

namespace yox::decision {

// The alternatives of text criteria, arranged for matching: texts alone are found in hash tables,
// so that a match costs the same among ten and among ten thousand; all other patterns are tried in
// turn. Many sets share one object, which may be read by any thread.
class TextAlternatives {
 public:
  // A place of a table, of which two share a line of the cache: a look-up mostly reads no other.
  struct alignas(32) Slot {
    std::uint64_t key = 0;  // the text's fingerprint, but for the lowest bit: kContinues
    WStringView text;       // empty: no entry
  };

  // The texts of a set. Linear probing, at most half full, in which few slots continue: a look-up
  // that is one comparison, mostly, leaves little for the processor to predict wrongly.
  struct Table {
    const Slot* slots = nullptr;
    std::uint32_t slot_mask = 0;  // their number, a power of 2, less 1; 0 without texts
    std::uint8_t shift = 0;       // of the fingerprint's bits that number the slot

    bool empty() const { return slot_mask == 0; }
    // Whether one of the texts, of which there must be one, is `actual`, without regard to letter
    // case.
    bool Has(WStringView actual, std::uint64_t fingerprint) const {
      for (std::uint64_t i = fingerprint >> shift;; ++i) {
        const Slot& slot = slots[i & slot_mask];
        // An empty text is none of the set's; it must not be taken for a slot without an entry.
        if (((slot.key ^ fingerprint) & ~kContinues) == 0 && slot.text.size() == actual.size() &&
            !actual.empty() && EqualsFolded(actual.data(), slot.text)) {
          return true;
        }
        if ((slot.key & kContinues) == 0) return false;
      }
    }
  };
  struct Set {
    Table texts = {};
    std::uint32_t first_pattern = 0;
    std::uint32_t pattern_count = 0;
  };

  // Patterns of a compiled list, whose texts must outlive the object. The result refers to the
  // object.
  Set Add(std::span<const TextPattern> alternatives);

  // Whether one of the patterns that are no text alone matches `actual`, which has no white space
  // around it. `is_folded`: its letter case is folded.
  bool AnyPatternMatches(const Set& set, WStringView actual, bool is_folded) const;

 private:
  // Of a slot: an entry that belongs here or before is further on.
  static constexpr std::uint64_t kContinues = 1;

  std::vector<std::vector<Slot>> tables_;
  std::vector<TextPattern> patterns_;
};

}  // namespace yox::decision
