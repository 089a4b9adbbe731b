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
  void operator()(udev_hwdb* database) const { udev_hwdb_unref(database); }
};
// Owns one reference. libudev is not thread-safe: objects of one context belong to one thread at a
// time.
template <class Object>
using UdevRef = std::unique_ptr<Object, UdevRelease>;

// Limits an enumeration to the buses whose devices can be described.
void MatchNamedBuses(udev_enumerate* enumerate);

// The names of a device; std::nullopt for one of another bus, or one whose numbers cannot be read.
std::optional<PresentDevice> Describe(udev_device* device);

}  // namespace yox::platform
