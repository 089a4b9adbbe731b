#pragma once

#include <string>

#include "yox/base/Export.h"

namespace YOX {

// Operations on files of certificates in PEM form (RFC 7468). Paths are UTF-8. Files of more than
// 16 MiB are refused. Text outside the blocks is allowed and ignored. All functions are safe from
// any thread, but not for two threads that write the same file.
class YOX_API CoreUtility {
 public:
  // Returns true if the file can be read, every block in it parses, and at least one is a
  // certificate, expired or not.
  static bool ValidatePemFile(const std::string& path);

  // Drops expired certificates, by the platform's clock, and exact repeats of earlier ones; every
  // other byte is kept, in order. The file is replaced as a whole, and not written at all if there
  // is nothing to drop. Returns false, and leaves the file as it was, if it cannot be read or
  // written or a block in it does not parse.
  static bool RemoveExpiredAndDuplicateCertsFromFile(const std::string& path);
};

}  // namespace YOX
