#pragma once

#include "yox/clientbase/Export.h"
#include "yox/clientbase/WString.h"

// The line of products within the brand. Pure, safe from any thread.
class YOX_API SubBrandAgent {
 public:
  SubBrandAgent() = delete;

  // Empty when neither text names one.
  static YOX::WString GetSubBrand(const YOX::WString& sku, const YOX::WString& family);
};
