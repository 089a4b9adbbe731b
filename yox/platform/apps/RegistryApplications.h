#pragma once

#include <optional>
#include <utility>

#include "yox/platform/apps/Applications.h"
#include "yox/platform/registry/Registry.h"
#include "yox/platform/users/Users.h"

namespace yox::platform {

// The applications that Windows registers in the registry: every subkey of an uninstall key that
// has a display name is an installed application, under the subkey's name. Store packages are
// subkeys named by their full names, of those staged for all users and of those of the user. The
// user is this process's own, or for a process of the system's account the one who is logged on.
class RegistryApplications final : public Applications {
 public:
  // Both must outlive the object.
  RegistryApplications(Registry& registry, Users& users) : registry_(registry), users_(users) {}

  ByKey Installed(ApplicationSource source) override;
  // If a package is there in several versions, the highest counts.
  std::map<WString, WString> Store() override;
  std::uint64_t Generation() override { return 0; }

 private:
  Registry& registry_;
  Users& users_;
};

// Name and version from a package's full name, "Contoso.Notes_2.0.1.0_x64__8wekyb3d8bbwe".
// std::nullopt for a name of another form, a bundle, and a package of languages or sizes that only
// completes another.
std::optional<std::pair<WString, WString>> ReadPackageFullName(WStringView full_name);

}  // namespace yox::platform
