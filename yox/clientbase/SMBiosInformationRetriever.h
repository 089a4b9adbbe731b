#pragma once

#include "yox/clientbase/Export.h"
#include "yox/clientbase/WString.h"

// The firmware's description of the device, field by field. A text that the firmware does not give
// is empty. Safe from any thread but for `ReInitialize`.
class YOX_API SMBiosInformationRetriever {
 public:
  // Null where the device has no firmware tables.
  static SMBiosInformationRetriever* GetInstance();

  // Reads the tables again; no other thread may be asking meanwhile.
  void ReInitialize();

  YOX::WString GetManufacturer() const;
  YOX::WString GetFamily() const;
  YOX::WString GetModelNumber() const;
  YOX::WString GetSKU() const;
  YOX::WString GetSerialNumber() const;
  YOX::WString GetOrlaSerialNumber() const;  // the baseboard's
  YOX::WString GetEnclosureType() const;
  YOX::WString GetBiosVersion() const;
  YOX::WString GetBiosVersionShort() const;
  YOX::WString GetBiosReleaseDate() const;
  YOX::WString GetEcVersion() const;
  YOX::WString GetECReleaseDate() const;
  YOX::WString GetSmBiosVersion() const;

 private:
  SMBiosInformationRetriever() = default;
};
