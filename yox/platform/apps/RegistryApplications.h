#pragma once

#include <optional>
#include <utility>

#include "yox/platform/apps/Applications.h"
#include "yox/platform/registry/Registry.h"
#include "yox/platform/users/Users.h"

namespace yox::platform {

// Windows keeps account of its applications in the registry: what an uninstall key names with a
// display name is installed, its subkey being the key; store packages by their full names, those
// that are staged for all users and those of the user. A process of the system's own account speaks
// of the user who is logged on.
class RegistryApplications final : public Applications {
 public:
  // Both must outlive the object.
  RegistryApplications(Registry& registry, Users& users) : registry_(registry), users_(users) {}

  ByKey Installed(ApplicationSource source) override;
  // Of several versions of one package the highest.
  std::map<WString, WString> Store() override;
  std::uint64_t Generation() override { return 0; }

 private:
  // The key in the user's hive; nothing when there is no user.
  std::optional<RegistryKey> OfUser(WStringView path);
  WString Text(const RegistryKey& key, WStringView name);

  Registry& registry_;
  Users& users_;
};

// Name and version of a package's full name, "Contoso.Notes_2.0.1.0_x64__8wekyb3d8bbwe"; nothing
// for a name of another form, a bundle, or a package of languages or sizes that belongs to another.
std::optional<std::pair<WString, WString>> ReadPackageFullName(WStringView full_name);

}  // namespace yox::platform
