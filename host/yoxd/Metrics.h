#pragma once

#include <json/value.h>

#include <string>

namespace yoxd {

// The numbers of a status document as OpenMetrics text.
std::string MetricsText(const Json::Value& status);

}  // namespace yoxd
