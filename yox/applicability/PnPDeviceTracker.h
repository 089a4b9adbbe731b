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

// Keeps a HardwareIdRepository up to date with the devices that are present: reads them all in
// Start, then follows arrivals and removals on threads of the platform. It keeps the IDs of each
// instance, because those of a removed device cannot be read any more. Hardware IDs are stored in
// upper case, each once per instance.
//
// An arrival during Start, or at the same time as another arrival of the same instance, may count
// the instance's IDs twice; its removal removes both. A device whose IDs cannot be read adds none.
// Start and Stop must not run at the same time.
class YOX_API PnPDeviceTracker {
 public:
  // The repository and the device tree, by default the platform's, must outlive the tracker. Does
  // not start it.
  explicit PnPDeviceTracker(HardwareIdRepository& repository);
  PnPDeviceTracker(HardwareIdRepository& repository, yox::platform::DeviceTree& tree);
  // Calls Stop.
  ~PnPDeviceTracker();
  PnPDeviceTracker(const PnPDeviceTracker&) = delete;
  PnPDeviceTracker& operator=(const PnPDeviceTracker&) = delete;

  // Registers for events and then reads the present devices, in this order so that none is missed.
  // Returns true if it is started, also if it was before; false if the platform refuses the
  // registration, and then it may be called again. A Start after a Stop counts devices that are
  // still present a second time.
  bool Start();
  // Ends the registration and waits for events that are being handled. The repository keeps its
  // IDs.
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
