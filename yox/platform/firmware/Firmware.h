#pragma once

#include "yox/base/WString.h"

namespace yox::platform {

// What the firmware tells of the device. A text that it does not give is empty.
struct FirmwareFacts {
  WString manufacturer;
  WString family;
  WString model_number;
  WString sku;
  WString serial_number;
  WString baseboard_serial_number;
  WString enclosure_type;
  WString bios_version;
  WString bios_version_short;
  WString bios_release_date;
  WString ec_version;
  WString ec_release_date;
  WString smbios_version;
};

class Firmware {
 public:
  virtual ~Firmware() = default;

  // Null where the device has no firmware tables. What is pointed to stays valid and unchanged
  // until the next `Reread`; the first call reads. Safe from any thread.
  virtual const FirmwareFacts* Facts() = 0;

  // Reads the tables anew. One thread at a time, and while nobody holds the facts.
  virtual void Reread() = 0;
};

}  // namespace yox::platform
