#include "host/yoxctl/MachineRecord.h"

#include "yox/clientbase/FileSystem.h"
#include "yox/device/MachineCache.h"

#include "host/yoxctl/CommandLine.h"
#include "host/yoxctl/Output.h"

namespace yoxctl {

std::shared_ptr<MachineInformation> PublishMachineRecord() {
  std::shared_ptr<MachineInformation> record = MachineInformation::Publish();
  if (const auto path = yox::device::UnusableMachineCache()) {
    Complain(PathText(FileSystem::Locate(*path)) +
             ": empty or not JSON, so the device's facts are empty (device --refresh reads them)");
  }
  return record;
}

}  // namespace yoxctl
