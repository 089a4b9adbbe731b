#pragma once

#include <cstdint>

#include "yox/base/Export.h"

namespace yox::platform {

class Accelerators;
class Applications;
class Client;
class Clock;
class DeviceTree;
class DisplayAdapters;
class Files;
class Firmware;
class JoinState;
class Locale;
class ManagementQueries;
class OperatingSystem;
class Registry;
class Services;
class Users;

// What the library needs of an operating system, one interface for each topic. Three classes
// implement all of them: for Linux, for Windows, and for a simulated device. Each interface has a
// header of its own, such as yox/platform/clock/Clock.h, which says from which threads it may be
// called. The references that a platform returns are the same at every call, and live as long as
// it.
class YOX_API Platform {
 public:
  virtual ~Platform() = default;

  virtual Clock& clock() = 0;                           // time, time zone, uptime
  virtual Files& files() = 0;                           // places of the library's own paths
  virtual Firmware& firmware() = 0;                     // SMBIOS facts
  virtual OperatingSystem& operating_system() = 0;      // names, version, updates
  virtual Locale& locale() = 0;                         // country and language
  virtual Users& users() = 0;                           // who is logged on
  virtual Applications& applications() = 0;             // installed programs
  virtual DisplayAdapters& display_adapters() = 0;      // graphics hardware
  virtual Accelerators& accelerators() = 0;             // NPUs
  virtual Services& services() = 0;                     // background services
  virtual JoinState& join_state() = 0;                  // domain or cloud directory
  virtual ManagementQueries& management_queries() = 0;  // WQL
  virtual Registry& registry() = 0;                     // registry keys and values
  virtual Client& client() = 0;                         // the client itself
  virtual DeviceTree& device_tree() = 0;                // present devices and their hardware IDs

  // The platform in use: this machine's, unless a ScopedPlatform has installed another. May be
  // called from any thread.
  static Platform& Get();
  // Changes whenever a platform is installed or removed. What remembers facts of the device beyond
  // a call compares it, because the facts may then be those of another device. Costs one load.
  static std::uint64_t Generation();
  // This machine's. Lives until the process ends.
  static Platform& Native();
};

// Installs a platform in place of this machine's for its lifetime. Installations nest. The object
// must be created before other threads use the platform, and outlive their use of it.
class YOX_API ScopedPlatform {
 public:
  explicit ScopedPlatform(Platform& platform);
  ~ScopedPlatform();
  ScopedPlatform(const ScopedPlatform&) = delete;
  ScopedPlatform& operator=(const ScopedPlatform&) = delete;

 private:
  Platform* former_;
};

}  // namespace yox::platform
