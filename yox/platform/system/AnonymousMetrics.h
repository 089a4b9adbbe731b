#pragma once

#include "yox/platform/system/RegistryFacts.h"

namespace yox::platform {

// Whether the client may collect anonymous data: the value AnonymousMetrics of the client's own key
// is the number 1.
inline bool ReadAnonymousMetrics(Registry& registry) {
  return ReadNumber(registry, KeyOfMachine("SOFTWARE\\Tervan\\YOX"_wv), "AnonymousMetrics"_wv) ==
         1U;
}

}  // namespace yox::platform
