#pragma once

#include <json/value.h>

#include <cstddef>
#include <string>

#include "yox/decision/Explanation.h"

#include "host/yoxctl/Paint.h"

namespace yoxctl {

// Returns "applies", "does not apply" or "undetermined".
std::string AnswerWord(const yox::decision::Explanation& explanation);
// The same of the member `applies` of a document.
std::string AnswerWord(const Json::Value& applies);

// Returns the lines for one filter: of each criterion what was required, what the device has, and
// the source of that.
std::string FilterText(const yox::decision::Explanation& explanation, std::size_t filter,
                       const Painter& paint);
// Returns the lines for the filter that came nearest to the opposite result, with what would have
// to change; empty if there is none.
std::string NearestMissText(const yox::decision::Explanation& explanation, const Painter& paint);
// Returns the lines for all filters and the nearest miss.
std::string ExplanationText(const yox::decision::Explanation& explanation, const Painter& paint);

}  // namespace yoxctl
