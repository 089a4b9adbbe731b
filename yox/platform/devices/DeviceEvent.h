#pragma once

#include <vector>

#include "yox/base/Export.h"
#include "yox/base/WString.h"
#include "yox/platform/devices/DeviceNotifications.h"

namespace yox::platform {

// The data of one event of a device instance, in the form in which callbacks take it.
class YOX_API DeviceEvent {
 public:
  explicit DeviceEvent(WStringView instance_id);

  // Valid as long as the object.
  PCM_NOTIFY_EVENT_DATA data() { return reinterpret_cast<PCM_NOTIFY_EVENT_DATA>(words_.data()); }
  Dword size() const { return size_; }

  // The instance ID of an event; empty when the event does not concern an instance, or is too short
  // to be one. Reads no byte after `size`.
  static WStringView InstanceId(const CM_NOTIFY_EVENT_DATA* data, Dword size);

 private:
  std::vector<Dword> words_;
  Dword size_;
};

}  // namespace yox::platform
