#pragma once

#include "yox/base/Export.h"
#include "yox/base/WString.h"

// The line of products within the brand. Pure, safe from any thread.
class YOX_API SubBrandAgent {
 public:
  SubBrandAgent() = delete;

  // Empty when neither text names one.
  static yox::WString GetSubBrand(const yox::WString& sku, const yox::WString& family);
};
