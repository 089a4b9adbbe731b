#include <algorithm>
#include <memory>

#include "yox/applicability/TestEvaluator.h"

#include "fuzz/FuzzInput.h"

// The first byte is the type, the others the value's bytes, which stand alone in memory so that a
// read after them is found.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static yox_test::TestEvaluator evaluator;
  if (size == 0) return 0;
  const std::size_t count = size - 1;
  const auto bytes = std::make_unique<std::uint8_t[]>(count);
  std::copy_n(data + 1, count, bytes.get());
  const yox::WString text =
      evaluator.ConvertRegValueToString(bytes.get(), data[0], static_cast<std::uint32_t>(count));
  switch (data[0]) {
    case 1:
    case 2:
    case 7:
      FUZZ_CHECK(text.size() <= (count + 1) / 2);
      FUZZ_CHECK(text.find(yox::WChar{0}) == yox::WString::npos);
      break;
    case 3:
      FUZZ_CHECK(text.size() == (count == 0 ? 0 : 3 * count - 1));
      break;
    case 4:
      FUZZ_CHECK(!text.empty() && text.size() <= 10);
      break;
    case 11:
      FUZZ_CHECK(!text.empty() && text.size() <= 20);
      break;
    default:
      FUZZ_CHECK(YOX::String::UTF16ToUTF8(text) == "[Unsupported Value Type]");
  }
  return 0;
}
