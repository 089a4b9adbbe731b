#include "yox/platform/simulated/SimulatedDeviceTree.h"

#include <utility>

#include "yox/platform/devices/DeviceCallbacks.h"
#include "yox/platform/registry/MultiString.h"

namespace yox::platform {

SimulatedDeviceTree::SimulatedDeviceTree() : callbacks_(std::make_shared<DeviceCallbacks>()) {}
SimulatedDeviceTree::~SimulatedDeviceTree() { callbacks_->EndAll(); }

std::unique_ptr<DeviceRegistration> SimulatedDeviceTree::Register(PCM_NOTIFY_CALLBACK callback,
                                                                  void* context) {
  const MutexLock lock(mutex_);
  return accept_ ? callbacks_->Add(callback, context) : nullptr;
}

void SimulatedDeviceTree::Enumerate(const Visitor& visit) {
  std::map<WString, Property> devices;
  {
    const MutexLock lock(mutex_);
    ++enumerations_;
    devices = devices_;
  }
  for (const auto& [instance_id, property] : devices) {
    auto ids = ReadMultiString(property.type, property.bytes);
    if (!ids.empty()) visit({instance_id, std::move(ids)});
  }
}

std::vector<WString> SimulatedDeviceTree::HardwareIds(const WString& instance_id) {
  const MutexLock lock(mutex_);
  ++reads_;
  const auto device = devices_.find(instance_id);
  if (device == devices_.end()) return {};
  return ReadMultiString(device->second.type, device->second.bytes);
}

void SimulatedDeviceTree::Plug(const PresentDevice& device) {
  Plug(device.instance_id, kMultiStringType, WriteMultiString(device.hardware_ids));
}

void SimulatedDeviceTree::Plug(const WString& instance_id, std::uint32_t type, std::string bytes) {
  {
    const MutexLock lock(mutex_);
    devices_.insert_or_assign(instance_id, Property{type, std::move(bytes)});
  }
  Send(CM_NOTIFY_ACTION_DEVICEINSTANCEENUMERATED, instance_id);
  Send(CM_NOTIFY_ACTION_DEVICEINSTANCESTARTED, instance_id);
}

bool SimulatedDeviceTree::Unplug(const WString& instance_id) {
  {
    const MutexLock lock(mutex_);
    if (devices_.erase(instance_id) == 0) return false;
  }
  Send(CM_NOTIFY_ACTION_DEVICEINSTANCEREMOVED, instance_id);
  return true;
}

void SimulatedDeviceTree::Send(CM_NOTIFY_ACTION action, PCM_NOTIFY_EVENT_DATA data, Dword size) {
  callbacks_->Deliver(action, data, size);
}

void SimulatedDeviceTree::Send(CM_NOTIFY_ACTION action, const WString& instance_id) {
  callbacks_->Deliver(action, instance_id);
}

void SimulatedDeviceTree::AcceptRegistrations(bool accept) {
  const MutexLock lock(mutex_);
  accept_ = accept;
}

std::size_t SimulatedDeviceTree::enumerations() const {
  const MutexLock lock(mutex_);
  return enumerations_;
}

std::size_t SimulatedDeviceTree::reads() const {
  const MutexLock lock(mutex_);
  return reads_;
}

}  // namespace yox::platform
