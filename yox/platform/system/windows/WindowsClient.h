#pragma once

#include "yox/platform/registry/Registry.h"
#include "yox/platform/system/Client.h"

namespace yox::platform {

// The version resource of the file, "4.2.10.0".
class WindowsClient final : public Client {
 public:
  // The registry must outlive the object.
  explicit WindowsClient(Registry& registry) : registry_(registry) {}

  WString FileVersion(const WString& path) override;
  bool AnonymousMetrics() override;

 private:
  Registry& registry_;
};

}  // namespace yox::platform
