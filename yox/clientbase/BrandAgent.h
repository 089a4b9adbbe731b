#pragma once

#include "yox/clientbase/Export.h"
#include "yox/clientbase/WString.h"

// The brand under which a device is sold, read off texts of its firmware. Pure, safe from any
// thread. Which text gives it, and how, stands in docs/device.md.
class YOX_API BrandAgent {
 public:
  BrandAgent() = delete;

  // Empty when all three texts are.
  static YOX::WString GetBrand(const YOX::WString& sku, const YOX::WString& family,
                               const YOX::WString& manufacturer);
};
