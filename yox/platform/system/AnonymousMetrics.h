#pragma once

#include "yox/platform/registry/Registry.h"

namespace yox::platform {

// The client's setting, the number 1 as "AnonymousMetrics" of the client's own key. Off unless set.
inline bool ReadAnonymousMetrics(Registry& registry) {
  RegistryValue value;
  return registry.Get({HKEY_LOCAL_MACHINE, "SOFTWARE\\Tervan\\YOX"_w, RegistryView::k64Bit, {}},
                      "AnonymousMetrics"_wv, value) == RegistryStatus::kOk &&
         value.AsDword() == 1U;
}

}  // namespace yox::platform
