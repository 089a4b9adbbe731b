#include "yox/decision/FilterDocument.h"

#include "fuzz/FuzzInput.h"

using yox::decision::ReadFilterDocument;
using yox::decision::WriteFilterDocument;

// A filter document. What is read is written so that it reads as the same; a refusal says
// something.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  try {
    const std::string_view document(reinterpret_cast<const char*>(data), size);
    const std::string written = WriteFilterDocument(ReadFilterDocument(document));
    FUZZ_CHECK(WriteFilterDocument(ReadFilterDocument(written)) == written);
  } catch (const yox::DocumentError& error) {
    FUZZ_CHECK(error.what()[0] != '\0');
    FUZZ_CHECK(std::string_view(error.what()).find('\n') == std::string_view::npos);
  }
  return 0;
}
