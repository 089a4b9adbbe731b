#pragma once

#include "yox/base/Export.h"
#include "yox/base/WString.h"

// The machine type and model (MTM), from the firmware's model number. Pure functions, safe from any
// thread.
class YOX_API MTMAgent {
 public:
  MTMAgent() = delete;

  // Returns the model number without surrounding white space.
  static yox::WString GetMTM(const yox::WString& model_number);
  // Returns the first four characters of the MTM, or all of it if it is shorter.
  static yox::WString GetMTFromMTM(const yox::WString& mtm);
};
