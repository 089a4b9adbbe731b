#pragma once

#include <json/value.h>

#include <cstddef>
#include <string>

#include "yox/decision/Explanation.h"

#include "host/yoxctl/Paint.h"

namespace yoxctl {

// "applies", "does not apply"
std::string AnswerWord(bool applies);

// One filter with its criteria: what was required, what the device has, and where from.
std::string FilterText(const yox::decision::Explanation& explanation, std::size_t filter,
                       const Painter& paint);
// The filter that came nearest to turning the answer, and what would have to change; empty when
// there is none.
std::string NearestMissText(const yox::decision::Explanation& explanation, const Painter& paint);
// Every filter, and the nearest miss.
std::string ExplanationText(const yox::decision::Explanation& explanation, const Painter& paint);

// {"applies": ..., "reason": ..., "decided_by": ..., "nearest_miss": ..., "explain": [...]}
Json::Value ExplanationJson(const yox::decision::Explanation& explanation);

}  // namespace yoxctl
