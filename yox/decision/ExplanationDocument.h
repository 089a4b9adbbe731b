#pragma once

#include <json/value.h>

#include <string_view>

#include "yox/base/Export.h"
#include "yox/decision/Explanation.h"

namespace yox::decision {

// "held", "differs", "missing", "unknown".
YOX_API std::string_view WordOf(CriterionResult result);
// "matched", "not matched", "default", "not reached", "undetermined".
YOX_API std::string_view WordOf(ExplainedFilter::Outcome outcome);

// {"applies": ..., "reason": ..., "decided_by": ..., "nearest_miss": ..., "explain": [...]}, UTF-8
// (docs/explaining.md). Of an undetermined decision `applies` is null and there is no reason; the
// missing facts are in `needs`.
YOX_API Json::Value ExplanationJson(const Explanation& explanation);

}  // namespace yox::decision
