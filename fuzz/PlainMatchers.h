#pragma once

#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

#include "yox/applicability/ApplicabilityEvaluator.h"
#include "yox/base/String.h"
#include "yox/foundation/Version.h"

// The matchers' rules once more, written plainly over copies of the texts: slow, and apart from the
// library's own in every way but the operations on text. What the two say is the same.
namespace yox_fuzz::plain {

using YOX::String;
using yox::WChar;
using yox::WString;
using yox::WStringView;
using namespace yox::literals;

using Pairs = ApplicabilityEvaluator::Pairs;

inline WString Trimmed(WString text) { return String::trim(text, String::kWhiteSpace); }

inline bool DoesStringMatch(const WString& written, const WString& value) {
  if (String::IsEmptyOrWhiteSpace(written)) return true;
  WString pattern = Trimmed(written);
  const WString actual = Trimmed(value);
  const bool negated = String::StartsWith(pattern, "!"_wv);
  if (negated) pattern.erase(0, 1);
  bool outcome = false;
  if (pattern.empty() || pattern.find(WChar{'*'}) == WString::npos) {
    outcome = String::CaseInsesitiveEqual(pattern, actual);
  } else if (const bool opens = String::StartsWith(pattern, "*"_wv),
             closes = String::EndsWith(pattern, "*"_wv);
             opens && closes) {
    String::trimStart(pattern, "*"_wv);
    String::trimEnd(pattern, "*"_wv);
    outcome = String::CaseInsesitiveFind(actual, pattern);
  } else if (closes) {
    String::trimEnd(pattern, "*"_wv);
    outcome = String::CaseInsensitiveStartsWith(actual, pattern);
  } else if (opens) {
    String::trimStart(pattern, "*"_wv);
    outcome = String::CaseInsensitiveEndsWith(actual, pattern);
  } else {
    return true;
  }
  return outcome != negated;
}

// The operator in front, which goes from both ends of the pattern as a set of characters.
inline WString TakeOperator(WString& pattern) {
  for (const WStringView candidate : {"!"_wv, ">="_wv, ">"_wv, "<="_wv, "<"_wv}) {
    if (String::StartsWith(pattern, candidate)) {
      String::trim(pattern, candidate);
      return WString(candidate);
    }
  }
  return {};
}

// `order` is how the device's value compares with the required one.
inline bool Holds(const WString& comparison, int order) {
  if (comparison == "!"_wv) return order != 0;
  if (comparison == ">="_wv) return order >= 0;
  if (comparison == ">"_wv) return order > 0;
  if (comparison == "<="_wv) return order <= 0;
  if (comparison == "<"_wv) return order < 0;
  return order == 0;
}

inline bool DoesVersionMatch(const WString& written, const WString& value) {
  if (String::IsEmptyOrWhiteSpace(written) || String::IsEmptyOrWhiteSpace(value)) return false;
  WString pattern = Trimmed(written);
  const WString actual = Trimmed(value);
  const WString whole = pattern;
  const WString comparison = TakeOperator(pattern);
  Version required;
  if (!Version::TryParseVersion(pattern, required)) return false;
  if (comparison.empty()) return String::CaseInsesitiveEqual(whole, actual);
  Version version;
  return Version::TryParseVersion(actual, version) &&
         Holds(comparison, version.CompareTo(required));
}

// std::nullopt if the conversion of a number throws.
inline std::optional<bool> DoesIntMatch(const WString& written, const WString& value) {
  try {
    const int actual = String::ToInteger(Trimmed(value));
    WString pattern = Trimmed(written);
    const WString comparison = TakeOperator(pattern);
    const int required = String::ToInteger(pattern);
    return Holds(comparison, actual < required ? -1 : actual > required);
  } catch (const std::invalid_argument&) {
    return std::nullopt;
  } catch (const std::out_of_range&) {
    return std::nullopt;
  }
}

inline bool DoesKvpMatch(const WString& term, const Pairs& pairs) {
  const auto find = [&](const WString& key) -> const Pairs::value_type* {
    for (const auto& pair : pairs) {
      if (DoesStringMatch(key, pair.getKey())) return &pair;
    }
    return nullptr;
  };
  const std::vector<WString> pieces = String::Split(term, '|');
  if (pieces.size() < 2) {
    WString key = Trimmed(term);
    const bool negated = String::StartsWith(key, "!"_wv);
    if (negated) String::trim(key, "!"_wv);
    return (find(key) != nullptr) != negated;
  }
  const auto* const pair = find(Trimmed(pieces[0]));
  if (pair == nullptr) return false;
  const WString required = Trimmed(pieces[1]);
  if (required.empty()) return true;
  if (required[0] != '<' && required[0] != '>') return DoesStringMatch(required, pair->getValue());
  if (required.find(WChar{'.'}) != WString::npos)
    return DoesVersionMatch(required, pair->getValue());
  return DoesIntMatch(required, pair->getValue()).value_or(false);
}

}  // namespace yox_fuzz::plain
