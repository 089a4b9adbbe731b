#pragma once

#include "yox/base/Export.h"
#include "yox/base/WString.h"

// The brand under which a device is sold, found in texts of its firmware; docs/device.md describes
// the rules. A pure function, safe from any thread.
class YOX_API BrandAgent {
 public:
  BrandAgent() = delete;

  // Returns for example "Falcon"; empty if all three texts are empty.
  static yox::WString GetBrand(const yox::WString& sku, const yox::WString& family,
                               const yox::WString& manufacturer);
};
