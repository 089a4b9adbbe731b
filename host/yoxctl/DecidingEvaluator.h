#pragma once

#include "yox/applicability/ApplicabilityEvaluator.h"

namespace yoxctl {

// Decides, and nothing besides: it watches nothing, and starts no thread and no log.
class DecidingEvaluator : public ApplicabilityEvaluator {};

}  // namespace yoxctl
