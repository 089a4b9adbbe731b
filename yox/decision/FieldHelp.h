#pragma once

#include <array>
#include <string_view>

#include "yox/decision/FilterFields.h"

// What the fields of a filter mean, in words for people who write lists.
namespace yox::decision {

struct FieldHelp {
  FilterField field;
  std::string_view meaning;
  std::string_view language;  // the form of its text
  std::string_view examples;  // of the text, separated by two blanks
};

inline constexpr std::string_view kTextLanguage =
    "text alternatives separated by commas: `text`, `text*`, `*text`, `*text*`, and `!` before any "
    "of these for the opposite; letter case is ignored";
inline constexpr std::string_view kVersionLanguage =
    "version alternatives separated by commas: `1.2.3`, or a version after `!`, `>=`, `>`, `<=` or "
    "`<`";
inline constexpr std::string_view kTermLanguage =
    "terms separated by commas: `key`, `!key`, `key|text`, `key|>=5`, `key|<1.2.3`";

// In the order of FilterField.
inline constexpr std::array kFieldHelp = std::to_array<FieldHelp>({
    {FilterField::default_,
     "ends the list without looking at the device: `true` applies, anything "
     "else does not",
     "`true` or `false`", "true  false"},
    {FilterField::value, "what a match means: `false` does not apply, anything else applies",
     "`true` or `false`", "false"},
    {FilterField::mfr, "the firmware's manufacturer", kTextLanguage, "Contoso  Contoso*,Fabrikam"},
    {FilterField::family, "the firmware's product family", kTextLanguage, "Falcon*"},
    {FilterField::model, "the firmware's model number", kTextLanguage, "FA14*"},
    {FilterField::sku,
     "the firmware's stock-keeping unit; satisfied on devices without firmware "
     "tables",
     kTextLanguage, "FALCON14-*"},
    {FilterField::tag, "the device's tags and the caller's; all terms must match", kTermLanguage,
     "Ring|beta  !Ring  Memory|>=16"},
    {FilterField::country, "the device's country code, of ISO 3166-1", kTextLanguage, "US,CA  !DE"},
    {FilterField::language, "the system's language code", kTextLanguage, "en*  en-US,de-DE"},
    {FilterField::os, "the text `Windows`, on every device", kTextLanguage, "Windows"},
    {FilterField::os_bitness, "`32`, `64`, `ARM64` or `not supported`", kTextLanguage, "64,ARM64"},
    {FilterField::enclosure, "the firmware's enclosure type", kTextLanguage,
     "Notebook,Laptop,Convertible"},
    {FilterField::os_description, "the operating system's caption", kTextLanguage, "*Enterprise*"},
    {FilterField::device_subscription, "each of the organisation's subscriptions; one must match",
     kTextLanguage, "1b4e28ba-2fa1-11d2-883f-0016d3cca427"},
    {FilterField::version, "the client's version", kVersionLanguage, ">=4.2"},
    {FilterField::os_version, "the operating system's version", kVersionLanguage,
     ">=10.0.19041  <11.0"},
    {FilterField::target_version,
     "the version that the content is for; not satisfied when none is "
     "given",
     kVersionLanguage, "<=1.35"},
    {FilterField::sn_hash, "the salted hash of the serial number, as `yoxctl hash` prints it",
     kTextLanguage, "c0ffee*"},
    {FilterField::org_hash,
     "the salted hash of the organisation's realm, as `yoxctl hash` prints it", kTextLanguage,
     "c0ffee*"},
    {FilterField::date_range, "today on the device, both ends included",
     "`START|END`, each `YYYY-MM-DD` or `*`", "2026-01-15|*  2026-01-15|2026-02-15"},
    {FilterField::date_function, "a roll-out: the share of devices that grows to all in DAYS days",
     "`START|DAYS|GROWTH`, with GROWTH `linear`, `exponentialNormal` or `exponentialSlow`, and "
     "`|tenant` for whole organisations at a time",
     "2026-01-05|28|linear  2026-01-05|90|exponentialNormal|tenant"},
    {FilterField::installed_items,
     "the installed applications with their versions; one term is "
     "enough",
     kTermLanguage, "Contoso Editor|>=7.0"},
    {FilterField::registry, "values of the registry; all requirements must be satisfied",
     "`PATH:NAME|DATA` separated by commas; PATH begins with `HKLM` or `HKCU`, DATA is a text "
     "pattern",
     "HKLM\\SOFTWARE\\Contoso\\App:Channel|beta*"},
    {FilterField::hardware_id, "the hardware IDs of the devices that are present; one must match",
     kTextLanguage, "PCI\\VEN_8086&DEV_7D45"},
});

static_assert(
    [] {
      if (kFieldHelp.size() != kFilterFieldCount) return false;
      for (std::size_t i = 0; i < kFieldHelp.size(); ++i) {
        if (kFieldHelp[i].field != static_cast<FilterField>(i)) return false;
      }
      return true;
    }(),
    "rows are in the order of the fields");

constexpr const FieldHelp& HelpOf(FilterField field) {
  return kFieldHelp[static_cast<std::size_t>(field)];
}

}  // namespace yox::decision
