#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "yox/base/String.h"
#include "yox/base/WString.h"

namespace yox::decision {

// A hash of the text without regard to letter case, for tables in memory: the value differs between
// processors. Four units are folded and mixed at a time.
inline std::uint64_t Fingerprint(WStringView text) {
  using Word = std::uint64_t;
  constexpr std::size_t kUnits = sizeof(Word) / sizeof(WChar);
  constexpr Word kEach = 0x0001000100010001;  // 1 in each unit of a word
  const auto folded = [](const WChar* units, std::size_t count) {
    WChar slow[kUnits] = {};
    Word word = 0;
    if (count == kUnits) {
      std::memcpy(&word, units, sizeof word);
      if ((word & 0xFF80 * kEach) == 0) {  // ASCII
        // Bit 7 of a unit is 1 in the first sum from "A" on, in the second beyond "Z".
        const Word capital =
            (word + (0x80 - 'A') * kEach) & ~(word + (0x7F - 'Z') * kEach) & 0x80 * kEach;
        return word | capital >> 2;
      }
    }
    for (std::size_t i = 0; i < count; ++i) slow[i] = String::FoldCase(units[i]);
    std::memcpy(&word, slow, sizeof word);
    return word;
  };
  Word hash = text.size() + 1;  // the empty text's is not 0, which empty places have
  const auto mix = [&](Word word) { hash = (std::rotl(hash, 25) ^ word) * 0x9E3779B97F4A7C15; };
  if (text.size() < kUnits) {
    mix(folded(text.data(), text.size()));
  } else {
    const WChar* const last = text.data() + text.size() - kUnits;  // may overlap the one before
    for (const WChar* units = text.data(); units < last; units += kUnits)
      mix(folded(units, kUnits));
    mix(folded(last, kUnits));
  }
  return hash ^ hash >> 32;
}

}  // namespace yox::decision
