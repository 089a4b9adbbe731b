#pragma once

#include "yox/clientbase/Export.h"
#include "yox/clientbase/WString.h"

// Where the device is and what it speaks, asked of the system at every call. A text that it does
// not know is empty. Safe from any thread.
class YOX_API CountryCodeAgent {
 public:
  CountryCodeAgent() = delete;

  static YOX::WString GetCountryCode();                // "US"
  static YOX::WString GetEnglishCountryName();         // "United States"
  static YOX::WString GetEnglishRegionName();          // "United States"
  static YOX::WString GetSystemDefaultLanguageCode();  // "en-US"
  static YOX::WString GetSystemDefaultLanguageName();  // "English (United States)"
};
