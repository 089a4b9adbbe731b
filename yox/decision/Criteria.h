#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "yox/decision/FilterFields.h"

namespace yox::decision {

// The language of a criterion's text.
enum class Language : std::uint8_t { kText, kVersion, kTerms, kDateRange, kRollout, kOwn };

// How a failing criterion is logged.
enum class Throttling : std::uint8_t {
  kNone,           // always
  kStatic,         // by key and message
  kDynamic,        // by key, required text and the device's value
  kDynamicByWord,  // by key, required text and a fixed word in the value's place
};

// What the message says behind the required text.
enum class MessageEnd : std::uint8_t { kNothing, kActual, kNotFound };

struct Criterion {
  FilterField field;
  Language language;
  std::string_view source;  // where the device's value comes from, for explanations
  std::string_view label;   // opens the message: label " filter is false. Required: " text
  MessageEnd end;
  Throttling throttling;
  std::string_view throttle_key;
  std::string_view actual_word = {};

  constexpr std::string_view name() const {
    return kFilterFieldNames[static_cast<std::size_t>(field)];
  }
};

// The criteria in the order of their evaluation, which is not the order of the fields. It is part
// of the behaviour: only the first failing criterion reaches the reason text.
inline constexpr std::array kCriteria = [] {
  using enum FilterField;
  using enum Language;
  using enum MessageEnd;
  using enum Throttling;
  return std::to_array<Criterion>({
      {country, kText, "region", "Country", kActual, kDynamic, "Country"},
      {date_range, kDateRange, "clock", "Date range", kNothing, kDynamicByWord, "DateRange",
       "current_date"},
      {date_function, kRollout, "clock, serial number", "Date function", kNothing, kDynamicByWord,
       "DateFunction", "current_date"},
      {device_subscription, kText, "organisation", "Device subscription", kNothing, kDynamicByWord,
       "DeviceSubscription", "no_match"},
      {enclosure, kText, "firmware", "Enclosure", kActual, kStatic, "EnclosureType"},
      {family, kText, "firmware", "Family name", kActual, kStatic, "FamilyName"},
      {hardware_id, kOwn, "present devices", "Hardware ID", kNothing, kNone, ""},
      {language, kText, "region", "Language", kActual, kDynamic, "Language"},
      {mfr, kText, "firmware", "Manufacturer", kActual, kStatic, "Manufacturer"},
      {model, kText, "firmware", "Model", kActual, kStatic, "Model"},
      {org_hash, kText, "organisation's realm", "Org hash", kNothing, kDynamic, "OrgHash"},
      {os, kText, "fixed", "Os", kActual, kStatic, "OS"},
      {os_bitness, kText, "processor", "Os bitness", kActual, kStatic, "OsBitness"},
      {os_description, kText, "operating system", "Os description", kActual, kStatic,
       "OsDescription"},
      {os_version, kVersion, "operating system", "Os version", kActual, kStatic, "OSVersion"},
      {registry, kOwn, "registry", "Registry", kNotFound, kDynamicByWord, "Registry", "not_found"},
      {sku, kText, "firmware", "SKU", kActual, kStatic, "SKU"},
      {sn_hash, kText, "serial number", "Sn hash", kNothing, kStatic, "SnHash"},
      {target_version, kVersion, "caller", "Target version", kActual, kDynamic, "TargetVersion"},
      {version, kVersion, "client", "Version", kActual, kDynamic, "Version"},
      {tag, kTerms, "tags", "Tag", kNothing, kDynamicByWord, "Tag", "no_match"},
      {installed_items, kTerms, "applications", "Installed items", kNothing, kDynamicByWord,
       "InstalledItems", "no_match"},
  });
}();

static_assert(kCriteria.size() == kFilterFieldCount - 2, "every field but the controls");

}  // namespace yox::decision
