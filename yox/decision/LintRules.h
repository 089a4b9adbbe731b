#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

// What the check of a filter list finds (docs/lint.md).

namespace yox::decision {

enum class LintSeverity : std::uint8_t {
  kWarning,  // does something, but hardly what was meant
  kError,    // does not do what it says
};

enum class LintRule : std::uint8_t {
  kUnreachable,
  kConstantList,
  kDefaultAndCriteria,
  kControlWord,
  kBlankText,
  kWhiteSpace,
  kInnerStar,
  kLiteralStar,
  kWildcard,
  kEmptyAlternative,
  kCoveringAlternatives,
  kSuperfluous,
  kCommaInName,
  kAlwaysHolds,
  kNeverHolds,
  kMalformed,
  kExtraPieces,
  kOnlyWithoutFirmware,
  kSeparator,
  kCountryUnknown,
  kLanguageUnknown,
  kLanguageBare,
  kEnclosureUnknown,
  kSubscriptionForm,
  kHardwareIdBus,
  kVersionUnreadable,
  kVersionText,
  kVersionLetters,
  kNumberUnreadable,
  kNumberCut,
  kComparisonInKey,
  kTagSeparator,
  kNegatedKey,
  kContradictingTerms,
  kDateUnreadable,
  kDateImpossible,
  kDateYear,
  kWindowEmpty,
  kWindowPast,
  kRolloutDays,
  kRolloutGrowth,
  kRolloutSegment,
  kRolloutOver,
  kRolloutOutside,
  kForeignText,
  kTypography,
  kTagUnknown,
  kTagValue,
  kRegistryHive,
  kRegistrySeparators,
  kRegistryBlank,
  kRegistryEaten,
  kRegistryNumber,
  kNoDevice,
  kSuppression,
  kSuppressionUnused,
};

// One rule: its name, as `lint: allow` takes it, and what a finding says.
struct LintRuleRow {
  LintRule rule;
  std::string_view id;
  LintSeverity severity;
  std::string_view finding;  // what is wrong
  std::string_view remedy;   // what to do, on one line
};

inline constexpr std::array kLintRules = [] {
  using enum LintRule;
  constexpr auto kWarning = LintSeverity::kWarning;
  constexpr auto kError = LintSeverity::kError;
  return std::to_array<LintRuleRow>({
      {kUnreachable, "unreachable", kError, "the filter is never reached, or never first to match",
       "move it before the filter that takes its devices, or remove it"},
      {kConstantList, "constant-list", kWarning, "the list decides the same for every device",
       "remove the list, or write the criterion that is missing"},
      {kDefaultAndCriteria, "default-and-criteria", kWarning,
       "beside `default`, `value` and criteria are not looked at",
       "put `default` into a last filter of its own"},
      {kControlWord, "control-word", kError, "is neither `true` nor `false`; white space counts",
       "write `true` or `false` without white space"},
      {kBlankText, "blank-text", kWarning, "white space alone counts as not set",
       "write the requirement, or remove the key"},
      {kWhiteSpace, "white-space", kWarning,
       "white space after `!` or beside `*` belongs to the text",
       "remove the white space, unless the value has it"},
      {kInnerStar, "inner-star", kError, "a `*` that is at no end matches every value",
       "put `*` at the beginning or the end, or write the texts out"},
      {kLiteralStar, "literal-star", kWarning, "the inner `*` is an ordinary character",
       "keep `*` at the ends, or split the pattern into alternatives"},
      {kWildcard, "wildcard", kWarning, "only `*` is a wildcard; the rest is compared as written",
       "write `*` at the beginning or the end, or write the texts out"},
      {kEmptyAlternative, "empty-alternative", kError, "an empty alternative matches every value",
       "remove the comma too many, or write the text that is missing"},
      {kCoveringAlternatives, "covering-alternatives", kError,
       "the alternatives together match every value, because one of them is enough",
       "put what is to be excluded into a filter of its own with `value` `false` before this one"},
      {kSuperfluous, "superfluous", kWarning,
       "beside another alternative or term this one changes nothing, or the other does not",
       "remove the one that changes nothing, or correct it"},
      {kCommaInName, "comma-in-name", kWarning,
       "a comma separates alternatives, also within a name",
       "write the name up to the comma, and `*` after it"},
      {kAlwaysHolds, "always-holds", kWarning, "matches every value",
       "remove the criterion, or narrow the pattern"},
      {kNeverHolds, "never-holds", kError, "matches no value", "correct the text, or remove it"},
      {kMalformed, "malformed", kError, "is not of the criterion's form, and never matches",
       "write all pieces: `START|END`, `START|DAYS|GROWTH`, `PATH:NAME|DATA`"},
      {kExtraPieces, "extra-pieces", kWarning, "further pieces are ignored",
       "remove what is after the last `|` that counts"},
      {kOnlyWithoutFirmware, "only-without-firmware", kWarning,
       "matches only devices without firmware tables, where `sku` is not looked at",
       "write the SKU, or remove the criterion"},
      {kSeparator, "separator", kError, "only commas separate alternatives",
       "write a comma between the alternatives"},
      {kCountryUnknown, "country-unknown", kError, "no country has this code",
       "write the two letters of ISO 3166-1, as in `US`"},
      {kLanguageUnknown, "language-unknown", kError, "no language has this code",
       "write it as in `en-US`, or `en*` for all regions"},
      {kLanguageBare, "language-bare", kWarning,
       "does not match the language with a region, as in `en-US`",
       "write `en*` for a language in all regions"},
      {kEnclosureUnknown, "enclosure-unknown", kError, "no enclosure has this name",
       "write a name of the firmware's list, as in `Notebook`"},
      {kSubscriptionForm, "subscription-form", kWarning, "subscriptions are GUIDs",
       "write it as in `1b4e28ba-2fa1-11d2-883f-0016d3cca427`"},
      {kHardwareIdBus, "hardware-id-bus", kError,
       "a hardware ID begins with its bus, which is missing",
       "write the bus and a `\\` before it, as in `PCI\\VEN_8086&DEV_7D45`"},
      {kVersionUnreadable, "version-unreadable", kError,
       "no version of two to four numbers: never matches", "write it as in `>=1.2` or `1.2.3.4`"},
      {kVersionText, "version-text", kError,
       "without an operator the text is compared letter by letter, and no version is written so",
       "write digits and dots, after one of `!`, `>=`, `>`, `<=`, `<` or none"},
      {kVersionLetters, "version-letters", kWarning,
       "of a version only operator, digits and dots count; the rest is deleted",
       "write the version in digits and dots, after one of `!`, `>=`, `>`, `<=`, `<` or none"},
      {kNumberUnreadable, "number-unreadable", kError,
       "a comparison without a whole number never matches",
       "write a whole number after the operator, or a version with a dot"},
      {kNumberCut, "number-cut", kWarning, "what follows the number is ignored",
       "write the number in digits alone"},
      {kComparisonInKey, "comparison-in-key", kWarning,
       "without `|` the comparison is part of the key's name", "write `key|>=5`"},
      {kTagSeparator, "tag-separator", kWarning,
       "without `|` the `:` or `=` is part of the key's name", "write `key|value`"},
      {kNegatedKey, "negated-key", kWarning,
       "a negated key with a value looks at the first other key",
       "negate the value, `key|!text`, or the key alone, `!key`"},
      {kContradictingTerms, "contradicting-terms", kError,
       "the term and one before it never match together",
       "put the terms into filters of their own: within one filter all must match"},
      {kDateUnreadable, "date-unreadable", kError, "no date of three numbers, nor a lone `*`",
       "write `YYYY-MM-DD`"},
      {kDateImpossible, "date-impossible", kError, "no calendar has this day",
       "write a day that exists"},
      {kDateYear, "date-year", kError, "the year is before 1900",
       "write the year first, and in four digits"},
      {kWindowEmpty, "window-empty", kError, "the window ends before it begins",
       "exchange the two dates, or correct one"},
      {kWindowPast, "window-past", kWarning, "the window has passed",
       "remove the filter, or extend the window"},
      {kRolloutDays, "rollout-days", kError, "a roll-out needs one day at least",
       "write the number of days: with 0 it never begins, with less it is over at once"},
      {kRolloutGrowth, "rollout-growth", kError,
       "with an unknown growth no device is included before the last day",
       "write `linear`, `exponentialNormal` or `exponentialSlow`"},
      {kRolloutSegment, "rollout-segment", kWarning,
       "an unknown segment counts devices, not organisations",
       "write `tenant`, or nothing for devices"},
      {kRolloutOver, "rollout-over", kWarning,
       "the roll-out ended long ago: it includes every device",
       "remove the criterion, or begin a new roll-out"},
      {kRolloutOutside, "rollout-outside", kError,
       "the roll-out begins after the window of `date_range` has ended",
       "extend the window, or begin the roll-out earlier"},
      {kForeignText, "foreign-text", kWarning,
       "operators, quotation marks and words of other languages are compared as written",
       "write the text alone, or `!` before it for the opposite"},
      {kTypography, "typography", kWarning,
       "has a character that word processors write or nobody sees, which is compared too",
       "type it again on the keyboard, unless the value has it"},
      {kTagUnknown, "tag-unknown", kWarning, "the product sets no tag of this name",
       "write the name as `yoxctl tags` shows it"},
      {kTagValue, "tag-value", kWarning, "the product never gives this value to the tag",
       "write a value that it has, or the key alone where it has none"},
      {kRegistryHive, "registry-hive", kError,
       "a path begins with `HKLM` or `HKCU` and a separator",
       "write the hive in capitals and a key after it"},
      {kRegistrySeparators, "registry-separators", kError,
       "separators are mixed, or doubled between names",
       "write one `\\` between names, or one `/` throughout"},
      {kRegistryBlank, "registry-blank", kError,
       "white space belongs to the hive or to a name of the requirement",
       "remove it: nothing is trimmed here"},
      {kRegistryEaten, "registry-eaten", kError,
       "the key's first letters belong to the hive's name and are removed with it",
       "use another key: this one cannot be reached"},
      {kRegistryNumber, "registry-number", kWarning, "registry data is compared as text",
       "write the number, or alternatives in filters of their own"},
      {kNoDevice, "no-device", kWarning, "no device of the facts documents has this",
       "write what devices have, or wait until some have it"},
      {kSuppression, "suppression", kError, "`lint:` in a comment allows a rule for a reason",
       "write `lint: allow RULE: REASON`"},
      {kSuppressionUnused, "suppression-unused", kWarning,
       "nothing is found here that the comment allows", "remove the sentence from the comment"},
  });
}();

// Returns the row of a rule.
constexpr const LintRuleRow& RowOf(LintRule rule) {
  return kLintRules[static_cast<std::size_t>(rule)];
}

static_assert(
    [] {
      for (std::size_t i = 0; i < kLintRules.size(); ++i) {
        if (kLintRules[i].rule != static_cast<LintRule>(i)) return false;
      }
      return true;
    }(),
    "rows are in the order of the rules");

}  // namespace yox::decision
