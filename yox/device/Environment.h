#pragma once

#include <string>

#include "yox/base/Export.h"

namespace YOX {

class YOX_API Environment {
 public:
  Environment() = delete;

  // The operating system's caption as UTF-8, asked of the system once and remembered until the
  // process ends; `out` stays as it was when it cannot be had. Unguarded on purpose: calls must not
  // overlap.
  static void GetOsDescription(std::string& out);

 private:
  static std::string osDescription_;
};

}  // namespace YOX
