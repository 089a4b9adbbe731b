#include "host/yoxctl/PresentDevices.h"

#include <utility>

#include "yox/base/Json.h"
#include "yox/base/String.h"
#include "yox/platform/devices/DeviceEvent.h"

#include "host/yoxctl/Output.h"

namespace yoxctl {

using YOX::String;
using yox::WString;
using yox::platform::PresentDevice;

Json::Value DeviceJson(const PresentDevice& device) {
  Json::Value document;
  document["instance_id"] = String::UTF16ToUTF8(device.instance_id);
  document["hardware_ids"] = Json::arrayValue;
  for (const WString& id : device.hardware_ids) {
    document["hardware_ids"].append(String::UTF16ToUTF8(id));
  }
  return document;
}

std::string HardwareIdListing(yox::platform::DeviceTree& tree, bool json) {
  std::string text;
  Json::Value document;
  document["devices"] = Json::arrayValue;
  tree.Enumerate([&](const PresentDevice& device) {
    if (json) {
      document["devices"].append(DeviceJson(device));
      return;
    }
    text += OneLine(String::UTF16ToUTF8(device.instance_id)) + "\n";
    for (const WString& id : device.hardware_ids) {
      text += "    " + OneLine(String::UTF16ToUTF8(id)) + "\n";
    }
  });
  if (!json) return text;
  return yox::JsonText(document);
}

DeviceWatch::DeviceWatch(yox::platform::DeviceTree& tree, Tell tell)
    : tree_(tree), tell_(std::move(tell)) {
  // Events wait for the lock until the present devices are known.
  const yox::MutexLock lock(mutex_);
  registration_ = tree_.Register(OnEvent, this);
  if (registration_ == nullptr)
    throw Refusal("watch: this system does not report changes of devices");
  decltype(present_) present;
  tree_.Enumerate([&](PresentDevice device) {
    present[std::move(device.instance_id)] = std::move(device.hardware_ids);
  });
  present_ = std::move(present);
}

DeviceWatch::~DeviceWatch() { registration_.reset(); }

std::size_t DeviceWatch::present() const {
  const yox::MutexLock lock(mutex_);
  return present_.size();
}

yox::platform::Dword DeviceWatch::OnEvent(HCMNOTIFICATION /*notification*/, void* context,
                                          CM_NOTIFY_ACTION action, PCM_NOTIFY_EVENT_DATA data,
                                          yox::platform::Dword size) {
  auto* const watch = static_cast<DeviceWatch*>(context);
  const WString instance_id(yox::platform::DeviceEvent::InstanceId(data, size));
  if (instance_id.empty()) return 0;
  if (action == CM_NOTIFY_ACTION_DEVICEINSTANCEENUMERATED) watch->Arrived(instance_id);
  if (action == CM_NOTIFY_ACTION_DEVICEINSTANCEREMOVED) watch->Removed(instance_id);
  return 0;
}

void DeviceWatch::Arrived(const WString& instance_id) {
  auto hardware_ids = tree_.HardwareIds(instance_id);
  const yox::MutexLock lock(mutex_);
  if (hardware_ids.empty() || present_.contains(instance_id)) return;
  tell_(Change::kArrived, {instance_id, hardware_ids});
  present_[instance_id] = std::move(hardware_ids);
}

void DeviceWatch::Removed(const WString& instance_id) {
  const yox::MutexLock lock(mutex_);
  const auto device = present_.extract(instance_id);
  if (!device.empty()) tell_(Change::kRemoved, {instance_id, device.mapped()});
}

}  // namespace yoxctl
