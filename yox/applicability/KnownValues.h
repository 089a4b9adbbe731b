#pragma once

#include <array>
#include <span>

#include "yox/applicability/FilterFields.h"
#include "yox/applicability/MatchOperators.h"
#include "yox/clientbase/WString.h"
#include "yox/device/DeviceInfoProvider.h"

namespace YOX {

// What `os_bitness` is held against.
constexpr WStringView BitnessText(Architecture architecture) {
  switch (architecture) {
    case Architecture::x86:
      return "32"_wv;
    case Architecture::x64:
      return "64"_wv;
    case Architecture::ARM64:
      return "ARM64"_wv;
    default:
      return "not supported"_wv;
  }
}

// What `os` is held against, on every device.
inline constexpr WStringView kOsText = "Windows"_wv;

inline constexpr std::array kBitnessTexts = {
    BitnessText(Architecture::x86), BitnessText(Architecture::x64),
    BitnessText(Architecture::ARM64), BitnessText(Architecture::ARM)};

// All values that a criterion is ever held against; empty when they are not known beforehand.
constexpr std::span<const WStringView> KnownValues(FilterField field) {
  if (field == FilterField::os) return {&kOsText, 1};
  if (field == FilterField::os_bitness) return kBitnessTexts;
  return {};
}

// Whether a criterion is held against a salted hash.
constexpr bool IsHash(FilterField field) {
  return field == FilterField::sn_hash || field == FilterField::org_hash;
}

// False when the pattern holds for no salted hash, which has 64 hexadecimal digits.
inline bool CanBeHash(const match::TextPattern& pattern) {
  constexpr std::size_t kDigits = 64;
  if (pattern.negated || pattern.form == match::TextPattern::Form::kEverything) return true;
  if (pattern.form == match::TextPattern::Form::kEqual && pattern.text.size() != kDigits) {
    return false;
  }
  return pattern.text.size() <= kDigits &&
         pattern.text.find_first_not_of("0123456789abcdefABCDEF"_wv) == WStringView::npos;
}

}  // namespace YOX
