#include "yox/clientbase/platform/linux/LinuxClient.h"

#include "yox/clientbase/String.h"
#include "yox/clientbase/platform/AnonymousMetrics.h"
#include "yox/clientbase/platform/linux/RootFiles.h"

namespace YOX::platform {

WString LinuxClient::FileVersion(const WString& path) {
  if (!path.ends_with("\\yoxclientservice.exe"_wv)) return {};
  const std::string installed =
      ReadRootLine(files_.Locate(files_.ProductDirectory() + "\\yoxd.version"_w));
  return String::UTF8ToUTF16(installed.empty() ? YOX_LIBRARY_VERSION : installed);
}

bool LinuxClient::AnonymousMetrics() { return ReadAnonymousMetrics(registry_); }

}  // namespace YOX::platform
