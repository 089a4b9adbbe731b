#pragma once

#include <json/value.h>

#include <array>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <variant>

#include "yox/base/WString.h"

namespace yox::notifications {

// The type of a field. A delay is written as an integer, and is read from an integer or from the
// text of one.
enum class PayloadType { kBoolean, kText, kUnsigned, kDelay };

struct PayloadField {
  const char* key;
  PayloadType type;
  bool is_read = true;
};

// A payload document: its fields in the order in which they are written and read, in the object
// under the wrapper's key, or in the document itself if the wrapper is null.
struct PayloadDocument {
  const char* wrapper;
  std::span<const PayloadField> fields;
};

inline constexpr PayloadField kPolicyChangeFields[] = {
    {"device_path_change", PayloadType::kBoolean},
    {"device_subscription_change", PayloadType::kBoolean},
    {"mqtt_scope_change", PayloadType::kBoolean, false},
    {"mqtt_connect_frequency_change", PayloadType::kBoolean, false},
    {"device_path_value", PayloadType::kText},
    {"device_subscription_value", PayloadType::kText},
    {"mqtt_scope_value", PayloadType::kText, false},
    {"mqtt_connect_frequency_value", PayloadType::kText, false},
};
inline constexpr PayloadField kRegistrationFields[] = {
    {"has_registration_attempted_success", PayloadType::kBoolean},
    {"registration_trigger_type", PayloadType::kText},
    {"registration_trigger_source", PayloadType::kText},
    {"device_id", PayloadType::kText},
    {"delay", PayloadType::kDelay},
};
inline constexpr PayloadField kConfigChangeFields[] = {
    {"is_trigger_source_startup", PayloadType::kBoolean},
};
inline constexpr PayloadField kConfigFetchFields[] = {
    {"pull_trigger_in_minutes", PayloadType::kUnsigned},
};
inline constexpr PayloadField kPackageEventFields[] = {
    {"PackageId", PayloadType::kText},      {"PackageType", PayloadType::kText},
    {"PackageName", PayloadType::kText},    {"PackageVersion", PayloadType::kText},
    {"PackageTrigger", PayloadType::kText},
};

inline constexpr PayloadDocument kPolicyChange{"policy_change", kPolicyChangeFields};
inline constexpr PayloadDocument kRegistration{"device_registration", kRegistrationFields};
inline constexpr PayloadDocument kConfigChange{"config_change", kConfigChangeFields};
inline constexpr PayloadDocument kConfigFetch{"config_fetch", kConfigFetchFields};
inline constexpr PayloadDocument kPackageEvent{nullptr, kPackageEventFields};

// The variable that receives the value of a field.
using PayloadOutput = std::variant<bool*, WString*, std::uint32_t*, std::int32_t*>;

// Returns the document with one value for each field, as compact JSON; empty if it cannot be
// written.
WString BuildPayload(const PayloadDocument& document, std::initializer_list<Json::Value> values);

// Reads the fields with `is_read`, in order, and stores each at once; ends without an error at the
// first that cannot be read. `outputs` has one variable for each of these fields, of its type.
void ReadPayload(const PayloadDocument& document, WStringView text,
                 std::initializer_list<PayloadOutput> outputs);

// Returns one field that is a string; empty if it cannot be read.
WString ReadPayloadText(const PayloadDocument& document, WStringView text, const char* key);

}  // namespace yox::notifications
