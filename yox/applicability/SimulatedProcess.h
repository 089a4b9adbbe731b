#pragma once

#include <span>

#include "yox/applicability/ApplicabilityEvaluator.h"
#include "yox/base/Export.h"
#include "yox/decision/FactsRecord.h"
#include "yox/platform/Platform.h"
#include "yox/platform/simulated/DeviceProfile.h"
#include "yox/platform/simulated/SimulatedDevice.h"

namespace yox::applicability {

// Makes the device of a profile the one that this process decides on, for the object's lifetime:
// the machine record and the tags are collected from it. They remain after it, so a process that
// then decides on another device collects them again. One at a time, on one thread.
class YOX_API SimulatedProcess {
 public:
  explicit SimulatedProcess(const yox::platform::DeviceProfile& profile);
  ~SimulatedProcess();
  SimulatedProcess(const SimulatedProcess&) = delete;
  SimulatedProcess& operator=(const SimulatedProcess&) = delete;

 private:
  yox::platform::SimulatedDevice device_;
  const yox::platform::ScopedPlatform installed_;
};

// The facts of the device of a profile, its time zone included, as its decisions see them; of its
// registry what the lists ask for.
YOX_API yox::decision::FactsRecord FactsOf(const yox::platform::DeviceProfile& profile,
                                           std::span<const ApplicabilityFilter> lists);

}  // namespace yox::applicability
