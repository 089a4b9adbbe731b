#pragma once

#include <filesystem>

#include "yox/platform/system/JoinState.h"
#include "yox/platform/system/linux/SystemBus.h"

namespace yox::platform {

// The device is joined to a domain if realmd has a configured realm, or if the configuration of
// SSSD or winbind, or the machine's Kerberos keytab, says so (DomainMembership.h). Root alone may
// read most of these files: for another account, "not joined" is only known from realmd. Linux has
// no counterpart to the join of a device to a cloud directory. Safe from any thread.
class LinuxJoinState final : public JoinState {
 public:
  // Reads files below `root`. The bus must outlive the object.
  explicit LinuxJoinState(SystemBus& bus, std::filesystem::path root = "/")
      : bus_(bus), root_(std::move(root)) {}

  JoinAnswer Domain() override;
  JoinAnswer Cloud() override { return {}; }

 private:
  SystemBus& bus_;
  const std::filesystem::path root_;
};

}  // namespace yox::platform
