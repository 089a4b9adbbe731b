#include <algorithm>
#include <optional>
#include <string>

#include "yox/base/Json.h"
#include "yox/base/StrictJson.h"

#include "fuzz/FuzzInput.h"

// A JSON document. An error message is one printable line, and what is read can be written.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const auto printable = [](const std::string& line) {
    return YOX::String::IsValidUTF8(line) && std::ranges::none_of(line, [](char c) {
             return static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
           });
  };
  std::optional<Json::Value> document;
  try {
    document = yox::ParseDocument(text);
  } catch (const yox::DocumentError& error) {
    FUZZ_CHECK(error.what()[0] != '\0' && printable(error.what()));
  }
  if (document) {
    FUZZ_CHECK(YOX::String::IsValidUTF8(text));
    // What the strict reader accepts, the lenient one reads alike.
    FUZZ_CHECK(yox::ParseLenientJson(text) == document);
    for (const yox::JsonStyle style : {yox::JsonStyle::kCompact, yox::JsonStyle::kReadable}) {
      FUZZ_CHECK(yox::ParseDocument(yox::JsonText(*document, style)) == *document);
    }
  }
  FUZZ_CHECK(printable(yox::OneLine(text)));
  return 0;
}
