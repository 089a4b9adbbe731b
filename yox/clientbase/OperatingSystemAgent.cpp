#include "yox/clientbase/OperatingSystemAgent.h"

#include "yox/platform/Platform.h"
#include "yox/platform/system/OperatingSystem.h"

using yox::WString;
using yox::platform::Platform;

WString OperatingSystemAgent::GetOperatingSystemProductName() {
  return Platform::Get().operating_system().ProductName();
}

WString OperatingSystemAgent::GetOperatingSystemProductEditionID() {
  return Platform::Get().operating_system().EditionId();
}

WString OperatingSystemAgent::GetOperatingSystemVersion() {
  return Platform::Get().operating_system().Version();
}

bool OperatingSystemAgent::IsSMode() { return Platform::Get().operating_system().IsSMode(); }
