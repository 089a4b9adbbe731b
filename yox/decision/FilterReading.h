#pragma once

#include <json/value.h>

#include <string_view>

#include "yox/decision/Filter.h"

namespace yox::decision {

// ReadFilterDocument for a document that ParseDocument has read from `utf8`.
ApplicabilityFilter ReadParsedFilterDocument(const Json::Value& document, std::string_view utf8);

}  // namespace yox::decision
