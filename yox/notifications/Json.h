#pragma once

#include <json/value.h>

#include <string>

#include "yox/base/WString.h"

namespace yox::notifications {

// Notifications are read as JsonCpp reads by default: comments, a repeated key and text behind the
// document are accepted. False for text that is not JSON; throws Json::Exception when values nest
// deeper than its limit of 1000.
bool ParseJson(WStringView text, Json::Value& root);

enum class JsonStyle { kCompact, kDefault };
std::string WriteJson(const Json::Value& root, JsonStyle style);

Json::Value ToJson(WStringView text);
WString ToText(const Json::Value& value);

}  // namespace yox::notifications
