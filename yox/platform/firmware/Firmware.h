#pragma once

#include "yox/base/WString.h"

namespace yox::platform {

// What the firmware says of the device. A text that it does not have is empty.
struct FirmwareFacts {
  WString manufacturer;
  WString family;
  WString model_number;
  WString sku;
  WString serial_number;
  WString baseboard_serial_number;
  WString enclosure_type;  // "Notebook"
  WString bios_version;
  WString bios_version_short;  // "1.35"
  WString bios_release_date;   // "2025-11-03", or as the firmware has it if that is no date
  WString ec_version;          // of the embedded controller
  WString ec_release_date;
  WString smbios_version;  // "3.4"

  friend bool operator==(const FirmwareFacts&, const FirmwareFacts&) = default;
};

// The firmware of the device. Every operation may be called from any thread.
class Firmware {
 public:
  virtual ~Firmware() = default;

  // The facts as they were last read, null if the device has no firmware tables. The first call
  // reads them. What is returned never changes, and lives as long as this object.
  virtual const FirmwareFacts* Facts() = 0;

  // Reads the tables again; `Facts` returns the new facts from now on.
  virtual void Reread() = 0;
};

}  // namespace yox::platform
