#include "yox/clientbase/EpUrlProvider.h"

#include "yox/platform/Platform.h"
#include "yox/platform/registry/Registry.h"

namespace YOX {
namespace {

using platform::RegistryKey;
using platform::RegistryStatus;
using platform::RegistryType;
using platform::RegistryValue;

bool Read(WStringView name, RegistryType type, RegistryValue& value) {
  return platform::Platform::Get().registry().Get(EpUrlProvider::Key(), name, value) ==
             RegistryStatus::kOk &&
         value.type == type;
}

}  // namespace

// Never destroyed. Every decision of the running service may read the key.
const RegistryKey& EpUrlProvider::Key() {
  static const auto* const key = new RegistryKey{HKEY_LOCAL_MACHINE,
                                                 "SOFTWARE\\Tervan\\YOX\\Organisation"_w,
                                                 platform::RegistryView::k64Bit,
                                                 {}};
  return *key;
}

EpUrlProvider* EpUrlProvider::GetInstance() {
  static EpUrlProvider instance;
  return platform::Platform::Get().registry().Exists(Key()) ? &instance : nullptr;
}

bool EpUrlProvider::GetRealm(WString& realm) const {
  RegistryValue value;
  const bool found = Read("Realm"_wv, RegistryType::kText, value);
  realm = found ? value.FirstText() : WString();
  return found;
}

bool EpUrlProvider::GetDeviceSubscriptionList(std::vector<WString>& subscriptions) const {
  RegistryValue value;
  const bool found = Read("Subscriptions"_wv, RegistryType::kMultiText, value);
  subscriptions = found ? value.Texts() : std::vector<WString>();
  return found;
}

}  // namespace YOX
