#include "yox/applicability/SimulatedProcess.h"

#include "yox/device/MachineInformation.h"
#include "yox/tags/AppAndTagCollection.h"

namespace yox::applicability {
namespace {

// The record of a device that has nothing. What a collection leaves alone, such as the graphics
// processors of a device without any, must not be that of the device before.
const MachineInformation& BareRecord() {
  static const MachineInformation bare = [] {
    yox::platform::SimulatedDevice device{yox::platform::DeviceProfile()};
    const yox::platform::ScopedPlatform installed(device);
    return MachineInformation(*MachineInformation::Publish());
  }();
  return bare;
}

}  // namespace

SimulatedProcess::SimulatedProcess(const yox::platform::DeviceProfile& profile)
    : device_((BareRecord(), profile)), installed_(device_) {
  MachineInformation& record = *MachineInformation::GetInstance();
  record = BareRecord();
  record.ReInitialize(true);
  // An empty collection is filled at the next access.
  AppAndTagCollection::GetInstance()->setTags({});
}

SimulatedProcess::~SimulatedProcess() = default;

yox::decision::FactsRecord FactsOf(const yox::platform::DeviceProfile& profile,
                                   std::span<const ApplicabilityFilter> lists) {
  const SimulatedProcess process(profile);
  return ApplicabilityEvaluator::CreateWithoutTasks()->CollectFacts(lists);
}

}  // namespace yox::applicability
