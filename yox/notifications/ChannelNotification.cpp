// The KXP channel's side of the notification record.
#include <json/value.h>

#include <initializer_list>
#include <optional>
#include <utility>

#include "yox/base/Json.h"
#include "yox/base/String.h"
#include "yox/notifications/StyledSize.h"
#include "yox/notifications/YOXNotificationData.h"

using namespace yox::literals;
using YOX::String;
using yox::ToJson;
using yox::ToText;
using yox::WString;
using yox::WStringView;
using yox::notifications::RequireBoundedStyledSize;

using FieldMap = std::map<WString, WString>;

namespace {

// Adds the entries of `more` whose keys are not in `map`. Always moves the smaller of the two, so
// that a deep document costs no more than a wide one.
void AddAbsent(FieldMap& map, FieldMap&& more) {
  if (more.size() > map.size()) {
    map.swap(more);
    for (auto& [key, value] : more) map.insert_or_assign(key, std::move(value));
  } else {
    map.merge(more);
  }
}

}  // namespace

FieldMap YOXNotificationData::JSONtoMap(const Json::Value& value) {
  FieldMap map;
  if (!value.isObject()) return map;
  for (auto member = value.begin(); member != value.end(); ++member) {
    WString key = String::UTF8ToUTF16(member.name());
    if (member->isObject()) {
      // By the empty value a reader distinguishes an object from a string of the same name.
      map.insert_or_assign(std::move(key), WString());
      AddAbsent(map, JSONtoMap(*member));
    } else if (member->isString()) {
      map.insert_or_assign(std::move(key), ToText(*member));
    }
  }
  return map;
}

void YOXNotificationData::DeserializeKXPNotification(const WString& text) {
  try {
    Fields& fields = fields_.Mutable();
    const std::optional<Json::Value> root = yox::ParseLenientJson(text);
    if (!root) return;
    fields.fieldMap = JSONtoMap(*root);

    const auto field = [&fields](WStringView key) -> const WString* {
      const auto found = fields.fieldMap.find(WString(key));
      return found != fields.fieldMap.end() ? &found->second : nullptr;
    };
    const auto take = [](WString& into, const WString* value) {
      if (value != nullptr) into = *value;
    };
    const WString* const alert = field("alert"_wv);
    const WString* const action = field("action"_wv);
    if (alert != nullptr && alert->empty() && action == nullptr) {
      const WString* const notify = field("notify"_wv);
      take(fields.messageType, notify);
      if (notify != nullptr && *notify == "deviceactionstate"_wv) {
        take(fields.deviceActionState, field("value"_wv));
      }
    }
    if (action != nullptr && action->empty() && alert == nullptr) {
      take(fields.messageType, field("cmd"_wv));
      take(fields.actionType, field("cmd_type"_wv));
      const WString* const status = field("Log"_wv);
      const WString* const level = field("Loglevel"_wv);
      if (status != nullptr && level != nullptr) {
        fields.logStatus = *status;
        fields.logLevel = *level;
      }
    }
    RequireBoundedStyledSize(*root);
    fields.messageForKXP = String::UTF8ToUTF16(root->toStyledString());
  } catch (...) {  // NOLINT(bugprone-empty-catch): what was set stays
  }
}

void YOXNotificationData::makeKXPpayload(const FieldMap& params) {
  try {
    Json::Value root;
    Json::Value& alert = root["kxp-message"]["alert"];
    alert["notify"] = ToJson(fields_->messageType);
    for (const auto& [key, value] : params)
      alert["param"][String::UTF16ToUTF8(key)] = ToJson(value);
    WString message = String::UTF8ToUTF16(yox::JsonText(root, yox::JsonStyle::kTabbed));
    fields_.Mutable().messageForKXP = std::move(message);
  } catch (...) {  // NOLINT(bugprone-empty-catch): the message stays as it was
  }
}
