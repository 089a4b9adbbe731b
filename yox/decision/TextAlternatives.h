#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "yox/base/WString.h"
#include "yox/decision/MatchOperators.h"

namespace yox::decision {

// The alternatives of text criteria, arranged for matching: texts alone are found in a hash table,
// so that a match costs the same among ten and among ten thousand; all other patterns are tried in
// turn. Many sets share one object, which may be read by any thread.
class TextAlternatives {
 public:
  struct Table {
    std::uint32_t first_slot = 0;
    std::uint32_t slot_mask = 0;  // the table's size, a power of 2, less 1; 0 without texts
    std::uint8_t shift = 0;       // of the fingerprint's bits that number the slot
  };
  struct Set {
    Table texts = {};
    std::uint32_t first_pattern = 0;
    std::uint32_t pattern_count = 0;
  };

  // Patterns of a compiled list, whose texts must outlive the object.
  Set Add(std::span<const TextPattern> alternatives);

  // Whether one of a set's texts, if it has any, is `actual`, without regard to letter case.
  bool HasText(const Table& table, WStringView actual, std::uint64_t fingerprint) const {
    for (std::uint64_t i = fingerprint >> table.shift;; ++i) {
      const std::size_t slot = table.first_slot + (i & table.slot_mask);
      const std::uint64_t difference = slots_[slot] ^ fingerprint;
      // An empty text is none of the set's; it must not be taken for a slot without an entry.
      if ((difference & ~kContinues) == 0 && texts_[slot].size() == actual.size() &&
          !actual.empty() && EqualsFolded(actual.data(), texts_[slot])) {
        return true;
      }
      if ((slots_[slot] & kContinues) == 0) return false;
    }
  }
  // Whether one of the patterns that are no text alone matches `actual`, which has no white space
  // around it. `is_folded`: its letter case is folded.
  bool AnyPatternMatches(const Set& set, WStringView actual, bool is_folded) const;

 private:
  // Of a slot: an entry that belongs here or before is further on.
  static constexpr std::uint64_t kContinues = 1;

  // A table with linear probing, at most half full, in which few slots continue: a look-up that is
  // one comparison, mostly, leaves little for the processor to predict wrongly. A slot is its
  // text's fingerprint, but for the lowest bit, so that eight share a line of the cache.
  std::vector<std::uint64_t> slots_;
  std::vector<WStringView> texts_;  // by slot; empty: no entry
  std::vector<TextPattern> patterns_;
};

}  // namespace yox::decision
