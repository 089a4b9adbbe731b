#pragma once

#include "yox/clientbase/Export.h"
#include "yox/clientbase/WString.h"

// The machine-type-model text (MTM) and the machine type, from the firmware's model number.
class YOX_API MTMAgent {
 public:
  MTMAgent() = delete;

  // The model number without surrounding white space.
  static YOX::WString GetMTM(const YOX::WString& model_number);
  // The first four characters of the MTM, all of it when it is shorter.
  static YOX::WString GetMTFromMTM(const YOX::WString& mtm);
};
