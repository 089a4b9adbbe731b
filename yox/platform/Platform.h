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

// One of each thing that an operating system knows. Three implementations: Linux, Windows, and a
// simulated device. Each interface is declared in a header of its own in the folder of its topic,
// such as yox/platform/clock/Clock.h.
class YOX_API Platform {
 public:
  virtual ~Platform() = default;

  virtual Clock& clock() = 0;
  virtual Files& files() = 0;
  virtual Firmware& firmware() = 0;
  virtual OperatingSystem& operating_system() = 0;
  virtual Locale& locale() = 0;
  virtual Users& users() = 0;
  virtual Applications& applications() = 0;
  virtual DisplayAdapters& display_adapters() = 0;
  virtual Accelerators& accelerators() = 0;
  virtual Services& services() = 0;
  virtual JoinState& join_state() = 0;
  virtual ManagementQueries& management_queries() = 0;
  virtual Registry& registry() = 0;
  virtual Client& client() = 0;
  virtual DeviceTree& device_tree() = 0;

  // The platform in use: the machine's own, unless another is installed.
  static Platform& Get();
  // Changes whenever a platform is installed or removed. What remembers facts of the device beyond
  // a call compares it, because the facts may then be those of another device. Costs one load.
  static std::uint64_t Generation();
  // The machine's own; lives until the process ends.
  static Platform& Native();
};

// Puts a platform in the place of the machine's own for its lifetime. Guards nest; install before
// other threads ask for the platform, and outlive their use of it.
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
