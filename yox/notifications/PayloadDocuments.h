#pragma once

#include <json/value.h>

#include <array>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <variant>

#include "yox/base/WString.h"

namespace yox::notifications {

// How a field is written and read: a delay is written as an integer and read as the text of one.
enum class PayloadType { kBoolean, kText, kUnsigned, kDelay };

struct PayloadField {
  const char* key;
  PayloadType type;
  bool is_read = true;
};

// A payload document: its fields in the order in which they are written and read, in the object
// under the wrapper's key, or at the top where there is none.
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

// Where the value of a field goes.
using PayloadOutput = std::variant<bool*, WString*, std::uint32_t*, std::int32_t*>;

// The document with one value for each field, as compact text; empty when it cannot be written.
WString BuildPayload(const PayloadDocument& document, std::initializer_list<Json::Value> values);

// Stores the fields that are read, in order, each as soon as it was read; ends silently at what
// cannot be read. One output for each field that is read, of its type.
void ReadPayload(const PayloadDocument& document, WStringView text,
                 std::initializer_list<PayloadOutput> outputs);

// One text field by itself; empty when it cannot be read.
WString ReadPayloadText(const PayloadDocument& document, WStringView text, const char* key);

}  // namespace yox::notifications
