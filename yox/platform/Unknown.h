#pragma once

#include "yox/platform/Platform.h"
#include "yox/platform/apps/Applications.h"
#include "yox/platform/clock/Clock.h"
#include "yox/platform/devices/Accelerators.h"
#include "yox/platform/devices/DeviceTree.h"
#include "yox/platform/devices/DisplayAdapters.h"
#include "yox/platform/files/Files.h"
#include "yox/platform/firmware/Firmware.h"
#include "yox/platform/registry/Registry.h"
#include "yox/platform/system/Client.h"
#include "yox/platform/system/JoinState.h"
#include "yox/platform/system/Locale.h"
#include "yox/platform/system/ManagementQueries.h"
#include "yox/platform/system/OperatingSystem.h"
#include "yox/platform/system/Services.h"
#include "yox/platform/users/Users.h"

// What a system answers where it has no source of a kind.
namespace yox::platform {

class UnknownFirmware final : public Firmware {
 public:
  const FirmwareFacts* Facts() override { return nullptr; }
  void Reread() override {}
};

class UnknownOperatingSystem final : public OperatingSystem {
 public:
  WString ProductName() override { return {}; }
  WString EditionId() override { return {}; }
  WString Version() override { return {}; }
  WString Caption() override { return {}; }
  bool IsSMode() override { return false; }
  std::uint32_t Architecture() override { return 65535; }
  std::uint32_t UpdateServiceStartType() override { return 0; }
  std::vector<OperatingSystemUpdate> UpdateHistory() override { return {}; }
  std::optional<LocalDate> FirstRunDate() override { return std::nullopt; }
};

class UnknownLocale final : public Locale {
 public:
  LocaleFacts Facts() override { return {}; }
};

class UnknownUsers final : public Users {
 public:
  WString LoggedInUserSid() override { return {}; }
  bool IsSystemProcess() override { return false; }
};

class UnknownDisplayAdapters final : public DisplayAdapters {
 public:
  std::optional<std::vector<DisplayAdapter>> Enumerate() override { return std::nullopt; }
};

class UnknownAccelerators final : public Accelerators {
 public:
  std::optional<std::vector<Accelerator>> Enumerate() override { return std::nullopt; }
};

class UnknownServices final : public Services {
 public:
  bool IsRunning(WStringView) override { return false; }
};

class UnknownJoinState final : public JoinState {
 public:
  JoinAnswer Domain() override { return {}; }
  JoinAnswer Cloud() override { return {}; }
};

}  // namespace yox::platform
