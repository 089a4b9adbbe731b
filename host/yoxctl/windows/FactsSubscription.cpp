#include "host/yoxctl/FactsSubscription.h"

#include "host/yoxctl/Output.h"

namespace yoxctl {

struct FactsSubscription::Client {};

FactsSubscription::FactsSubscription(const Options& /*options*/) {
  throw Refusal("fleet collect: not available on this system");
}

FactsSubscription::~FactsSubscription() = default;

std::optional<std::pair<std::string, std::string>> FactsSubscription::Next(
    std::size_t /*quiet_seconds*/) {
  return std::nullopt;
}

}  // namespace yoxctl
