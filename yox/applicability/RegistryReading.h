#pragma once

#include "yox/applicability/ApplicabilityEvaluator.h"
#include "yox/base/WString.h"
#include "yox/decision/DeviceFacts.h"
#include "yox/decision/RegistryRequirement.h"
#include "yox/platform/registry/RegistryRoots.h"

// The stage at which reading a registry value ended, and its text.
struct YOX_LOCAL ApplicabilityEvaluator::RegistryReading {
  yox::decision::RegistryFact::Stage stage = yox::decision::RegistryFact::Stage::kNoKey;
  yox::WString text = {};
};

namespace yox::applicability {

inline HKEY KeyOf(decision::Hive hive) {
  return hive == decision::Hive::kCurrentUser ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE;
}

}  // namespace yox::applicability
