#pragma once

#include "yox/base/Export.h"
#include "yox/base/WString.h"

// The firmware's description of the device, field by field. A text that the firmware does not give
// is empty. Safe from any thread but for `ReInitialize`.
class YOX_API SMBiosInformationRetriever {
 public:
  // Null where the device has no firmware tables.
  static SMBiosInformationRetriever* GetInstance();

  // Reads the tables again; no other thread may be asking meanwhile.
  void ReInitialize();

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
