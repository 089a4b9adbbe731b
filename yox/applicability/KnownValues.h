#pragma once

#include <array>
#include <span>

#include "yox/applicability/FilterFields.h"
#include "yox/applicability/MatchOperators.h"
#include "yox/base/WString.h"
#include "yox/device/DeviceInfoProvider.h"

namespace yox {

// What `os_bitness` is held against.
constexpr WStringView BitnessText(YOX::Architecture architecture) {
  switch (architecture) {
    case YOX::Architecture::x86:
      return "32"_wv;
    case YOX::Architecture::x64:
      return "64"_wv;
    case YOX::Architecture::ARM64:
      return "ARM64"_wv;
    default:
      return "not supported"_wv;
  }
}

// What `os` is held against, on every device.
inline constexpr WStringView kOsText = "Windows"_wv;

inline constexpr std::array kBitnessTexts = {
    BitnessText(YOX::Architecture::x86), BitnessText(YOX::Architecture::x64),
    BitnessText(YOX::Architecture::ARM64), BitnessText(YOX::Architecture::ARM)};

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
inline bool CanBeHash(const decision::TextPattern& pattern) {
  constexpr std::size_t kDigits = 64;
  if (pattern.negated || pattern.form == decision::TextPattern::Form::kEverything) return true;
  if (pattern.form == decision::TextPattern::Form::kEqual && pattern.text.size() != kDigits) {
    return false;
  }
  return pattern.text.size() <= kDigits &&
         pattern.text.find_first_not_of("0123456789abcdefABCDEF"_wv) == WStringView::npos;
}

}  // namespace yox
