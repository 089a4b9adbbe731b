#include "yox/applicability/PnPDeviceTracker.h"

#include <algorithm>
#include <utility>

#include "yox/base/String.h"
#include "yox/platform/Platform.h"
#include "yox/platform/devices/DeviceEvent.h"
#include "yox/platform/devices/DeviceTree.h"

using yox::WString;
using yox::platform::DeviceTree;

PnPDeviceTracker::PnPDeviceTracker(HardwareIdRepository& repository)
    : PnPDeviceTracker(repository, yox::platform::Platform::Get().device_tree()) {}

PnPDeviceTracker::PnPDeviceTracker(HardwareIdRepository& repository, DeviceTree& tree)
    : repository_(repository), tree_(tree) {}

PnPDeviceTracker::~PnPDeviceTracker() { Stop(); }

bool PnPDeviceTracker::Start() {
  if (started_) return true;
  notification_ = tree_.Register(StaticPnPCallback, this);
  if (notification_ == nullptr) return false;
  started_ = true;
  SeedFromPresentDevices();
  return true;
}

void PnPDeviceTracker::Stop() {
  notification_.reset();
  started_ = false;
}

void PnPDeviceTracker::SeedFromPresentDevices() {
  tree_.Enumerate([this](yox::platform::PresentDevice device) {
    const std::vector<WString> ids = Normalised(std::move(device.hardware_ids));
    if (!ids.empty() && !device.instance_id.empty()) Contribute(device.instance_id, ids);
  });
}

yox::platform::Dword PnPDeviceTracker::StaticPnPCallback(HCMNOTIFICATION /*notification*/,
                                                         void* context, CM_NOTIFY_ACTION action,
                                                         CM_NOTIFY_EVENT_DATA* data,
                                                         yox::platform::Dword size) {
  return static_cast<PnPDeviceTracker*>(context)->OnPnPEvent(action, data, size);
}

yox::platform::Dword PnPDeviceTracker::OnPnPEvent(CM_NOTIFY_ACTION action,
                                                  CM_NOTIFY_EVENT_DATA* data,
                                                  yox::platform::Dword size) {
  const WString instance_id(yox::platform::DeviceEvent::InstanceId(data, size));
  if (instance_id.empty()) return 0;
  switch (action) {
    case CM_NOTIFY_ACTION_DEVICEINSTANCEENUMERATED:
      OnArrival(instance_id);
      break;
    case CM_NOTIFY_ACTION_DEVICEREMOVECOMPLETE:
    case CM_NOTIFY_ACTION_DEVICEINSTANCEREMOVED:
      OnRemoval(instance_id);
      break;
    default:
      break;
  }
  return 0;
}

// The device is read without the lock: reading is slow.
void PnPDeviceTracker::OnArrival(const WString& instance_id) {
  {
    const yox::MutexLock lock(mutex_);
    if (instance_ids_.contains(instance_id)) return;
  }
  const std::vector<WString> ids = Normalised(tree_.HardwareIds(instance_id));
  if (!ids.empty()) Contribute(instance_id, ids);
}

void PnPDeviceTracker::OnRemoval(const WString& instance_id) {
  const yox::MutexLock lock(mutex_);
  const auto contributed = instance_ids_.extract(instance_id);
  if (contributed.empty()) return;
  for (const WString& id : contributed.mapped()) repository_.Remove(id);
}

void PnPDeviceTracker::Contribute(const WString& instance_id, const std::vector<WString>& ids) {
  const yox::MutexLock lock(mutex_);
  std::vector<WString>& contributed = instance_ids_[instance_id];
  contributed.insert(contributed.end(), ids.begin(), ids.end());
  for (const WString& id : ids) repository_.Add(id);
}

std::vector<WString> PnPDeviceTracker::Normalised(std::vector<WString> ids) {
  for (WString& id : ids) id = YOX::String::ToUpper(id);
  std::ranges::sort(ids);
  ids.erase(std::unique(ids.begin(), ids.end()), ids.end());  // clang reads no subrange of GCC's
  return ids;
}
