#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "yox/base/WString.h"
#include "yox/decision/CompiledList.h"
#include "yox/decision/DeviceFacts.h"
#include "yox/decision/Explanation.h"
#include "yox/decision/Facts.h"
#include "yox/decision/FilterFields.h"
#include "yox/decision/Truth.h"

namespace yox::decision {

class Observer;

// The language of a criterion's text.
enum class Language : std::uint8_t {
  kText,
  kVersion,
  kTerms,
  kDateRange,
  kRollout,
  kRegistry,
  kHardwareId,
};

// How a failing criterion is logged.
enum class Throttling : std::uint8_t {
  kNone,           // always
  kStatic,         // by key and message
  kDynamic,        // by key, required text and the device's value
  kDynamicByWord,  // by key, required text and a fixed word in the value's place
};

// What the message says after the required text.
enum class MessageEnd : std::uint8_t { kNothing, kActual, kNotFound };

// What a criterion is that asks for a fact which is known to be missing.
enum class WhenMissing : std::uint8_t {
  kSeesItsText,   // decided over the fact's text, which is mostly empty
  kHolds,         // as if the criterion were not set
  kFailsUnnamed,  // false, and no reason names it
};

// One list against one device.
struct Evaluation {
  const CompiledList& list;
  DeviceFacts& facts;
  Observer* observer = nullptr;
  // Receives the names of the facts that leave a criterion unknown, unless it is null.
  std::vector<std::string>* needs = nullptr;
};

// What a criterion was compared with. Keeps the first kMost facts and counts the others, so that a
// requirement of millions of terms is explained in little memory.
class FactList {
 public:
  static constexpr std::size_t kMost = 256;

  FactList() = default;
  FactList(ExplainedFact fact) { Add(std::move(fact)); }  // NOLINT: most criteria have one

  void Add(ExplainedFact fact) {
    has_missing_ = has_missing_ || fact.result == CriterionResult::kMissing;
    has_differing_ = has_differing_ || fact.result == CriterionResult::kDiffers;
    if (facts_.size() < kMost) {
      facts_.push_back(std::move(fact));
    } else {
      ++left_out_;
    }
  }

  std::vector<ExplainedFact>& facts() { return facts_; }
  std::size_t left_out() const { return left_out_; }
  // Whether a fact is missing and none differs, of those left out too.
  bool IsMissing() const { return has_missing_ && !has_differing_; }

 private:
  std::vector<ExplainedFact> facts_;
  std::size_t left_out_ = 0;
  bool has_missing_ = false;
  bool has_differing_ = false;
};

// A criterion in one row: the fact that it needs, how it is evaluated, and how it is described.
struct Criterion {
  using Step = CompiledList::Step;
  using Evaluate = Truth(const Evaluation& evaluation, const Step& step);
  using Describe = FactList(const Evaluation& evaluation, const Step& step, Truth truth);

  FilterField field;
  Language language;
  Evaluate* evaluate;
  Describe* describe;
  Fact fact;                // what it needs
  std::string_view source;  // where the device's value comes from, for explanations
  std::string_view label;   // opens the message: label " filter is false. Required: " text
  MessageEnd end;
  Throttling throttling;
  std::string_view throttle_key;
  std::string_view actual_word = {};
  std::string_view no_text = "no text";  // explains an empty text
  std::string_view no_source = {};       // explains a missing one; empty: in the same words
  WhenMissing when_missing = WhenMissing::kSeesItsText;

  constexpr std::string_view name() const {
    return kFilterFieldNames[static_cast<std::size_t>(field)];
  }
};

Criterion::Evaluate EvaluateText, EvaluateVersion, EvaluateDateRange, EvaluateRollout,
    EvaluateSubscriptions, EvaluateTags, EvaluateInstalledItems, EvaluateRegistry,
    EvaluateHardwareId;
Criterion::Describe DescribeText, DescribeHash, DescribeVersion, DescribeDateRange, DescribeRollout,
    DescribeSubscriptions, DescribeTags, DescribeInstalledItems, DescribeRegistry,
    DescribeHardwareId;

// The criteria in the order of their evaluation, which is not the order of the fields. It is part
// of the behaviour: only the first failing criterion reaches the reason text.
inline constexpr std::array kCriteria = [] {
  using enum FilterField;
  using enum Language;
  using enum MessageEnd;
  using enum Throttling;
  using enum WhenMissing;
  return std::to_array<Criterion>({
      {country, kText, EvaluateText, DescribeText, Fact::country, "region", "Country", kActual,
       kDynamic, "Country"},
      {date_range, kDateRange, EvaluateDateRange, DescribeDateRange, Fact::time_zone, "clock",
       "Date range", kNothing, kDynamicByWord, "DateRange", "current_date"},
      {date_function, kRollout, EvaluateRollout, DescribeRollout, Fact::time_zone,
       "clock, serial number", "Date function", kNothing, kDynamicByWord, "DateFunction",
       "current_date"},
      {device_subscription, kText, EvaluateSubscriptions, DescribeSubscriptions,
       Fact::device_subscription, "organisation", "Device subscription", kNothing, kDynamicByWord,
       "DeviceSubscription", "no_match", "no subscription", "no organisation"},
      {enclosure,
       kText,
       EvaluateText,
       DescribeText,
       Fact::enclosure,
       "firmware",
       "Enclosure",
       kActual,
       kStatic,
       "EnclosureType",
       {},
       "no text",
       "no firmware tables"},
      {family,
       kText,
       EvaluateText,
       DescribeText,
       Fact::family,
       "firmware",
       "Family name",
       kActual,
       kStatic,
       "FamilyName",
       {},
       "no text",
       "no firmware tables"},
      {hardware_id, kHardwareId, EvaluateHardwareId, DescribeHardwareId, Fact::hardware_ids,
       "present devices", "Hardware ID", kNothing, kNone, ""},
      {language, kText, EvaluateText, DescribeText, Fact::language, "region", "Language", kActual,
       kDynamic, "Language"},
      {mfr,
       kText,
       EvaluateText,
       DescribeText,
       Fact::mfr,
       "firmware",
       "Manufacturer",
       kActual,
       kStatic,
       "Manufacturer",
       {},
       "no text",
       "no firmware tables"},
      {model,
       kText,
       EvaluateText,
       DescribeText,
       Fact::model,
       "firmware",
       "Model",
       kActual,
       kStatic,
       "Model",
       {},
       "no text",
       "no firmware tables"},
      {org_hash,
       kText,
       EvaluateText,
       DescribeHash,
       Fact::realm,
       "organisation's realm",
       "Org hash",
       kNothing,
       kDynamic,
       "OrgHash",
       {},
       "no realm",
       "no organisation"},
      {os, kText, EvaluateText, DescribeText, Fact::os, "fixed", "Os", kActual, kStatic, "OS"},
      {os_bitness, kText, EvaluateText, DescribeText, Fact::os_bitness, "processor", "Os bitness",
       kActual, kStatic, "OsBitness"},
      {os_description, kText, EvaluateText, DescribeText, Fact::os_description, "operating system",
       "Os description", kActual, kStatic, "OsDescription"},
      {os_version, kVersion, EvaluateVersion, DescribeVersion, Fact::os_version, "operating system",
       "Os version", kActual, kStatic, "OSVersion"},
      {registry, kRegistry, EvaluateRegistry, DescribeRegistry, Fact::registry, "registry",
       "Registry", kNotFound, kDynamicByWord, "Registry", "not_found"},
      {sku,
       kText,
       EvaluateText,
       DescribeText,
       Fact::sku,
       "firmware",
       "SKU",
       kActual,
       kStatic,
       "SKU",
       {},
       "no text",
       "no firmware tables: holds unasked",
       kHolds},
      {sn_hash,
       kText,
       EvaluateText,
       DescribeHash,
       Fact::serial_number,
       "serial number",
       "Sn hash",
       kNothing,
       kStatic,
       "SnHash",
       {},
       "no serial number"},
      {target_version,
       kVersion,
       EvaluateVersion,
       DescribeVersion,
       Fact::target_version,
       "caller",
       "Target version",
       kActual,
       kDynamic,
       "TargetVersion",
       {},
       "none given",
       "none given",
       kFailsUnnamed},
      {version,
       kVersion,
       EvaluateVersion,
       DescribeVersion,
       Fact::version,
       "client",
       "Version",
       kActual,
       kDynamic,
       "Version",
       {},
       "no client version"},
      {tag, kTerms, EvaluateTags, DescribeTags, Fact::tags, "tags", "Tag", kNothing, kDynamicByWord,
       "Tag", "no_match"},
      {installed_items, kTerms, EvaluateInstalledItems, DescribeInstalledItems,
       Fact::installed_items, "applications", "Installed items", kNothing, kDynamicByWord,
       "InstalledItems", "no_match"},
  });
}();

static_assert(kCriteria.size() == kFilterFieldCount - 2, "every field but the controls");

inline const Criterion& CriterionOf(const CompiledList::Step& step) {
  return kCriteria[step.criterion];
}

// The device's value in a log message; empty for a criterion that is compared with several values.
WStringView ActualOf(DeviceFacts& facts, const CompiledList::Step& step);

}  // namespace yox::decision
