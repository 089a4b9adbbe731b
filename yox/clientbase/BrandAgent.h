#pragma once

#include "yox/base/Export.h"
#include "yox/base/WString.h"

// The brand under which a device is sold, read off texts of its firmware. Pure, safe from any
// thread. Which text gives it, and how, stands in docs/device.md.
class YOX_API BrandAgent {
 public:
  BrandAgent() = delete;

  // Empty when all three texts are.
  static yox::WString GetBrand(const yox::WString& sku, const yox::WString& family,
                               const yox::WString& manufacturer);
};
