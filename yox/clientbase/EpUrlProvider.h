#pragma once

#include <vector>

#include "yox/base/Export.h"
#include "yox/base/WString.h"

namespace YOX {

// The organisation that this device belongs to, as the client's service has written it to the
// registry: the text "Realm" and the texts "Subscriptions" of the key
// HKEY_LOCAL_MACHINE\SOFTWARE\Tervan\YOX\Organisation. Read afresh at every call; safe from any
// thread.
class YOX_API EpUrlProvider {
 public:
  // Null when the key does not exist. The object lives until the process ends.
  static EpUrlProvider* GetInstance();

  // False, and an empty output, when there is no such value.
  bool GetRealm(WString& realm) const;
  bool GetDeviceSubscriptionList(std::vector<WString>& subscriptions) const;

 private:
  EpUrlProvider() = default;
};

}  // namespace YOX
