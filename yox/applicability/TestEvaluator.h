#pragma once

#include "yox/applicability/ApplicabilityEvaluator.h"

namespace yox_test {

// Opens the evaluator's protected operations to tests.
class TestEvaluator : public ApplicabilityEvaluator {
 public:
  TestEvaluator() = default;
  using ApplicabilityEvaluator::ConvertRegValueToString;
  using ApplicabilityEvaluator::DoesDateFunctionMatch;
  using ApplicabilityEvaluator::DoesFilterMatch;
  using ApplicabilityEvaluator::DoesIntMatch;
  using ApplicabilityEvaluator::DoesKvpMatch;
  using ApplicabilityEvaluator::DoesStringMatch;
  using ApplicabilityEvaluator::DoesVersionMatch;
  using ApplicabilityEvaluator::EvaluateHardwareIdFilter;
  using ApplicabilityEvaluator::EvaluateKvpFilter;
  using ApplicabilityEvaluator::EvaluateRegistryFilter;
  using ApplicabilityEvaluator::EvaluateStringFilter;
  using ApplicabilityEvaluator::EvaluateVersionFilter;
  using ApplicabilityEvaluator::GetHashedSaltedString;
  using ApplicabilityEvaluator::GetHKeyAndModifyRegistryPath;
  using ApplicabilityEvaluator::IsCurrentDateWithinRange;
};

// One that is never destroyed, for operations without state: no destructor writes into a captured
// log.
inline TestEvaluator& AnyEvaluator() {
  static auto* const evaluator = new TestEvaluator;
  return *evaluator;
}

}  // namespace yox_test
