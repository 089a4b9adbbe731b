#include "yox/notifications/Json.h"

#include <json/reader.h>
#include <json/writer.h>

#include <memory>

#include "yox/base/String.h"

namespace yox::notifications {

bool ParseJson(WStringView text, Json::Value& root) {
  static const Json::CharReaderBuilder builder;
  const std::string utf8 = String::UTF16ToUTF8(text);
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  return reader->parse(utf8.data(), utf8.data() + utf8.size(), &root, nullptr);
}

std::string WriteJson(const Json::Value& root, JsonStyle style) {
  Json::StreamWriterBuilder builder;
  if (style == JsonStyle::kCompact) builder["indentation"] = "";
  return Json::writeString(builder, root);
}

Json::Value ToJson(WStringView text) { return String::UTF16ToUTF8(text); }

WString ToText(const Json::Value& value) { return String::UTF8ToUTF16(value.asString()); }

}  // namespace yox::notifications
