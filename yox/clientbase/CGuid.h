#pragma once

#include <array>
#include <string_view>

#include "yox/base/Export.h"
#include "yox/base/WString.h"

namespace YOX::Utility {

class YOX_API CGuid {
 public:
  CGuid() = delete;

  // A fresh random GUID as 36 lower-case characters, in braces unless `plain`; empty when the
  // system has no random numbers to give. Safe from any thread.
  static WString NewGuid(bool plain);

  // The name-based GUID (version 5) of bytes within a name space, which is a GUID itself:
  // "xxxxxxxx-xxxx-5xxx-yxxx-xxxxxxxxxxxx", digits in lower case. The same everywhere and always.
  static WString FromName(const std::array<unsigned char, 16>& name_space, std::string_view name);
};

}  // namespace YOX::Utility
