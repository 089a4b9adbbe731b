#include "yox/notifications/PayloadDocuments.h"

#include <exception>
#include <optional>

#include "yox/base/Json.h"
#include "yox/base/String.h"

namespace yox::notifications {
namespace {

const Json::Value& FieldsOf(const PayloadDocument& document, const Json::Value& root) {
  return document.wrapper != nullptr ? root[document.wrapper] : root;
}

void Store(const Json::Value& value, bool* output) { *output = value.asBool(); }
void Store(const Json::Value& value, WString* output) { *output = ToText(value); }
void Store(const Json::Value& value, std::uint32_t* output) { *output = value.asUInt(); }
void Store(const Json::Value& value, std::int32_t* output) {
  *output = String::ToInteger(ToText(value));
}

}  // namespace

WString BuildPayload(const PayloadDocument& document, std::initializer_list<Json::Value> values) {
  try {
    Json::Value fields(Json::objectValue);
    const Json::Value* value = values.begin();
    for (const PayloadField& field : document.fields) fields[field.key] = *value++;
    Json::Value root;
    (document.wrapper != nullptr ? root[document.wrapper] : root) = std::move(fields);
    return String::UTF8ToUTF16(JsonText(root, JsonStyle::kCompact));
  } catch (const std::exception&) {
    return {};
  }
}

void ReadPayload(const PayloadDocument& document, WStringView text,
                 std::initializer_list<PayloadOutput> outputs) {
  try {
    const std::optional<Json::Value> root = ParseLenientJson(text);
    if (!root) return;
    const Json::Value& fields = FieldsOf(document, *root);
    const PayloadOutput* output = outputs.begin();
    for (const PayloadField& field : document.fields) {
      if (!field.is_read) continue;
      std::visit([&](auto* target) { Store(fields[field.key], target); }, *output++);
    }
  } catch (const std::exception&) {
    // What was stored stays.
  }
}

WString ReadPayloadText(const PayloadDocument& document, WStringView text, const char* key) {
  try {
    const std::optional<Json::Value> root = ParseLenientJson(text);
    if (!root) return {};
    return ToText(FieldsOf(document, *root)[key]);
  } catch (const std::exception&) {
    return {};
  }
}

}  // namespace yox::notifications
