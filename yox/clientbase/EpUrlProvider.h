#pragma once

#include <vector>

#include "yox/base/Export.h"
#include "yox/base/WString.h"

namespace yox::platform {
struct RegistryKey;
}

namespace YOX {

// The organisation that this device belongs to, as the client's service has written it to the
// registry: the values "Realm" (REG_SZ) and "Subscriptions" (REG_MULTI_SZ) of the key
// HKEY_LOCAL_MACHINE\SOFTWARE\Tervan\YOX\Organisation. Each call sees what any process has written
// before. Safe from any thread.
class YOX_API EpUrlProvider {
 public:
  // Returns null if the key does not exist. The object lives until the process ends.
  static EpUrlProvider* GetInstance();

  // Return false, and empty the output, if there is no such value.
  bool GetRealm(WString& realm) const;
  bool GetDeviceSubscriptionList(std::vector<WString>& subscriptions) const;

  // The key of these values.
  YOX_LOCAL static const platform::RegistryKey& Key();

 private:
  EpUrlProvider() = default;
};

}  // namespace YOX
