#include "yox/applicability/TestEvaluator.h"

#include "fuzz/CompiledCriterion.h"
#include "fuzz/FuzzInput.h"
#include "fuzz/PlainMatchers.h"

// A list of text patterns, and the device's value: as it is written, compiled, and plainly.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static yox_test::TestEvaluator evaluator;
  yox_fuzz::FuzzInput input(data, size);
  const yox::WString required = input.Text();
  const yox::WString actual = input.Text();

  bool any = false;
  for (const yox::WString& piece : YOX::String::Split(required, ',')) {
    const bool matched = yox_fuzz::plain::DoesStringMatch(piece, actual);
    FUZZ_CHECK(evaluator.DoesStringMatch(piece, actual) == matched);
    any = any || matched;
  }
  FUZZ_CHECK(evaluator.EvaluateStringFilter(required, actual) == any);
  FUZZ_CHECK(evaluator.DoesStringMatch(required, actual) ==
             yox_fuzz::plain::DoesStringMatch(required, actual));
  if (!YOX::String::IsEmptyOrWhiteSpace(required)) {
    using yox::decision::FilterField;
    yox::decision::FactsRecord facts;
    facts.text(FilterField::model) = yox::decision::Given<yox::WString>::Known(actual);
    FUZZ_CHECK(yox_fuzz::Applies(FilterField::model, required, facts) == any);
  }
  return 0;
}
