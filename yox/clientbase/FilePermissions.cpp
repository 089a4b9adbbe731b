#include "yox/clientbase/FilePermissions.h"

#include "yox/platform/Platform.h"
#include "yox/platform/files/Files.h"

namespace YOX::utility {

bool ApplyFilePermissions(WString path, WString grants, bool replace) {
  const auto parsed = yox::ParseAccessGrants(grants);
  platform::Files& files = platform::Platform::Get().files();
  return parsed && files.Grant(files.Locate(path), *parsed, replace);
}

}  // namespace YOX::utility
