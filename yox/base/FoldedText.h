#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

#include "yox/base/String.h"
#include "yox/base/WString.h"

// Comparing texts without regard to letter case: what is compared often is folded, and hashed,
// once.
namespace yox {

// Whether two times `size` units are the same, letter case included. Compares four units at a time.
inline bool SameUnits(const WChar* left, const WChar* right, std::size_t size) {
  const auto differ = [&]<class Word>(std::size_t at, Word a) {
    Word b = 0;
    std::memcpy(&a, left + at, sizeof a);
    std::memcpy(&b, right + at, sizeof b);
    return a != b;
  };
  using Four = std::uint64_t;
  using Two = std::uint32_t;
  if (size >= 4) {
    for (std::size_t i = 0; i + 4 < size; i += 4) {
      if (differ(i, Four{})) return false;
    }
    return !differ(size - 4, Four{});  // may overlap the ones before
  }
  if (size >= 2) return !differ(0, Two{}) && !differ(size - 2, Two{});
  return size == 0 || *left == *right;
}

// The first or the last four units of a text as a number; zeros for units that it has not.
constexpr std::uint64_t FirstUnits(WStringView text) {
  std::array<WChar, 4> units{};
  std::ranges::copy(text.substr(0, 4), units.begin());
  return std::bit_cast<std::uint64_t>(units);
}
constexpr std::uint64_t LastUnits(WStringView text) {
  std::array<WChar, 4> units{};
  if (text.size() > 4) text.remove_prefix(text.size() - 4);
  std::ranges::copy(text, units.end() - static_cast<std::ptrdiff_t>(text.size()));
  return std::bit_cast<std::uint64_t>(units);
}

// Which bits of FirstUnits and LastUnits a text of a size has.
template <std::uint64_t (*kUnits)(WStringView)>
constexpr auto kUnitMasks = [] {
  constexpr WChar kAllBits[] = {WChar{0xFFFF}, WChar{0xFFFF}, WChar{0xFFFF}, WChar{0xFFFF}};
  std::array<std::uint64_t, 5> masks{};
  for (std::size_t size = 0; size < masks.size(); ++size) {
    masks[size] = kUnits(WStringView(kAllBits, size));
  }
  return masks;
}();

// Whether a text begins or ends with another one, letter case included. `key` is FirstUnits or
// LastUnits of the other one: mostly the only part of it that is looked at.
inline bool StartsWithUnits(WStringView text, WStringView start, std::uint64_t key) {
  if (text.size() < start.size()) return false;
  if (text.size() < 4) return SameUnits(text.data(), start.data(), start.size());
  std::uint64_t word = 0;
  std::memcpy(&word, text.data(), sizeof word);
  if ((word & kUnitMasks<FirstUnits>[std::min<std::size_t>(start.size(), 4)]) != key) return false;
  return start.size() <= 4 || SameUnits(text.data(), start.data(), start.size());
}
inline bool EndsWithUnits(WStringView text, WStringView end, std::uint64_t key) {
  if (text.size() < end.size()) return false;
  const WChar* const tail = text.data() + (text.size() - end.size());
  if (text.size() < 4) return SameUnits(tail, end.data(), end.size());
  std::uint64_t word = 0;
  std::memcpy(&word, text.data() + (text.size() - 4), sizeof word);
  if ((word & kUnitMasks<LastUnits>[std::min<std::size_t>(end.size(), 4)]) != key) return false;
  return end.size() <= 4 || SameUnits(tail, end.data(), end.size());
}

// Whether the units of `needle` are somewhere in `text`, letter case included. Looks for its first
// two units at four places at once.
inline bool ContainsUnits(WStringView text, WStringView needle) {
  using Four = std::uint64_t;
  constexpr Four kEach = 0x0001000100010001;  // 1 in each unit of a word
  if (needle.size() < 2) return needle.empty() || text.find(needle.front()) != WStringView::npos;
  if (text.size() < needle.size()) return false;
  const std::size_t places = text.size() - needle.size() + 1;
  const auto is_at = [&](std::size_t place) {
    return SameUnits(text.data() + place, needle.data(), needle.size());
  };
  const Four first = kEach * needle[0];
  const Four second = kEach * needle[1];
  std::size_t place = 0;
  for (; place + 4 < text.size(); place += 4) {
    Four a = 0;
    Four b = 0;
    std::memcpy(&a, text.data() + place, sizeof a);
    std::memcpy(&b, text.data() + place + 1, sizeof b);
    const Four differ = (a ^ first) | (b ^ second);
    // Not 0 if a unit of `differ` is 0 (S. E. Anderson, Bit Twiddling Hacks, "Determine if a word
    // has a zero byte").
    if (((differ - kEach) & ~differ & kEach << 15) == 0) continue;
    for (std::size_t i = place; i < std::min(place + 4, places); ++i) {
      if (is_at(i)) return true;
    }
  }
  for (; place < places; ++place) {
    if (is_at(place)) return true;
  }
  return false;
}

// Whether the units from `actual` on are `folded`, whose letter case is folded, in any letter case.
[[gnu::noinline]] inline bool EqualsOnceFolded(const WChar* actual, WStringView folded) {
  return std::ranges::all_of(folded, [&](WChar unit) {
    const WChar given = *actual++;
    return given == unit || String::FoldCase(given) == unit;
  });
}
// The same, faster where the letter case is the same.
inline bool EqualsFolded(const WChar* actual, WStringView folded) {
  return SameUnits(actual, folded.data(), folded.size()) || EqualsOnceFolded(actual, folded);
}

// Texts of so many units are equal if their fingerprints and sizes are.
inline constexpr std::size_t kFingerprintIsExact = 4;

// A hash of the text without regard to letter case, for tables in memory: the value differs between
// processors. Four units are folded and mixed at a time, by a function that can be inverted.
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

// A text without surrounding white space and with its letter case folded, and its fingerprint.
struct FoldedText {
  WString text;
  std::uint64_t fingerprint = Fingerprint({});

  FoldedText() = default;
  explicit FoldedText(WStringView given) : text(String::Trimmed(given)) {
    std::ranges::transform(text, text.begin(), String::FoldCase);
    fingerprint = Fingerprint(text);
  }
};

// The same as a view of a text that something else owns.
struct FoldedView {
  WStringView text = {};
  std::uint64_t fingerprint = Fingerprint({});
};

// So many folded texts, at first empty ones, and views of them.
template <std::size_t kCount>
class FoldedTexts {
 public:
  FoldedTexts() = default;
  FoldedTexts(const FoldedTexts& other) { *this = other; }
  FoldedTexts& operator=(const FoldedTexts& other) {
    for (std::size_t i = 0; i < kCount; ++i) {
      texts_[i] = other.texts_[i];
      views_[i] = {texts_[i], other.views_[i].fingerprint};
    }
    return *this;
  }

  // Replaces the text at the index.
  void Set(std::size_t index, FoldedText folded) noexcept {
    texts_[index] = std::move(folded.text);
    views_[index] = {texts_[index], folded.fingerprint};
  }

  // Valid until the text is replaced.
  const FoldedView& operator[](std::size_t index) const { return views_[index]; }

 private:
  std::array<WString, kCount> texts_;
  std::array<FoldedView, kCount> views_;  // of them
};

}  // namespace yox
