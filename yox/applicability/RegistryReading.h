#pragma once

#include "yox/applicability/ApplicabilityEvaluator.h"
#include "yox/base/WString.h"
#include "yox/decision/DeviceFacts.h"
#include "yox/decision/RegistryRequirement.h"
#include "yox/platform/registry/RegistryRoots.h"

// How far the way to a registry value led, and the value as a requirement's data sees it.
struct ApplicabilityEvaluator::RegistryReading {
  yox::decision::RegistryFact::Stage stage = yox::decision::RegistryFact::Stage::kNoKey;
  yox::WString text = {};
};

namespace yox::applicability {

inline HKEY KeyOf(decision::Hive hive) {
  return hive == decision::Hive::kCurrentUser ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE;
}

}  // namespace yox::applicability
