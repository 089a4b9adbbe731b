#pragma once

#include <string>

#include "yox/base/Export.h"

namespace YOX {

// Operations on files of certificates in PEM form. Paths are UTF-8, files are at most 16 MiB long.
// Text outside the blocks is allowed and means nothing.
class YOX_API CoreUtility {
 public:
  // True when the file can be read, every block in it parses, and one at least is a certificate;
  // whether one has expired does not matter.
  static bool ValidatePemFile(const std::string& path);

  // Drops certificates that are past their end by the platform's clock, and exact repeats of
  // earlier ones; every byte of what stays is kept, in order. The file is swapped in whole, and
  // left alone when there is nothing to drop. False when it cannot be read or written, or a block
  // does not parse; it is then as it was.
  static bool RemoveExpiredAndDuplicateCertsFromFile(const std::string& path);
};

}  // namespace YOX
