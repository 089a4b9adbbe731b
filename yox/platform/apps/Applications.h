#pragma once

#include <cstdint>
#include <map>

#include "yox/base/WString.h"

namespace yox::platform {

struct InstalledApplication {
  WString name;
  WString publisher;
  WString version;

  friend bool operator==(const InstalledApplication&, const InstalledApplication&) = default;
};

// Where an application can be installed. Outside Windows everything belongs to the machine.
enum class ApplicationSource : std::uint8_t {
  kMachine,
  kUser,       // of the user who is logged on
  kMachine32,  // what 32-bit installers have installed for the machine
};
// In the order in which the first of one key counts.
inline constexpr ApplicationSource kApplicationSources[] = {
    ApplicationSource::kMachine, ApplicationSource::kUser, ApplicationSource::kMachine32};

// The programs that are installed on the device. All operations are safe from any thread, and ask
// afresh at every call; what cannot be read is left out.
class Applications {
 public:
  using ByKey = std::map<WString, InstalledApplication>;

  virtual ~Applications() = default;

  // By a key that is unique in its source: a product code, a package's name with its architecture.
  virtual ByKey Installed(ApplicationSource source) = 0;
  // Store applications: name to version, which is empty where the store tells none.
  virtual std::map<WString, WString> Store() = 0;

  // Another number once `Installed` may answer otherwise, cheap to ask for. Always 0 where the
  // registry's uninstall keys, which can be watched, tell that.
  virtual std::uint64_t Generation() = 0;
};

}  // namespace yox::platform
