#pragma once

#include "yox/base/Export.h"
#include "yox/base/WString.h"

// The line of products within the brand, found in texts of the firmware (docs/device.md). A pure
// function, safe from any thread.
class YOX_API SubBrandAgent {
 public:
  SubBrandAgent() = delete;

  // Returns an empty text if neither text names one.
  static yox::WString GetSubBrand(const yox::WString& sku, const yox::WString& family);
};
