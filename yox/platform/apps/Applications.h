#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "yox/base/WString.h"

namespace yox::platform {

// What an application's entry says of it. A text that the entry does not have is empty.
struct InstalledApplication {
  WString name;
  WString publisher;
  WString version;

  friend bool operator==(const InstalledApplication&, const InstalledApplication&) = default;
};

// Where an application is registered. Outside Windows everything belongs to the machine.
enum class ApplicationSource : std::uint8_t {
  kMachine,
  kUser,       // of the user who is logged on
  kMachine32,  // installed for the machine by a 32-bit installer
};
// If a key is in several sources, the first of them in this order counts.
inline constexpr ApplicationSource kApplicationSources[] = {
    ApplicationSource::kMachine, ApplicationSource::kUser, ApplicationSource::kMachine32};

// The programs that are installed on the device. Safe from any thread. Every call reads the device
// again; an entry that cannot be read is left out.
class Applications {
 public:
  // The key is unique in its source: a product code, or a package's name with its architecture.
  using ByKey = std::map<WString, InstalledApplication>;

  virtual ~Applications() = default;

  // Returns the applications of one source by their keys; empty if the source cannot be read.
  virtual ByKey Installed(ApplicationSource source) = 0;
  // Store applications: name to version, which is empty where the store records none.
  virtual std::map<WString, WString> Store() = 0;

  // A number that changes when `Installed` may return something else, and is cheap to get. Always 0
  // on Windows, where the registry's uninstall keys can be watched instead.
  virtual std::uint64_t Generation() = 0;

  // The package databases that this device has and `Installed` cannot read, each with the reason,
  // for people: "portage, /var/db/pkg: this format is not supported".
  virtual std::vector<WString> Unread() { return {}; }
};

}  // namespace yox::platform
