#pragma once

#include <json/value.h>

#include <optional>
#include <string>
#include <string_view>

#include "yox/base/Export.h"
#include "yox/base/WString.h"

// Reading and writing JSON documents. Documents that people write are read by ParseDocument in
// StrictJson.h instead, which refuses mistakes and says where they are. All functions are safe from
// any thread.
namespace yox {

enum class JsonStyle {
  // What the library stores and sends. Characters outside ASCII are escaped.
  kCompact,  // one line, without a line feed
  kTabbed,   // JsonCpp's default: one member per line, indented with tabs, no final line feed
  // What people and other programs read: UTF-8, in which only what could harm a terminal is
  // escaped, and a final line feed.
  kReadable,      // one member per line, indented with two spaces
  kReadableLine,  // one line
};

// Writes a document. The members of an object are sorted by key.
YOX_API std::string JsonText(const Json::Value& document, JsonStyle style = JsonStyle::kReadable);

// Reads a document as JsonCpp does by default: comments, trailing commas, a repeated key (the last
// one counts), a byte order mark, and anything after the document are accepted. Returns
// std::nullopt for text that is not JSON. Throws Json::Exception when values nest more than 1000
// deep.
std::optional<Json::Value> ParseLenientJson(std::string_view utf8);
std::optional<Json::Value> ParseLenientJson(WStringView text);

// A UTF-16 text as a JSON string, and back. ToText converts numbers and booleans too, and throws
// Json::Exception for an array or an object.
Json::Value ToJson(WStringView text);
WString ToText(const Json::Value& value);

}  // namespace yox
