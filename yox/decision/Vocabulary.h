#pragma once

#include <span>
#include <string>
#include <string_view>

#include "yox/base/Export.h"

// The closed sets of words that some criteria are compared with, for checks and completion. UTF-8;
// all functions are safe from any thread.
namespace yox::decision {

// A code with its other form and its English name.
struct CodeRow {
  std::string_view code;   // "US", "en"
  std::string_view other;  // "USA", "eng"; three letters
  std::string_view name;   // "United States", "English"
};

// The countries of ISO 3166-1, and XK.
YOX_API std::span<const CodeRow> Countries();
// The languages of ISO 639-1.
YOX_API std::span<const CodeRow> Languages();

// A tag that the product sets itself.
struct TagRow {
  std::string_view name;    // "Device.Usage.IsManagedDevice"
  std::string_view values;  // all that it can have, separated by commas; empty for an empty value
  bool is_open = false;     // it can have other values
};
std::span<const TagRow> ProductTags();

// What is wrong with a word, and the word that was probably meant; empty for none.
struct WordCheck {
  bool good = true;
  std::string meant = {};
};

// "US" is good, "USA" means "US".
WordCheck CheckCountry(std::string_view word);
// "en", "en-US", "zh-Hans-CN" and "es-419" are good; "en_US" means "en-US", "english" "en*".
WordCheck CheckLanguage(std::string_view word);
WordCheck CheckEnclosure(std::string_view word);
WordCheck CheckBitness(std::string_view word);
// Eight, four, four, four and twelve hexadecimal digits, in braces or not.
bool IsGuid(std::string_view word);

}  // namespace yox::decision
