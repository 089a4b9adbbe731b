#pragma once

#include "yox/base/WString.h"

namespace yox::platform {

// Where the device is and what it speaks. A text that is not known is empty.
struct LocaleFacts {
  WString country_code;   // "US"
  WString country_name;   // "United States"
  WString region_name;    // "United States"
  WString language_code;  // "en-US"
  WString language_name;  // "English (United States)"
};

// The region and the language that are set on the device.
class Locale {
 public:
  virtual ~Locale() = default;
  virtual LocaleFacts Facts() = 0;  // read at every call; safe from any thread
};

}  // namespace yox::platform
