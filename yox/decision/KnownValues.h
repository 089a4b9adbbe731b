#pragma once

#include <array>
#include <span>

#include "yox/base/WString.h"
#include "yox/decision/FilterFields.h"
#include "yox/decision/MatchOperators.h"

namespace yox::decision {

// The value of `os` on every device.
inline constexpr WStringView kOsText = "Windows"_wv;

// The values of `os_bitness`; the last is that of every other processor.
inline constexpr std::array kBitnessTexts = {"32"_wv, "64"_wv, "ARM64"_wv, "not supported"_wv};

// The value of `os_bitness` for a processor architecture, a code as Windows numbers them.
constexpr WStringView BitnessText(int architecture) {
  switch (architecture) {
    case 0:
      return kBitnessTexts[0];
    case 9:
      return kBitnessTexts[1];
    case 12:
      return kBitnessTexts[2];
    default:
      return kBitnessTexts[3];
  }
}

// Returns all values that a device can have for a criterion; empty if they are not known in
// advance.
constexpr std::span<const WStringView> KnownValues(FilterField field) {
  if (field == FilterField::os) return {&kOsText, 1};
  if (field == FilterField::os_bitness) return kBitnessTexts;
  return {};
}

// Whether a criterion is compared with a salted hash.
constexpr bool IsHash(FilterField field) {
  return field == FilterField::sn_hash || field == FilterField::org_hash;
}

// Returns false if the pattern matches no salted hash, which has 64 hexadecimal digits.
inline bool CanBeHash(const TextPattern& pattern) {
  constexpr std::size_t kDigits = 64;
  if (pattern.negated || pattern.form == TextPattern::Form::kEverything) return true;
  if (pattern.form == TextPattern::Form::kEqual && pattern.text.size() != kDigits) return false;
  return pattern.text.size() <= kDigits &&
         pattern.text.find_first_not_of("0123456789abcdefABCDEF"_wv) == WStringView::npos;
}

}  // namespace yox::decision
