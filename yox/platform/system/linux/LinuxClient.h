#pragma once

#include "yox/platform/files/Files.h"
#include "yox/platform/registry/Registry.h"
#include "yox/platform/system/Client.h"

namespace yox::platform {

// Programs carry no version here. That of the client's service is the first line of the file
// "yoxd.version", which its package installs among the product's files; without it the service has
// the version of this library. No other program has one.
class LinuxClient final : public Client {
 public:
  // Both must outlive the object.
  LinuxClient(const Files& files, Registry& registry) : files_(files), registry_(registry) {}

  WString FileVersion(const WString& path) override;
  bool AnonymousMetrics() override;

 private:
  const Files& files_;
  Registry& registry_;
};

}  // namespace yox::platform
