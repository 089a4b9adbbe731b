#pragma once

#include "yox/base/Export.h"
#include "yox/base/WString.h"

// Fields of the SMBIOS tables, as they were last read. A text that the firmware does not have is
// empty. Safe from any thread.
class YOX_API SMBiosInformationRetriever {
 public:
  // Returns the singleton, or null if the device has no firmware tables. It lives until the process
  // ends.
  static SMBiosInformationRetriever* GetInstance();

  // Reads the tables again. Static, so that a device whose tables were missing can find them.
  static void ReInitialize();

  yox::WString GetManufacturer() const;
  yox::WString GetFamily() const;
  yox::WString GetModelNumber() const;
  yox::WString GetSKU() const;
  yox::WString GetSerialNumber() const;
  yox::WString GetOrlaSerialNumber() const;  // the baseboard's
  yox::WString GetEnclosureType() const;
  yox::WString GetBiosVersion() const;
  yox::WString GetBiosVersionShort() const;
  yox::WString GetBiosReleaseDate() const;
  yox::WString GetEcVersion() const;
  yox::WString GetECReleaseDate() const;
  yox::WString GetSmBiosVersion() const;

 private:
  SMBiosInformationRetriever() = default;
};
