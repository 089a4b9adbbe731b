#pragma once

#include <filesystem>

#include "yox/platform/system/Locale.h"
#include "yox/platform/system/linux/SystemBus.h"

namespace yox::platform {

// The language is LANG of the system's settings: of etc/locale.conf, etc/default/locale, systemd's
// locale service or the environment; the first of them that sets anything counts.
//
// The country is the first one known of
//   - the regional formats of the logged-on user's account (AccountsService) and those of the
//     system (LC_ALL, LC_MONETARY, ...), unless they only repeat the country of the language:
//     an administrator has chosen these;
//   - the time zone, by zone.tab, zone1970.tab or Regions.h;
//   - the language, which says little: half the world runs "en_US".
//
// English names come from Regions.h. Read at every call; safe from any thread.
class LinuxLocale final : public Locale {
 public:
  using Environment = char* (*)(const char* name);  // as getenv

  // Reads files below `root`. Null stands for an environment that sets nothing. The bus must
  // outlive the object.
  LinuxLocale(SystemBus& bus, std::filesystem::path root, Environment environment)
      : bus_(bus), root_(std::move(root)), environment_(environment) {}

  LocaleFacts Facts() override;

 private:
  SystemBus& bus_;
  const std::filesystem::path root_;
  const Environment environment_;
};

}  // namespace yox::platform
