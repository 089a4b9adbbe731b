#include "yox/platform/system/windows/WindowsServices.h"

#include "yox/platform/system/windows/ServiceHandle.h"

namespace yox::platform {

bool WindowsServices::IsRunning(WStringView service) {
  const ServiceHandle manager(OpenSCManagerW(nullptr, nullptr, 0));
  const ServiceHandle handle(
      OpenServiceW(manager.get(), WString(service).c_str(), SERVICE_QUERY_STATUS));
  SERVICE_STATUS_PROCESS status{};
  DWORD size = 0;
  return QueryServiceStatusEx(handle.get(), SC_STATUS_PROCESS_INFO,
                              reinterpret_cast<BYTE*>(&status), sizeof status, &size) != FALSE &&
         status.dwCurrentState == SERVICE_RUNNING;
}

}  // namespace yox::platform
