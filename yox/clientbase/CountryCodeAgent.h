#pragma once

#include "yox/base/Export.h"
#include "yox/base/WString.h"

// Country and language of the device, read from the system at every call. A text is empty if the
// system does not know it. Safe from any thread.
class YOX_API CountryCodeAgent {
 public:
  CountryCodeAgent() = delete;

  static yox::WString GetCountryCode();                // "US"
  static yox::WString GetEnglishCountryName();         // "United States"
  static yox::WString GetEnglishRegionName();          // "United States"
  static yox::WString GetSystemDefaultLanguageCode();  // "en-US"
  static yox::WString GetSystemDefaultLanguageName();  // "English (United States)"
};
