#pragma once

#include <cstdint>

#include "yox/applicability/ApplicabilityEvaluator.h"
#include "yox/base/WString.h"

// How far the way to a registry value led, and the value as a requirement's data sees it.
struct ApplicabilityEvaluator::RegistryReading {
  enum class Stage : std::uint8_t { kNoHive, kDoubledSeparator, kNoKey, kNoValue, kTooLong, kRead };

  Stage stage = Stage::kNoHive;
  yox::WString text;
};
