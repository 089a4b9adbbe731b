#pragma once

#include "yox/platform/registry/Registry.h"

namespace yox::platform {

// The registry of Windows. Edits are done one by one: an edit that fails leaves those before it
// done. A watch has a thread of its own, which the system wakes; to name what changed it keeps the
// names of the subtree, with a digest of every value, and compares.
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
};

}  // namespace yox::platform
