#pragma once

#include <vector>

#include "yox/base/Export.h"
#include "yox/base/WString.h"

// Safe from any thread.
class YOX_API GpuTagGenerator {
 public:
  GpuTagGenerator() = delete;

  // The names of the tags that the display adapters' names give: one that says that there is any,
  // and behind it one for each adapter by its maker. Duplicates stay.
  static std::vector<yox::WString> GenerateGpuTags(const std::vector<yox::WString>& gpu_names);
};
