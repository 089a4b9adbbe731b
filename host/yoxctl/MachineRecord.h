#pragma once

#include <memory>

#include "yox/device/MachineInformation.h"

namespace yoxctl {

// Publishes the machine record for the library and returns it. Complains on standard error when it
// was read from an empty cache file, because then every fact of the device is empty.
std::shared_ptr<MachineInformation> PublishMachineRecord();

}  // namespace yoxctl
