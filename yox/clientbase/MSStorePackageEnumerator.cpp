#include "yox/clientbase/MSStorePackageEnumerator.h"

#include <exception>

#include "yox/platform/Platform.h"
#include "yox/platform/apps/Applications.h"

namespace YOX {

MSStorePackageEnumerator* MSStorePackageEnumerator::GetInstance() {
  static MSStorePackageEnumerator instance;
  return &instance;
}

std::map<WString, WString> MSStorePackageEnumerator::GetAllMSStoreAppsDetails() {
  try {
    return platform::Platform::Get().applications().Store();
  } catch (const std::exception& error) {
    log_.load()->e("%s : Exception - %s", "MSStorePackageEnumerator::GetAllMSStoreAppsDetails",
                   error.what());
    return {};
  }
}

}  // namespace YOX
