#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Builds the hardware IDs that Windows uses from what a bus reports on Linux
// (docs/hardware-ids.md). Pure functions, safe from any thread. The input may be malformed: what
// cannot be read results in no names.
namespace yox::platform::bus {

struct Names {
  std::string device;                     // the beginning of the instance ID
  std::vector<std::string> hardware_ids;  // the most specific first

  bool empty() const { return hardware_ids.empty(); }
};

// Returns the number after a tag of a MODALIAS text, such as 0x9D29 for "d" in
// "pci:v00008086d00009D29sv00001043sd00001D2Dbc11sc80i00". Tags are lower-case letters, numbers
// upper-case hexadecimal. std::nullopt if the tag is missing or its number does not fit.
std::optional<std::uint32_t> ModaliasNumber(std::string_view modalias, std::string_view tag);

// Reads a hexadecimal number, with or without "0x", as sysfs writes them; white space around it is
// ignored. std::nullopt if it is not one.
std::optional<std::uint32_t> Hexadecimal(std::string_view text);

// From a MODALIAS "pci:...", which does not contain the revision.
Names Pci(std::string_view modalias, std::optional<std::uint32_t> revision);

struct UsbNumbers {
  std::uint16_t vendor = 0;
  std::uint16_t product = 0;
  std::optional<std::uint16_t> release = {};   // bcdDevice
  std::optional<std::uint8_t> interface = {};  // of a device with several
};
Names Usb(const UsbNumbers& numbers);

// From a MODALIAS "hid:..."; release and interface are those of the USB device that it belongs to,
// if any.
Names Hid(std::string_view modalias, std::optional<std::uint16_t> release,
          std::optional<std::uint8_t> interface);

// From an identifier of the firmware's device tables, such as "PNP0303" or "ELAN7001". The kernel's
// own identifiers ("LNX...") have no names.
Names Acpi(std::string_view id);
// Returns the first identifier of "acpi:ELAN7001:PNP0C50:"; the others are compatible identifiers.
std::string_view FirstAcpiId(std::string_view modalias);
// Returns the first identifier of "PNP: LEN0020 PNP0f13".
std::string_view FirstPnpId(std::string_view firmware_id);

struct StorageTexts {
  std::string_view enumerator;  // "SCSI", "USBSTOR"
  std::uint32_t type = 0;       // SCSI peripheral device type
  std::string_view vendor = {};
  std::string_view product = {};
  std::string_view revision = {};
};
Names Storage(const StorageTexts& texts);

// From the EDID of a monitor.
Names Monitor(std::string_view edid);

}  // namespace yox::platform::bus
