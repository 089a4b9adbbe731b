#include <algorithm>
#include <string>

#include "yox/base/Json.h"
#include "yox/base/StrictJson.h"

#include "fuzz/FuzzInput.h"

// A JSON document. A refusal is one printable line.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const auto printable = [](const std::string& line) {
    return YOX::String::IsValidUTF8(line) && std::ranges::none_of(line, [](char c) {
             return static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
           });
  };
  try {
    const Json::Value document = yox::ParseDocument(text);
    FUZZ_CHECK(YOX::String::IsValidUTF8(text));
    FUZZ_CHECK(yox::ParseDocument(yox::JsonText(document)) == document);
  } catch (const yox::DocumentError& error) {
    FUZZ_CHECK(error.what()[0] != '\0' && printable(error.what()));
  }
  FUZZ_CHECK(printable(yox::OneLine(text)));
  return 0;
}
