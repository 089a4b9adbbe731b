# Headers that hosts included at another path before: old path, then where the header is now. The old
# path keeps working, in the build tree and installed: a header of one line is written for each row.
set(YOX_FORWARDING_HEADERS
  yox/applicability/Explanation.h yox/decision/Explanation.h
  yox/applicability/Filter.h yox/decision/Filter.h
  yox/applicability/FilterDocument.h yox/decision/FilterDocument.h
  yox/applicability/FilterFields.h yox/decision/FilterFields.h
  yox/applicability/Lint.h yox/decision/Lint.h
  yox/applicability/LintRules.h yox/decision/LintRules.h
  yox/applicability/RolloutForecast.h yox/decision/RolloutForecast.h
  yox/clientbase/AccessGrants.h yox/platform/users/AccessGrants.h
  yox/clientbase/DeviceNotifications.h yox/platform/devices/DeviceNotifications.h
  yox/clientbase/Document.h yox/base/Document.h
  yox/clientbase/Export.h yox/base/Export.h
  yox/clientbase/Log.h yox/base/Log.h
  yox/clientbase/RegistryRoots.h yox/platform/registry/RegistryRoots.h
  yox/clientbase/SaltedHash.h yox/base/SaltedHash.h
  yox/clientbase/String.h yox/base/String.h
  yox/clientbase/TaskPool.h yox/base/TaskPool.h
  yox/clientbase/TimeZone.h yox/base/TimeZone.h
  yox/clientbase/WString.h yox/base/WString.h
  yox/clientbase/platform/Accelerators.h yox/platform/devices/Accelerators.h
  yox/clientbase/platform/Alarms.h yox/platform/clock/Alarms.h
  yox/clientbase/platform/Applications.h yox/platform/apps/Applications.h
  yox/clientbase/platform/Client.h yox/platform/system/Client.h
  yox/clientbase/platform/Clock.h yox/platform/clock/Clock.h
  yox/clientbase/platform/DeviceEvent.h yox/platform/devices/DeviceEvent.h
  yox/clientbase/platform/DeviceTree.h yox/platform/devices/DeviceTree.h
  yox/clientbase/platform/DisplayAdapters.h yox/platform/devices/DisplayAdapters.h
  yox/clientbase/platform/Event.h yox/platform/waits/Event.h
  yox/clientbase/platform/Files.h yox/platform/files/Files.h
  yox/clientbase/platform/Firmware.h yox/platform/firmware/Firmware.h
  yox/clientbase/platform/JoinState.h yox/platform/system/JoinState.h
  yox/clientbase/platform/Locale.h yox/platform/system/Locale.h
  yox/clientbase/platform/ManagementQueries.h yox/platform/system/ManagementQueries.h
  yox/clientbase/platform/Mutex.h yox/platform/waits/WaitableMutex.h
  yox/clientbase/platform/OperatingSystem.h yox/platform/system/OperatingSystem.h
  yox/clientbase/platform/Platform.h yox/platform/Platform.h
  yox/clientbase/platform/RandomBytes.h yox/platform/crypto/RandomBytes.h
  yox/clientbase/platform/Registry.h yox/platform/registry/Registry.h
  yox/clientbase/platform/RegistryPaths.h yox/platform/registry/RegistryPaths.h
  yox/clientbase/platform/Semaphore.h yox/platform/waits/Semaphore.h
  yox/clientbase/platform/Services.h yox/platform/system/Services.h
  yox/clientbase/platform/Users.h yox/platform/users/Users.h
  yox/clientbase/platform/WaitUntil.h yox/platform/waits/WaitUntil.h
  yox/clientbase/platform/Waits.h yox/platform/waits/Waits.h
  yox/clientbase/platform/simulated/CaptureDevice.h yox/clientbase/CaptureDevice.h
  yox/clientbase/platform/simulated/DeviceProfile.h yox/platform/simulated/DeviceProfile.h
  yox/clientbase/platform/simulated/DeviceProfileReader.h yox/platform/simulated/DeviceProfileReader.h
  yox/clientbase/platform/simulated/SimulatedClock.h yox/platform/simulated/SimulatedClock.h
  yox/clientbase/platform/simulated/SimulatedDevice.h yox/platform/simulated/SimulatedDevice.h
  yox/clientbase/platform/simulated/SimulatedDeviceTree.h yox/platform/simulated/SimulatedDeviceTree.h
  yox/clientbase/platform/simulated/SimulatedFiles.h yox/platform/simulated/SimulatedFiles.h
  yox/clientbase/platform/simulated/SimulatedRegistry.h yox/platform/simulated/SimulatedRegistry.h)

function(yox_write_forwarding_headers folder)
  set(rows ${YOX_FORWARDING_HEADERS})
  while(rows)
    list(POP_FRONT rows old new)
    file(CONFIGURE OUTPUT ${folder}/${old} CONTENT "#pragma once\n#include \"@new@\"\n" @ONLY)
  endwhile()
endfunction()
