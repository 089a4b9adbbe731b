#include "yox/platform/devices/DeviceEvent.h"

#include <algorithm>
#include <cstring>

namespace yox::platform {
namespace {

constexpr std::size_t kTextOffset = offsetof(CM_NOTIFY_EVENT_DATA, u);

}  // namespace

DeviceEvent::DeviceEvent(WStringView instance_id) {
  const std::size_t text = kTextOffset + (instance_id.size() + 1) * sizeof(WChar);
  size_ = static_cast<Dword>(std::max(text, sizeof(CM_NOTIFY_EVENT_DATA)));
  words_.resize((size_ + sizeof(Dword) - 1) / sizeof(Dword));
  data()->FilterType = CM_NOTIFY_FILTER_TYPE_DEVICEINSTANCE;
  std::memcpy(reinterpret_cast<char*>(words_.data()) + kTextOffset, instance_id.data(),
              instance_id.size() * sizeof(WChar));
}

WStringView DeviceEvent::InstanceId(const CM_NOTIFY_EVENT_DATA* data, Dword size) {
  if (data == nullptr || size < sizeof(CM_NOTIFY_EVENT_DATA)) return {};
  if (data->FilterType != CM_NOTIFY_FILTER_TYPE_DEVICEINSTANCE) return {};
  const auto* const text = reinterpret_cast<const WChar*>(&data->u);
  const WStringView units(text, (size - kTextOffset) / sizeof(WChar));
  return units.substr(0, units.find(WChar{}));
}

}  // namespace yox::platform
