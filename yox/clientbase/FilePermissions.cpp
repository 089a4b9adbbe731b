#include "yox/clientbase/FilePermissions.h"

#include "yox/clientbase/platform/Platform.h"

namespace YOX::utility {

bool ApplyFilePermissions(WString path, WString grants, bool replace) {
  const auto parsed = ParseAccessGrants(grants);
  platform::Files& files = platform::Platform::Get().files();
  return parsed && files.Grant(files.Locate(path), *parsed, replace);
}

}  // namespace YOX::utility
