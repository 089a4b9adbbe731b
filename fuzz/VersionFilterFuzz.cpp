#include "yox/applicability/TestEvaluator.h"

#include "fuzz/CompiledCriterion.h"
#include "fuzz/FuzzInput.h"
#include "fuzz/PlainMatchers.h"

// A list of version requirements, and the device's version: as it is written, compiled, and
// plainly.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static yox_test::TestEvaluator evaluator;
  yox_fuzz::FuzzInput input(data, size);
  const yox::WString required = input.Text();
  const yox::WString actual = input.Text();

  bool any = false;
  for (const yox::WString& piece : YOX::String::Split(required, ',')) {
    const bool matched = yox_fuzz::plain::DoesVersionMatch(piece, actual);
    // Both arguments come back trimmed, or as they were where one of them is blank.
    yox::WString pattern = piece;
    yox::WString value = actual;
    FUZZ_CHECK(evaluator.DoesVersionMatch(pattern, value) == matched);
    const bool blank =
        YOX::String::IsEmptyOrWhiteSpace(piece) || YOX::String::IsEmptyOrWhiteSpace(actual);
    FUZZ_CHECK(pattern == (blank ? piece : yox_fuzz::plain::Trimmed(piece)));
    FUZZ_CHECK(value == (blank ? actual : yox_fuzz::plain::Trimmed(actual)));
    any = any || matched;
  }
  yox::WString value = actual;
  FUZZ_CHECK(evaluator.EvaluateVersionFilter(required, value) == any);
  if (!YOX::String::IsEmptyOrWhiteSpace(required)) {
    using yox::decision::FilterField;
    yox::decision::FactsRecord facts;
    facts.text(FilterField::os_version) = yox::decision::Given<yox::WString>::Known(actual);
    FUZZ_CHECK(yox_fuzz::Applies(FilterField::os_version, required, facts) == any);
  }
  return 0;
}
