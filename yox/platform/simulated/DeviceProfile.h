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

  // The client on the device: its version, and whether the user allows anonymous data.
  struct ClientSection {
    WString version;
    bool anonymous_metrics = false;
  };

  // The firmware: its facts, or the raw table from which they are read.
  struct FirmwareSection : FirmwareFacts {
    std::optional<std::vector<std::uint8_t>> smbios_table;  // instead of the facts
  };

  // The operating system, as OperatingSystem.h describes each text and number.
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

  // The user who is logged on, and whether the client runs as the system's own account.
  struct UserSection {
    WString sid;
    bool system_process = false;
  };

  // A present device of the device tree.
  struct Device {
    WString instance_id;
    std::vector<WString> hardware_ids;
  };

  // An installed application; `key` is unique in its source.
  struct Application {
    WString key;
    WString name;
    WString version;
  };

  enum class ServiceState : std::uint8_t { kStopped, kRunning, kPaused };

  // The directories of an organisation that the device has joined.
  struct JoinSection {
    bool domain = false;
    bool cloud_device = false;
  };

  // The organisation that manages the device.
  struct OrganisationSection {
    WString realm;
    std::vector<WString> subscriptions;
  };

  // What a developer overrides by registry values.
  struct DeveloperSection {
    WString device_model_override;
  };

  // What the configuration file of the client overrides, and the device's own texts in it.
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
