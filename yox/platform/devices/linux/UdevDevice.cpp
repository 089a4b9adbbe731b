#include "yox/platform/devices/linux/UdevDevice.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>

#include "yox/base/String.h"
#include "yox/platform/devices/BusIdentifiers.h"
#include "yox/platform/files/linux/RootFiles.h"

namespace yox::platform {
namespace {

using bus::Names;

std::string_view View(const char* text) { return text != nullptr ? text : std::string_view(); }

std::string_view Attribute(udev_device* device, const char* name) {
  return View(udev_device_get_sysattr_value(device, name));
}

std::optional<std::uint32_t> Number(udev_device* device, const char* name) {
  return bus::Hexadecimal(Attribute(device, name));
}

template <class Word>
std::optional<Word> Narrow(std::optional<std::uint32_t> number) {
  return number ? std::optional(static_cast<Word>(*number)) : std::nullopt;
}

udev_device* UsbDeviceOf(udev_device* device) {
  return udev_device_get_parent_with_subsystem_devtype(device, "usb", "usb_device");
}
udev_device* UsbInterfaceOf(udev_device* device) {
  return udev_device_get_parent_with_subsystem_devtype(device, "usb", "usb_interface");
}

// The number of an interface that is a device of its own: one of several, of a device that leaves
// its class to its interfaces.
std::optional<std::uint8_t> FunctionNumber(udev_device* interface) {
  udev_device* const device = interface != nullptr ? UsbDeviceOf(interface) : nullptr;
  if (device == nullptr || Number(device, "bNumInterfaces").value_or(0) < 2) return std::nullopt;
  const std::uint32_t device_class = Number(device, "bDeviceClass").value_or(0);
  if (device_class != 0x00 && device_class != 0xEF) return std::nullopt;
  return Narrow<std::uint8_t>(Number(interface, "bInterfaceNumber"));
}

Names PciNames(udev_device* device) {
  return bus::Pci(Attribute(device, "modalias"), Number(device, "revision"));
}

Names UsbNames(udev_device* device, std::optional<std::uint8_t> interface) {
  const auto vendor = Number(device, "idVendor");
  const auto product = Number(device, "idProduct");
  if (!vendor || !product) return {};
  return bus::Usb({static_cast<std::uint16_t>(*vendor), static_cast<std::uint16_t>(*product),
                   Narrow<std::uint16_t>(Number(device, "bcdDevice")), interface});
}

Names UsbDeviceNames(udev_device* device) { return UsbNames(device, std::nullopt); }

Names UsbInterfaceNames(udev_device* interface) {
  const auto number = FunctionNumber(interface);
  return number ? UsbNames(UsbDeviceOf(interface), number) : Names();
}

Names HidNames(udev_device* device) {
  udev_device* const usb = UsbDeviceOf(device);
  return bus::Hid(Attribute(device, "modalias"),
                  usb != nullptr ? Narrow<std::uint16_t>(Number(usb, "bcdDevice")) : std::nullopt,
                  FunctionNumber(UsbInterfaceOf(device)));
}

Names AcpiNames(udev_device* device) {
  // Neither present nor functioning (ACPI 6.5, _STA).
  const std::string status(Attribute(device, "status"));
  if (!status.empty() && (std::strtoul(status.c_str(), nullptr, 10) & 0x9) == 0) return {};
  return bus::Acpi(bus::FirstAcpiId(Attribute(device, "modalias")));
}

// A device that the firmware describes is in the tree a second time, under its bus; where its
// description is there to be named, this one is not.
Names AcpiCompanionNames(udev_device* device) {
  std::error_code ignored;
  const std::filesystem::path path(udev_device_get_syspath(device));
  if (std::filesystem::exists(path / "firmware_node", ignored)) return {};
  return bus::Acpi(bus::FirstAcpiId(Attribute(device, "modalias")));
}

Names SerioNames(udev_device* device) {
  return bus::Acpi(bus::FirstPnpId(Attribute(device, "firmware_id")));
}

Names ScsiNames(udev_device* device) {
  const std::string type(Attribute(device, "type"));
  if (type.empty()) return {};
  return bus::Storage({UsbDeviceOf(device) != nullptr ? "USBSTOR" : "SCSI",
                       static_cast<std::uint32_t>(std::strtoul(type.c_str(), nullptr, 10)),
                       Attribute(device, "vendor"), Attribute(device, "model"),
                       Attribute(device, "rev")});
}

Names NvmeNames(udev_device* device) {
  return bus::Storage(
      {"SCSI", 0, "NVMe", Attribute(device, "model"), Attribute(device, "firmware_rev")});
}

Names ConnectorNames(udev_device* device) {
  const std::filesystem::path path(udev_device_get_syspath(device));
  return bus::Monitor(ReadRootFile(path / "edid").value_or(std::string()));
}

struct Bus {
  const char* subsystem;
  const char* type;  // null: any
  Names (*names)(udev_device* device);
};
constexpr Bus kBuses[] = {
    {"pci", nullptr, PciNames},
    {"usb", "usb_device", UsbDeviceNames},
    {"usb", "usb_interface", UsbInterfaceNames},
    {"hid", nullptr, HidNames},
    {"acpi", nullptr, AcpiNames},
    {"i2c", nullptr, AcpiCompanionNames},
    {"spi", nullptr, AcpiCompanionNames},
    {"platform", nullptr, AcpiCompanionNames},
    {"serio", nullptr, SerioNames},
    {"scsi", "scsi_device", ScsiNames},
    {"nvme", nullptr, NvmeNames},
    {"drm", nullptr, ConnectorNames},
};

}  // namespace

void MatchNamedBuses(udev_enumerate* enumerate) {
  for (const Bus& bus : kBuses) udev_enumerate_add_match_subsystem(enumerate, bus.subsystem);
}

std::optional<PresentDevice> Describe(udev_device* device) {
  const std::string_view subsystem = View(udev_device_get_subsystem(device));
  const std::string_view type = View(udev_device_get_devtype(device));
  const auto* const bus = std::ranges::find_if(kBuses, [&](const Bus& candidate) {
    return subsystem == candidate.subsystem &&
           (candidate.type == nullptr || type == candidate.type);
  });
  if (bus == std::end(kBuses)) return std::nullopt;
  const Names names = bus->names(device);
  if (names.empty()) return std::nullopt;

  PresentDevice present;
  present.instance_id = String::UTF8ToUTF16(names.device) + WChar{'\\'} +
                        String::ToUpper(String::UTF8ToUTF16(View(udev_device_get_sysname(device))));
  for (const std::string& id : names.hardware_ids) {
    present.hardware_ids.push_back(String::UTF8ToUTF16(id));
  }
  return present;
}

}  // namespace yox::platform
