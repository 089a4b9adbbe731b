#pragma once

#include "yox/clientbase/Export.h"
#include "yox/clientbase/WString.h"

namespace YOX::Utility {

class YOX_API CGuid {
 public:
  CGuid() = delete;

  // A fresh random GUID as 36 lower-case characters, in braces unless `plain`; empty when the
  // system has no random numbers to give. Safe from any thread.
  static WString NewGuid(bool plain);
};

}  // namespace YOX::Utility
