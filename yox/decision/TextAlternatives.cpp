#include "yox/decision/TextAlternatives.h"

#include <algorithm>
#include <bit>

namespace yox::decision {
namespace {

constexpr int kShifts = 32;

// The shift that puts the most texts into slots of their own.
std::uint8_t BestShift(std::span<const TextPattern* const> texts, std::size_t size) {
  std::size_t most = 0;
  int best = 0;
  std::vector<bool> taken;
  for (int shift = 0; shift < kShifts && most < texts.size(); ++shift) {
    taken.assign(size, false);
    for (const TextPattern* text : texts) taken[(text->fingerprint >> shift) & (size - 1)] = true;
    const auto count = static_cast<std::size_t>(std::ranges::count(taken, true));
    if (count > most) {
      most = count;
      best = shift;
    }
  }
  return static_cast<std::uint8_t>(best);
}

}  // namespace

TextAlternatives::Set TextAlternatives::Add(std::span<const TextPattern> alternatives) {
  std::vector<const TextPattern*> texts;
  Set set{{}, static_cast<std::uint32_t>(patterns_.size())};
  Table& table = set.texts;
  for (const TextPattern& pattern : alternatives) {
    if (pattern.IsText()) {
      texts.push_back(&pattern);
    } else {
      patterns_.push_back(pattern);
      ++set.pattern_count;
    }
  }
  if (texts.empty()) return set;
  const std::size_t size = std::bit_ceil(2 * texts.size());
  std::vector<Slot>& slots = tables_.emplace_back(size);
  table.slots = slots.data();
  table.slot_mask = static_cast<std::uint32_t>(size - 1);
  table.shift = BestShift(texts, size);
  for (const TextPattern* text : texts) {
    if (table.Has(text->text, text->fingerprint)) continue;
    for (std::uint64_t i = text->fingerprint >> table.shift;; ++i) {
      Slot& slot = slots[i & table.slot_mask];
      if (slot.text.empty()) {
        slot = {text->fingerprint & ~kContinues, text->text};
        break;
      }
      slot.key |= kContinues;
    }
  }
  return set;
}

bool TextAlternatives::AnyPatternMatches(const Set& set, WStringView actual, bool is_folded) const {
  const std::span patterns(patterns_.data() + set.first_pattern, set.pattern_count);
  return std::ranges::any_of(patterns, [&](const TextPattern& pattern) {
    return is_folded ? pattern.MatchesFolded(actual) : pattern.MatchesUnfolded(actual);
  });
}

}  // namespace yox::decision
