#pragma once

#include <vector>

#include "yox/base/Export.h"
#include "yox/base/WString.h"

// Turns the names of display adapters into tags. Safe from any thread.
class YOX_API GpuTagGenerator {
 public:
  GpuTagGenerator() = delete;

  // Returns "Device.Hardware.Gpu.Exists", then one tag name for each adapter by its maker, for
  // example "Device.Hardware.Gpu.Intel"; duplicates are kept. Returns an empty list for no adapter.
  static std::vector<yox::WString> GenerateGpuTags(const std::vector<yox::WString>& gpu_names);
};
