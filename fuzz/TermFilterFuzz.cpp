#include "yox/applicability/TestEvaluator.h"

#include "fuzz/CompiledCriterion.h"
#include "fuzz/FuzzInput.h"
#include "fuzz/PlainMatchers.h"

// A list of key and value terms; after it, keys and values in turn. The terms as they are written,
// compiled, and plainly; the pairs as the device's and as the caller's.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static yox_test::TestEvaluator evaluator;
  yox_fuzz::FuzzInput input(data, size);
  const yox::WString required = input.Text();
  yox_fuzz::plain::Pairs pairs;
  while (!input.Rest().empty()) {
    yox::WString key = input.Text();
    pairs.push_back({std::move(key), input.Text()});
  }

  bool all = true;
  bool any = false;
  for (const yox::WString& term : YOX::String::Split(required, ',')) {
    const bool matched = yox_fuzz::plain::DoesKvpMatch(term, pairs);
    FUZZ_CHECK(evaluator.DoesKvpMatch(term, pairs) == matched);
    all = all && matched;
    any = any || matched;
  }
  FUZZ_CHECK(evaluator.EvaluateKvpFilter(required, pairs, EvaluationModeForKVP::AllTerms) == all);
  FUZZ_CHECK(evaluator.EvaluateKvpFilter(required, pairs, EvaluationModeForKVP::AnyTerm) == any);
  FUZZ_CHECK(!evaluator.EvaluateKvpFilter(required, pairs, static_cast<EvaluationModeForKVP>(2)));
  if (!YOX::String::IsEmptyOrWhiteSpace(required)) {
    using yox::decision::FilterField;
    yox::decision::FactsRecord facts;
    facts.tags = pairs;
    facts.installed_items = pairs;
    FUZZ_CHECK(yox_fuzz::Applies(FilterField::tag, required, facts) == all);
    FUZZ_CHECK(yox_fuzz::Applies(FilterField::installed_items, required, facts) == any);
    facts.tags.emplace();
    FUZZ_CHECK(yox_fuzz::Applies(FilterField::tag, required, facts, pairs) == all);
  }
  return 0;
}
