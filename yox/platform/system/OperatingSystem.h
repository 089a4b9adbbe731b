#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "yox/base/WString.h"
#include "yox/platform/clock/Clock.h"

namespace yox::platform {

// One entry of the update history.
struct OperatingSystemUpdate {
  std::int32_t result_code = 0;  // 2 is success
  std::optional<WString> title;  // std::nullopt if it cannot be read
  WString description;
  // Their names; std::nullopt if they cannot be read, or if none of them has a name.
  std::optional<std::vector<WString>> categories = std::vector<WString>();
};

// The system that runs on the device; texts are empty where it does not say. Safe from any thread;
// the update history may take seconds.
class OperatingSystem {
 public:
  virtual ~OperatingSystem() = default;

  virtual WString ProductName() = 0;  // "Windows 11 Pro"
  virtual WString EditionId() = 0;    // "Professional"
  virtual WString Version() = 0;      // "10.0.22631.4460"
  virtual WString Caption() = 0;      // "Microsoft Windows 11 Pro"
  // Returns whether the system runs in S mode, which allows store applications only.
  virtual bool IsSMode() = 0;

  // The processor's architecture: 0 x86, 5 ARM, 6 IA-64, 9 x64, 12 ARM64; 65535 when unknown.
  virtual std::uint32_t Architecture() = 0;

  // 2 automatic, 3 manual, 4 disabled; 0 if there is no update service or it cannot be queried.
  virtual std::uint32_t UpdateServiceStartType() = 0;
  // Newest first.
  virtual std::vector<OperatingSystemUpdate> UpdateHistory() = 0;

  // Returns the day, in the device's time zone, on which the device was first used; std::nullopt if
  // the system does not know it.
  virtual std::optional<LocalDate> FirstRunDate() = 0;
};

}  // namespace yox::platform
