#include "yox/platform/system/linux/LinuxClient.h"

#include "yox/base/String.h"
#include "yox/platform/files/linux/RootFiles.h"
#include "yox/platform/system/AnonymousMetrics.h"

namespace yox::platform {

WString LinuxClient::FileVersion(const WString& path) {
  if (!path.ends_with("\\yoxclientservice.exe"_wv)) return {};
  const std::string installed =
      ReadRootLine(files_.Locate(files_.ProductDirectory() + "/yoxd.version"_w));
  return String::UTF8ToUTF16(installed.empty() ? YOX_LIBRARY_VERSION : installed);
}

bool LinuxClient::AnonymousMetrics() { return ReadAnonymousMetrics(registry_); }

}  // namespace yox::platform
