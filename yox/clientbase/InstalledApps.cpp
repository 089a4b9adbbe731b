#include "yox/clientbase/InstalledApps.h"

#include "yox/platform/Platform.h"
#include "yox/platform/apps/Applications.h"

namespace YOX::utility {

bool GetInstalledApps(AppMap& apps, bool machine, bool view32) {
  using platform::ApplicationSource;
  if (!machine && view32) return false;
  const ApplicationSource source = !machine ? ApplicationSource::kUser
                                   : view32 ? ApplicationSource::kMachine32
                                            : ApplicationSource::kMachine;
  for (auto& [key, application] : platform::Platform::Get().applications().Installed(source)) {
    apps.emplace(key, std::move(application));
  }
  return true;
}

}  // namespace YOX::utility
