#pragma once

#include "yox/base/Export.h"
#include "yox/base/WString.h"

// The SMBIOS tables, field by field, as they were last read. A text that the firmware does not have
// is empty. Every operation may be called from any thread.
class YOX_API SMBiosInformationRetriever {
 public:
  // Null if the device has no firmware tables. Not owned by the caller; lives until the process
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
