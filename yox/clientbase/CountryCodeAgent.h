#pragma once

#include "yox/base/Export.h"
#include "yox/base/WString.h"

// Where the device is and what it speaks, asked of the system at every call. A text that it does
// not know is empty. Safe from any thread.
class YOX_API CountryCodeAgent {
 public:
  CountryCodeAgent() = delete;

  static yox::WString GetCountryCode();                // "US"
  static yox::WString GetEnglishCountryName();         // "United States"
  static yox::WString GetEnglishRegionName();          // "United States"
  static yox::WString GetSystemDefaultLanguageCode();  // "en-US"
  static yox::WString GetSystemDefaultLanguageName();  // "English (United States)"
};
