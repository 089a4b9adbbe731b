#pragma once

#include <string>

#include "yox/decision/CompiledList.h"
#include "yox/decision/Funnel.h"
#include "yox/decision/ListDifference.h"

#include "host/yoxctl/Paint.h"
#include "host/yoxctl/RolloutCounts.h"

// What is counted over a fleet, as lines for a terminal.
namespace yoxctl {

std::string FunnelText(const yox::decision::Funnel& funnel, const yox::decision::CompiledList& list,
                       const Painter& paint);
std::string DifferenceText(const yox::decision::ListDifference& difference, const Painter& paint);
std::string RolloutText(const RolloutCounts& counts);

// Returns for example "filter [0], country", "filter [2]" or "the end of the list".
std::string PlaceText(const yox::decision::DecisionPlace& place);

}  // namespace yoxctl
