#include "yox/clientbase/RegFile.h"

#include "fuzz/FuzzInput.h"

// A registry file. What is read is written, in both encodings, so that it is read as the same; an
// error names a line.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using yox::RegFileEncoding;
  try {
    const auto edits = yox::ReadRegFile({reinterpret_cast<const char*>(data), size});
    for (const auto encoding : {RegFileEncoding::kUtf8, RegFileEncoding::kUtf16}) {
      const auto again = yox::ReadRegFile(yox::WriteRegFile(edits, encoding));
      FUZZ_CHECK(again.size() == edits.size());
      for (std::size_t i = 0; i < edits.size(); ++i) {
        FUZZ_CHECK(again[i].action == edits[i].action);
        FUZZ_CHECK(again[i].key.root == edits[i].key.root);
        FUZZ_CHECK(again[i].key.path == edits[i].key.path);
        FUZZ_CHECK(again[i].name == edits[i].name);
        FUZZ_CHECK(again[i].value == edits[i].value);
      }
    }
  } catch (const yox::DocumentError& error) {
    FUZZ_CHECK(std::string_view(error.what()).starts_with("line "));
    FUZZ_CHECK(std::string_view(error.what()).find('\n') == std::string_view::npos);
  }
  return 0;
}
