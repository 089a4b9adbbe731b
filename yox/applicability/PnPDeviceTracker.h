#pragma once

#include <memory>
#include <unordered_map>
#include <vector>

#include "yox/applicability/HardwareIdRepository.h"
#include "yox/base/Export.h"
#include "yox/base/ThreadSafety.h"
#include "yox/base/WString.h"
#include "yox/platform/devices/DeviceNotifications.h"
#include "yox/platform/devices/DeviceTree.h"

// Keeps a repository true to the devices that are present: reads them all when it starts, then
// follows arrivals and removals, on threads that the platform supplies. What each instance
// contributed is remembered, since a device that has gone cannot be asked. Hardware IDs are stored
// in upper case, each once for an instance; instance IDs as the platform gives them.
//
// An arrival that meets the seed, or another arrival of the same instance, may count the instance's
// IDs twice; its removal takes out all of them. A device whose IDs cannot be read contributes none.
// `Start` and `Stop` belong to one thread at a time.
class YOX_API PnPDeviceTracker {
 public:
  // The repository, and the platform's device tree or the one given, must outlive the tracker's
  // started state. Registers nothing yet.
  explicit PnPDeviceTracker(HardwareIdRepository& repository);
  PnPDeviceTracker(HardwareIdRepository& repository, yox::platform::DeviceTree& tree);
  // Stops. The repository keeps its IDs.
  ~PnPDeviceTracker();
  PnPDeviceTracker(const PnPDeviceTracker&) = delete;
  PnPDeviceTracker& operator=(const PnPDeviceTracker&) = delete;

  // Registers for events and then reads what is present, so that no device slips through between
  // the two. True at once when started already; false, and stopped, when the platform takes no
  // registration, and then it may be called again. A start behind a stop counts what is still
  // present a second time.
  bool Start();
  // Returns when no event is being handled any more. The repository keeps its IDs.
  void Stop();

 private:
  static yox::platform::Dword StaticPnPCallback(HCMNOTIFICATION notification, void* context,
                                                CM_NOTIFY_ACTION action, CM_NOTIFY_EVENT_DATA* data,
                                                yox::platform::Dword size);

  yox::platform::Dword OnPnPEvent(CM_NOTIFY_ACTION action, CM_NOTIFY_EVENT_DATA* data,
                                  yox::platform::Dword size);
  void OnArrival(const yox::WString& instance_id);
  void OnRemoval(const yox::WString& instance_id);
  void SeedFromPresentDevices();
  void Contribute(const yox::WString& instance_id, const std::vector<yox::WString>& hardware_ids);
  // Upper-case, sorted, each once.
  static std::vector<yox::WString> Normalised(std::vector<yox::WString> hardware_ids);

  HardwareIdRepository& repository_;
  yox::platform::DeviceTree& tree_;
  std::unique_ptr<yox::platform::DeviceRegistration> notification_;  // null until registered
  bool started_ = false;
  yox::Mutex mutex_;  // taken before the repository's
  std::unordered_map<yox::WString, std::vector<yox::WString>> instance_ids_ YOX_GUARDED_BY(mutex_);
};
