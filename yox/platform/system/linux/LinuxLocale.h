#pragma once

#include <filesystem>

#include "yox/platform/system/Locale.h"

namespace yox::platform {

// The language of the system's locale settings (locale.conf, Debian's default/locale, else the
// process's LANG) and the country of its formats, which is where most installers put it; a system
// whose locale names no country is where its time zone is. English names come from ICU.
class LinuxLocale final : public Locale {
 public:
  explicit LinuxLocale(std::filesystem::path root = "/") : root_(std::move(root)) {}

  LocaleFacts Facts() override;

 private:
  const std::filesystem::path root_;
};

}  // namespace yox::platform
