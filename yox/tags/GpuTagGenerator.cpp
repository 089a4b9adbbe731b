#include "yox/tags/GpuTagGenerator.h"

#include <algorithm>

#include "yox/base/String.h"

using yox::WString;
using yox::WStringView;
using namespace yox::literals;

std::vector<WString> GpuTagGenerator::GenerateGpuTags(const std::vector<WString>& gpu_names) {
  constexpr auto kPrefix = "Device.Hardware.Gpu."_wv;
  static constexpr WStringView kMakers[] = {"Intel"_wv, "NVIDIA"_wv, "AMD"_wv};
  std::vector<WString> tags;
  if (gpu_names.empty()) return tags;
  tags.push_back(WString(kPrefix) + "Exists"_w);
  for (const WString& name : gpu_names) {
    const auto* const maker = std::ranges::find_if(
        kMakers, [&](WStringView word) { return YOX::String::CaseInsesitiveFind(name, word); });
    tags.push_back(WString(kPrefix).append(maker != std::end(kMakers) ? *maker : "Others"_wv));
  }
  return tags;
}
