#pragma once

#include "yox/base/Export.h"
#include "yox/base/WString.h"

// The machine-type-model text (MTM) and the machine type, from the firmware's model number.
class YOX_API MTMAgent {
 public:
  MTMAgent() = delete;

  // The model number without surrounding white space.
  static yox::WString GetMTM(const yox::WString& model_number);
  // The first four characters of the MTM, all of it when it is shorter.
  static yox::WString GetMTFromMTM(const yox::WString& mtm);
};
