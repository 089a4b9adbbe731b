#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "yox/base/WString.h"
#include "yox/platform/devices/Accelerators.h"
#include "yox/platform/devices/DisplayAdapters.h"
#include "yox/platform/firmware/Firmware.h"
#include "yox/platform/registry/Registry.h"
#include "yox/platform/simulated/ClockSection.h"
#include "yox/platform/system/Locale.h"
#include "yox/platform/system/OperatingSystem.h"

namespace yox::platform {

// A device profile document (docs/device-profile.md) in memory: the facts of one device. Plain
// data. A default-constructed one is a device that has nothing.
struct DeviceProfile {
  using ClockSection = platform::ClockSection;

  struct ClientSection {
    WString version;
    bool anonymous_metrics = false;
  };

  struct FirmwareSection : FirmwareFacts {
    std::optional<std::vector<std::uint8_t>> smbios_table;  // instead of the facts
  };

  struct OsSection {
    WString product_name;
    WString edition_id;
    WString version;
    WString caption;
    bool s_mode = false;
    std::uint32_t architecture = 65535;
    std::uint32_t update_service_start_type = 0;
    std::vector<OperatingSystemUpdate> updates;
  };

  struct UserSection {
    WString sid;
    bool system_process = false;
  };

  struct Device {
    WString instance_id;
    std::vector<WString> hardware_ids;
  };

  struct Application {
    WString key;
    WString name;
    WString version;
  };

  enum class ServiceState : std::uint8_t { kStopped, kRunning, kPaused };

  struct JoinSection {
    bool domain = false;
    bool cloud_device = false;
  };

  struct OrganisationSection {
    WString realm;
    std::vector<WString> subscriptions;
  };

  struct DeveloperSection {
    WString device_model_override;
  };

  struct ConfigurationSection {
    WString machine_type;
    WString serial_number;
    WString bios_version;
    WString mtm;
    WString machine_model;
  };

  std::optional<ClockSection> clock;  // absent: this machine's
  ClientSection client;
  std::optional<FirmwareSection> firmware;  // absent: no firmware tables
  OsSection os;
  LocaleFacts region;
  UserSection user;
  std::map<WString, std::map<WString, RegistryValue>> registry;  // key path, value name
  std::vector<Device> devices;
  std::vector<Accelerator> accelerators;
  std::vector<DisplayAdapter> display_adapters;
  std::vector<Application> installed_apps;
  std::map<WString, WString> store_apps;     // name, version
  std::map<WString, ServiceState> services;  // by name
  JoinSection join;
  std::optional<OrganisationSection> organisation;  // absent: the device belongs to none
  DeveloperSection developer;
  ConfigurationSection configuration;
  std::optional<LocalDate> first_run_date;
};

}  // namespace yox::platform
