#pragma once

#include <array>
#include <string_view>

#include "yox/base/Export.h"
#include "yox/base/WString.h"

namespace YOX::Utility {

// GUIDs as text. Safe from any thread.
class YOX_API CGuid {
 public:
  CGuid() = delete;

  // Returns a random GUID (version 4) of 36 lower-case characters, in braces unless `plain` is
  // true; an empty text if the system's random number generator fails.
  static WString NewGuid(bool plain);

  // Returns the name-based GUID (version 5) of `name`, any bytes, in a name space, which is the 16
  // bytes of a GUID: "xxxxxxxx-xxxx-5xxx-yxxx-xxxxxxxxxxxx" in lower case. The same arguments give
  // the same GUID on every system.
  static WString FromName(const std::array<unsigned char, 16>& name_space, std::string_view name);
};

}  // namespace YOX::Utility
