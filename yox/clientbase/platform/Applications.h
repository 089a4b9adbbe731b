#pragma once

#include <map>

#include "yox/clientbase/WString.h"

namespace YOX::platform {

struct InstalledApplication {
  WString name;
  WString publisher;
  WString version;
};

class Applications {
 public:
  virtual ~Applications() = default;

  // Installed applications by their key (product code, package name).
  virtual std::map<WString, InstalledApplication> Installed() = 0;
  // Store applications: name to version.
  virtual std::map<WString, WString> Store() = 0;
};

}  // namespace YOX::platform
