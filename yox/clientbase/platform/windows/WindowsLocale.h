#pragma once

#include "yox/clientbase/platform/Locale.h"

namespace YOX::platform {

// The country that the user of the process has chosen, and the system's default language.
class WindowsLocale final : public Locale {
 public:
  LocaleFacts Facts() override;
};

}  // namespace YOX::platform
