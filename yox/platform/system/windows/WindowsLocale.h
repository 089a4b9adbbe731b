#pragma once

#include "yox/platform/registry/Registry.h"
#include "yox/platform/system/Locale.h"
#include "yox/platform/users/Users.h"

namespace yox::platform {

// The country is the one chosen by the user (of this process, or for a process of the system's
// account the one who is logged on), else the machine's, else what Windows gives this process. The
// language is the system's default one. Safe from any thread.
class WindowsLocale final : public Locale {
 public:
  // Both must outlive the object.
  WindowsLocale(Registry& registry, Users& users) : registry_(registry), users_(users) {}

  LocaleFacts Facts() override;

 private:
  Registry& registry_;
  Users& users_;
};

}  // namespace yox::platform
