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

  // Return a fact as it was last read; empty if the firmware does not have it.
  yox::WString GetManufacturer() const;      // "Contoso"
  yox::WString GetFamily() const;            // "Falcon 14"
  yox::WString GetModelNumber() const;       // "FA14-2210"
  yox::WString GetSKU() const;               // "FALCON14-16-512"
  yox::WString GetSerialNumber() const;      // of the system
  yox::WString GetOrlaSerialNumber() const;  // the baseboard's
  yox::WString GetEnclosureType() const;     // "Notebook"
  yox::WString GetBiosVersion() const;       // "FAL14 v1.35"
  yox::WString GetBiosVersionShort() const;  // "1.35"
  yox::WString GetEcVersion() const;         // of the embedded controller: "1.20"
  yox::WString GetSmBiosVersion() const;     // of the tables: "3.4"
  // "2025-11-03", or as the firmware has it if that is no date.
  yox::WString GetBiosReleaseDate() const;
  yox::WString GetECReleaseDate() const;

 private:
  SMBiosInformationRetriever() = default;
};
