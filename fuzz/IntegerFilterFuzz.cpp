#include <optional>
#include <stdexcept>

#include "yox/applicability/TestEvaluator.h"

#include "fuzz/FuzzInput.h"
#include "fuzz/PlainMatchers.h"

// A requirement on a number, and the device's value.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static yox_test::TestEvaluator evaluator;
  yox_fuzz::FuzzInput input(data, size);
  yox::WString required = input.Text();
  yox::WString actual = input.Text();
  const std::optional<bool> expected = yox_fuzz::plain::DoesIntMatch(required, actual);
  std::optional<bool> matched;
  try {
    matched = evaluator.DoesIntMatch(required, actual);
  } catch (const std::invalid_argument&) {
  } catch (const std::out_of_range&) {
  }
  FUZZ_CHECK(matched == expected);
  return 0;
}
