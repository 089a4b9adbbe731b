#pragma once

#include "yox/clientbase/WString.h"
#include "yox/device/DeviceInfoProvider.h"

namespace YOX {

// What `os_bitness` is held against.
inline WStringView BitnessText(Architecture architecture) {
  switch (architecture) {
    case Architecture::x86:
      return "32"_wv;
    case Architecture::x64:
      return "64"_wv;
    case Architecture::ARM64:
      return "ARM64"_wv;
    default:
      return "not supported"_wv;
  }
}

// What `os` is held against, on every device.
inline constexpr WStringView kOsText = "Windows"_wv;

}  // namespace YOX
