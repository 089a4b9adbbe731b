#pragma once

#include <string>
#include <utility>
#include <vector>

#include "yox/base/ThreadSafety.h"
#include "yox/platform/simulated/SimulatedRegistry.h"

namespace yox_test {

// A simulated registry that records the view of each call: in a 64-bit process the default view
// shows the same keys as the 64-bit one, so that the result of a call does not tell them apart.
class RecordingRegistry final : public yox::platform::Registry {
 public:
  // The calls since the last one of this function, such as "Get 64-bit".
  std::vector<std::string> TakeCalls() {
    const yox::MutexLock lock(mutex_);
    return std::exchange(calls_, {});
  }

  yox::platform::RegistryStatus Open(const yox::platform::RegistryKey& key, std::uint32_t access,
                                     HKEY& opened) override {
    Record("Open", key);
    return registry_.Open(key, access, opened);
  }
  void Close(HKEY opened) override { registry_.Close(opened); }
  yox::platform::RegistryStatus Get(const yox::platform::RegistryKey& key, yox::WStringView name,
                                    yox::platform::RegistryValue& value) override {
    Record("Get", key);
    return registry_.Get(key, name, value);
  }
  yox::platform::RegistryStatus Values(const yox::platform::RegistryKey& key,
                                       std::vector<yox::platform::RegistryEntry>& values,
                                       std::size_t longest_name) override {
    Record("Values", key);
    return registry_.Values(key, values, longest_name);
  }
  yox::platform::RegistryStatus SubKeys(const yox::platform::RegistryKey& key,
                                        std::vector<yox::WString>& names) override {
    Record("SubKeys", key);
    return registry_.SubKeys(key, names);
  }
  yox::platform::RegistryStatus Apply(std::span<const yox::platform::RegistryEdit> edits) override {
    for (const yox::platform::RegistryEdit& edit : edits) Record("Apply", edit.key);
    return registry_.Apply(edits);
  }
  yox::platform::RegistryStatus Watch(
      const yox::platform::RegistryKey& key, Changed changed,
      std::unique_ptr<yox::platform::RegistryWatch>& watch) override {
    Record("Watch", key);
    return registry_.Watch(key, std::move(changed), watch);
  }

 private:
  void Record(const char* call, const yox::platform::RegistryKey& key) {
    const yox::MutexLock lock(mutex_);
    constexpr const char* kViews[] = {" default", " 64-bit", " 32-bit"};
    calls_.push_back(std::string(call) + kViews[static_cast<int>(key.view)]);
  }

  yox::platform::SimulatedRegistry registry_;
  yox::Mutex mutex_;
  std::vector<std::string> calls_ YOX_GUARDED_BY(mutex_);
};

}  // namespace yox_test
