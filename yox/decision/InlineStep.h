#pragma once

#include <cstdint>
#include <cstring>

#include "yox/base/WString.h"
#include "yox/decision/FilterFields.h"
#include "yox/decision/MatchOperators.h"
#include "yox/decision/TextAlternatives.h"

namespace yox::decision {

// A step of a compiled list in the form in which most are decided: one requirement, in half a line
// of the cache and without a call. A step that has no such form, and one that finds a fact which is
// unknown or has to be folded or trimmed first, is evaluated in full.
//
// The steps of a list are one program: a step that is true is followed by the next one, and one
// that is false by the first of the next filter. A filter begins with kDefault, if it has one, and
// ends with kMatched; the list ends with kEndOfList.
struct alignas(32) InlineStep {
  enum class Kind : std::uint8_t {
    kInFull,
    kText,      // the field's text is the text
    kTexts,     // is one of a set of TextAlternatives
    kPatterns,  // is matched by one of a set that has patterns, too
    kStart,     // begins with the text
    kEnd,       // ends with it
    kMiddle,    // has it anywhere
    kVersion,   // the field's version compares so
    kTag,       // the first tag of a name has a value: both are texts
    kTagMatch,  // the first tag of a name is there, and its value matches any pattern
    kDefault,
    kMatched,
    kEndOfList,
  };

  // The orders of a device's version to the required one that are accepted.
  enum Order : std::uint8_t { kLess = 1, kEqual = 2, kGreater = 4 };

  // A text that a device's text is compared with.
  struct RequiredText {
    const WChar* units;
    std::uint64_t key;  // of kText its fingerprint, else its first or, of kEnd, last four units
  };
  // A tag that a device is to have.
  struct RequiredTag {
    std::uint64_t name;  // the fingerprints of name and value
    std::uint64_t value;
  };

  static constexpr std::uint32_t kNoStep = UINT32_MAX;  // of the last three kinds

  Kind kind = Kind::kInFull;
  FilterField field = {};
  std::uint8_t orders = 0;  // of kVersion
  union {
    bool negated = false;  // of kText, kStart, kEnd and kMiddle
    bool applies;          // what a filter that ends with kMatched, or is kDefault, decides
  };
  std::uint32_t step = kNoStep;  // the index among the list's steps
  std::uint32_t otherwise = 0;   // the index of the first inline step of the next filter
  std::uint32_t size = 0;        // of the text; of tags: the index among the list's terms
  union {
    RequiredText text;
    TextAlternatives::Table texts;
    RequiredTag tag;
    OrderedVersion version;
  };

  InlineStep() : text{nullptr, 0} {}
  WStringView Text() const { return {text.units, size}; }
};

static_assert(sizeof(InlineStep) == 32);

// The accepted orders of a comparison other than kNone.
constexpr std::uint8_t OrdersOf(Comparison comparison) {
  using enum InlineStep::Order;
  switch (comparison) {
    case Comparison::kNone:
      return kEqual;
    case Comparison::kNotEqual:
      return kLess | kGreater;
    case Comparison::kAtLeast:
      return kEqual | kGreater;
    case Comparison::kGreater:
      return kGreater;
    case Comparison::kAtMost:
      return kLess | kEqual;
    case Comparison::kLess:
      return kLess;
  }
  return 0;
}

}  // namespace yox::decision
