#pragma once

#include <libudev.h>

#include <memory>
#include <optional>

#include "yox/platform/devices/DeviceTree.h"

namespace yox::platform {

struct UdevRelease {
  void operator()(udev* context) const { udev_unref(context); }
  void operator()(udev_device* device) const { udev_device_unref(device); }
  void operator()(udev_enumerate* enumerate) const { udev_enumerate_unref(enumerate); }
  void operator()(udev_monitor* monitor) const { udev_monitor_unref(monitor); }
};
// Owns one reference. What belongs to one context is used by one thread at a time.
template <class Object>
using UdevRef = std::unique_ptr<Object, UdevRelease>;

// Lets an enumeration find the devices of every bus that has names.
void MatchNamedBuses(udev_enumerate* enumerate);

// The names of a device; nothing for one of another bus, or one whose numbers cannot be read.
std::optional<PresentDevice> Describe(udev_device* device);

}  // namespace yox::platform
