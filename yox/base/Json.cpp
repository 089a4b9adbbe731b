#include "yox/base/Json.h"

#include <json/reader.h>
#include <json/writer.h>

#include <memory>

#include "yox/base/Printable.h"
#include "yox/base/String.h"

namespace yox {
namespace {

// JsonCpp's own UTF-8 output passes on bytes as they are, U+009B and malformed ones included.
// Unprintable characters are only inside of strings, and line feeds only outside of them, so
// escaping the lines one by one leaves the document the same.
std::string WithoutUnprintable(std::string_view json) {
  std::string text;
  while (true) {
    const std::size_t end = json.find('\n');
    text += OneLine(json.substr(0, end));
    text += '\n';
    if (end == std::string_view::npos) return text;
    json.remove_prefix(end + 1);
  }
}

}  // namespace

std::string JsonText(const Json::Value& document, JsonStyle style) {
  const bool readable = style == JsonStyle::kReadable || style == JsonStyle::kReadableLine;
  Json::StreamWriterBuilder builder;
  builder["indentation"] = style == JsonStyle::kReadable ? "  "
                           : style == JsonStyle::kTabbed ? "\t"
                                                         : "";
  builder["emitUTF8"] = readable;
  std::string text = Json::writeString(builder, document);
  return readable ? WithoutUnprintable(text) : text;
}

std::optional<Json::Value> ParseLenientJson(std::string_view utf8) {
  static const Json::CharReaderBuilder builder;
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  Json::Value document;
  if (!reader->parse(utf8.data(), utf8.data() + utf8.size(), &document, nullptr)) {
    return std::nullopt;
  }
  return document;
}

std::optional<Json::Value> ParseLenientJson(WStringView text) {
  return ParseLenientJson(String::UTF16ToUTF8(text));
}

Json::Value ToJson(WStringView text) { return String::UTF16ToUTF8(text); }

WString ToText(const Json::Value& value) { return String::UTF8ToUTF16(value.asString()); }

}  // namespace yox
