#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "yox/base/Export.h"
#include "yox/base/TimeZone.h"
#include "yox/base/WString.h"
#include "yox/decision/DeviceFacts.h"
#include "yox/decision/FilterFields.h"

namespace yox::decision {

// A value of a device that is known, known to be missing, or unknown, which a new one is.
template <class Value>
struct Given {
  Knowledge knowledge = Knowledge::kUnknown;
  Value value = {};

  static Given Known(Value value) { return {Knowledge::kKnown, std::move(value)}; }
  static Given Missing() { return {Knowledge::kMissing, {}}; }
};

// The facts that are known about one device: a plain value, which a reader of facts fills and from
// which a PreparedDevice is built. Texts are UTF-16. A member that is not set is unknown; one that
// is missing is decided as on a device that does not have it.
struct YOX_API FactsRecord {
  struct RegistryValue {
    WString key;                  // "HKLM\SOFTWARE\Contoso\App"
    WString name;                 // empty for the key's default value
    std::optional<WString> text;  // std::nullopt: the device has no such value
  };

  std::string id;

  // By the field of the criterion: country, language, enclosure, family, mfr, model, sku, os,
  // os_bitness, os_description, os_version, version, and the hashes sn_hash and org_hash. The
  // others are not read. The operating system has the one name that every device gives it.
  std::array<Given<WString>, kFilterFieldCount> texts = NewTexts();
  Given<WString>& text(FilterField field) { return texts[static_cast<std::size_t>(field)]; }
  const Given<WString>& text(FilterField field) const {
    return texts[static_cast<std::size_t>(field)];
  }

  // Set the text, and hash and bucket of the device, or of its organisation, to those of the text;
  // one that is missing hashes as the empty text does.
  void SetSerialNumber(const Given<WString>& given);
  void SetRealm(const Given<WString>& given);
  // For documents only: a decision sees hash and bucket.
  Given<WString> serial_number;
  Given<WString> realm;
  Given<int> rollout_bucket;       // 0 to 4095
  Given<int> organisation_bucket;  // the same

  // Sets zone and name; returns false, and changes nothing, when TimeZone::Parse reads no such
  // text.
  bool SetTimeZone(std::string_view name);
  std::optional<TimeZone> time_zone;
  std::string time_zone_name;  // for documents only; empty: not known
  Given<std::vector<WString>> device_subscriptions;
  std::optional<Pairs> tags;
  std::optional<Pairs> installed_items;  // store applications last
  std::optional<std::vector<WString>> hardware_ids;
  std::vector<RegistryValue> registry;  // those that are known, or known to be missing

 private:
  static std::array<Given<WString>, kFilterFieldCount> NewTexts();
};

}  // namespace yox::decision
