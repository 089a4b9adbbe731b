#pragma once

#include "yox/platform/system/Locale.h"

namespace yox::platform {

// The country that the user of the process has chosen, and the system's default language.
class WindowsLocale final : public Locale {
 public:
  LocaleFacts Facts() override;
};

}  // namespace yox::platform
