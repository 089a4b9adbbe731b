#pragma once

#include "yox/platform/registry/Registry.h"

namespace yox::platform {

// The registry of Windows. Edits are made one by one: those before a failing one stay.
class WindowsRegistry final : public Registry {
 public:
  RegistryStatus Open(const RegistryKey& key, std::uint32_t access, HKEY& opened) override;
  void Close(HKEY opened) override;
  RegistryStatus Get(const RegistryKey& key, WStringView name, RegistryValue& value) override;
  RegistryStatus Values(const RegistryKey& key, std::vector<RegistryEntry>& values,
                        std::size_t longest_name) override;
  RegistryStatus SubKeys(const RegistryKey& key, std::vector<WString>& names) override;
  RegistryStatus Apply(std::span<const RegistryEdit> edits) override;
  RegistryStatus Watch(const RegistryKey& key, Changed changed,
                       std::unique_ptr<RegistryWatch>& watch) override;
  std::unique_ptr<RegistryTracker> Track(std::span<const RegistryKey> keys) override;

 private:
  // Translates an error number of Win32; reports one that is about the registry itself.
  RegistryStatus StatusOf(const char* operation, long error);
};

}  // namespace yox::platform
