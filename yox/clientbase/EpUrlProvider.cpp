#include "yox/clientbase/EpUrlProvider.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <utility>

#include "yox/base/ThreadSlot.h"
#include "yox/platform/Platform.h"
#include "yox/platform/registry/Registry.h"
#include "yox/platform/registry/SharedTracker.h"

namespace YOX {
namespace {

using platform::Platform;
using platform::RegistryKey;
using platform::RegistryStatus;
using platform::RegistryType;
using platform::RegistryValue;

// What a thread has read of the key since the registry last changed. No thread waits for another
// one, and a decision on the organisation costs no system call.
struct Known {
  std::uint64_t platform = 0;
  std::shared_ptr<platform::RegistryTracker> tracker;
  std::uint64_t generation = 0;  // of the tracker, before anything was read
  // Of the values: whether there is one, and which.
  std::optional<bool> exists;
  std::optional<std::optional<WString>> realm;
  std::optional<std::optional<std::vector<WString>>> subscriptions;
};

// Empty when the registry has changed, or may have.
Known& WhatIsKnown() {
  // Never destroyed.
  static auto& shared = *new platform::SharedTracker({EpUrlProvider::Key()});
  auto& known = yox::ThreadOwned<Known>();
  if (known.generation == 0 || known.platform != Platform::Generation() ||
      known.tracker->Generation() != known.generation) {
    known = {};
    known.platform = Platform::Generation();
    known.tracker = shared.Get();
    known.generation = known.tracker->Generation();
  }
  return known;
}

// Whether a status says what the registry has; a failure is not remembered.
bool IsCertain(RegistryStatus status) {
  return status == RegistryStatus::kOk || status == RegistryStatus::kNotFound;
}

template <class T>
bool Get(std::optional<std::optional<T>> Known::*place, WStringView name, RegistryType type,
         T (RegistryValue::*convert)() const, T& output) {
  std::optional<std::optional<T>>& known = WhatIsKnown().*place;
  if (!known) {
    RegistryValue value;
    const RegistryStatus status = Platform::Get().registry().Get(EpUrlProvider::Key(), name, value);
    if (IsCertain(status)) {
      known.emplace();
      if (status == RegistryStatus::kOk && value.type == type) *known = (value.*convert)();
    }
  }
  const bool found = known && *known;
  output = found ? **known : T();
  return found;
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
  std::optional<bool>& exists = WhatIsKnown().exists;
  if (!exists) {
    platform::Registry& registry = Platform::Get().registry();
    HKEY opened = nullptr;
    const RegistryStatus status = registry.Open(Key(), platform::Registry::kRead, opened);
    if (status == RegistryStatus::kOk) registry.Close(opened);
    if (IsCertain(status)) exists = status == RegistryStatus::kOk;
  }
  return exists.value_or(false) ? &instance : nullptr;
}

bool EpUrlProvider::GetRealm(WString& realm) const {
  return Get(&Known::realm, "Realm"_wv, RegistryType::kText, &RegistryValue::FirstText, realm);
}

bool EpUrlProvider::GetDeviceSubscriptionList(std::vector<WString>& subscriptions) const {
  return Get(&Known::subscriptions, "Subscriptions"_wv, RegistryType::kMultiText,
             &RegistryValue::Texts, subscriptions);
}

}  // namespace YOX
