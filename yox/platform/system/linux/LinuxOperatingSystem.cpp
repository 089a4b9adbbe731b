#include "yox/platform/system/linux/LinuxOperatingSystem.h"

#include <sys/stat.h>
#include <sys/utsname.h>

#include <string>
#include <system_error>

#include "yox/base/String.h"
#include "yox/platform/apps/linux/InstalledPackages.h"
#include "yox/platform/clock/linux/LinuxClock.h"
#include "yox/platform/files/linux/RootFiles.h"
#include "yox/platform/system/linux/Assignments.h"
#include "yox/platform/system/linux/PackageHistory.h"

namespace yox::platform {
namespace {

struct Machine {
  std::string_view name;  // as uname has it
  std::uint32_t architecture;
};
constexpr Machine kMachines[] = {
    {"x86_64", 9}, {"aarch64", 12}, {"i386", 0},   {"i486", 0},        {"i586", 0}, {"i686", 0},
    {"armv6l", 5}, {"armv7l", 5},   {"armv8l", 5}, {"aarch64_be", 12}, {"ia64", 6},
};
constexpr std::uint32_t kUnknownArchitecture = 65535;

constexpr const char* kUpgradeTimers[] = {
    "apt-daily-upgrade.timer", "dnf-automatic-install.timer", "dnf-automatic.timer",
    "dnf5-automatic.timer",    "transactional-update.timer",
};
constexpr const char* kUnitFolders[] = {"usr/lib/systemd/system", "lib/systemd/system",
                                        "etc/systemd/system"};

struct History {
  const char* log;
  std::vector<OperatingSystemUpdate> (*read)(std::string_view);
};
constexpr History kHistories[] = {
    {"var/log/apt/history.log", ReadAptHistory},
    {"var/log/dnf.rpm.log", ReadDnfHistory},
    {"var/log/zypp/history", ReadZypperHistory},
    {"var/log/pacman.log", ReadPacmanHistory},
};

// "22.04.5" of "22.04.5 LTS (Jammy Jellyfish)".
std::string LeadingNumber(std::string_view text) {
  text = text.substr(0, text.find_first_not_of("0123456789."));
  return std::string(text.substr(0, text.find_last_not_of('.') + 1));
}

}  // namespace

std::string LinuxOperatingSystem::Release(std::string_view name) const {
  for (const char* const file : {"etc/os-release", "usr/lib/os-release"}) {
    const auto text = ReadRootFile(root_ / file);
    if (!text) continue;
    auto values = ReadAssignments(*text);
    const auto value = values.find(name);
    return value != values.end() ? std::move(value->second) : std::string();
  }
  return {};
}

WString LinuxOperatingSystem::ProductName() { return String::UTF8ToUTF16(Release("NAME")); }

WString LinuxOperatingSystem::EditionId() { return String::UTF8ToUTF16(Release("VARIANT_ID")); }

WString LinuxOperatingSystem::Version() {
  std::string version = Release("VERSION_ID");
  if (version.empty() && Release("ID") == "debian") version = VersionOfBaseFiles();
  if (version.empty()) version = LeadingNumber(ReadRootLine(root_ / "proc/sys/kernel/osrelease"));
  if (version.empty()) return {};
  // "22.04" of VERSION_ID is "22.04.5 LTS (Jammy Jellyfish)" in VERSION; Debian's "12" is "12.8" in
  // a file of its own.
  for (const std::string& longer :
       {LeadingNumber(Release("VERSION")), ReadRootLine(root_ / "etc/debian_version")}) {
    if (longer.starts_with(version + ".")) return String::UTF8ToUTF16(longer);
  }
  if (version.find('.') == std::string::npos) version += ".0";
  return String::UTF8ToUTF16(version);
}

// Debian's testing and unstable have no version in os-release. The package base-files, which every
// system has, is numbered after the release that they will become.
std::string LinuxOperatingSystem::VersionOfBaseFiles() const {
  constexpr std::size_t kMostStatus = std::size_t{1} << 28;
  const auto status = ReadRootFile(root_ / "var/lib/dpkg/status", kMostStatus);
  for (const InstalledPackage& package : ReadDpkgStatus(status.value_or(""))) {
    if (package.name == "base-files") return LeadingNumber(package.version);
  }
  return {};
}

WString LinuxOperatingSystem::Caption() { return String::UTF8ToUTF16(Release("PRETTY_NAME")); }

std::uint32_t LinuxOperatingSystem::Architecture() {
  std::string name = ReadRootLine(root_ / "proc/sys/kernel/arch");
  utsname system{};
  if (name.empty() && root_ == "/" && uname(&system) == 0) name = system.machine;
  for (const Machine& machine : kMachines) {
    if (machine.name == name) return machine.architecture;
  }
  return kUnknownArchitecture;
}

std::uint32_t LinuxOperatingSystem::UpdateServiceStartType() {
  constexpr std::uint32_t kNone = 0, kAutomatic = 2, kManual = 3, kDisabled = 4;
  const std::filesystem::path configuration = root_ / "etc/systemd/system";
  std::uint32_t found = kNone;
  for (const char* const timer : kUpgradeTimers) {
    std::error_code error;
    if (RootLinkName(configuration / timer) == "null") {
      if (found == kNone) found = kDisabled;
    } else if (std::filesystem::is_symlink(configuration / "timers.target.wants" / timer, error)) {
      return kAutomatic;
    } else {
      for (const char* const folder : kUnitFolders) {
        if (std::filesystem::exists(root_ / folder / timer, error)) found = kManual;
      }
    }
  }
  return found;
}

std::vector<OperatingSystemUpdate> LinuxOperatingSystem::UpdateHistory() {
  for (const History& history : kHistories) {
    const auto log = ReadRootFile(root_ / history.log);
    if (!log) continue;
    std::vector<OperatingSystemUpdate> updates = history.read(*log);
    const WString name = ProductName();
    for (OperatingSystemUpdate& update : updates) update.categories = {name};
    return updates;
  }
  return {};
}

std::optional<LocalDate> LinuxOperatingSystem::FirstRunDate() {
  struct stat status {};
  // An image that has not been started yet carries an empty machine-id.
  const bool known =
      (stat((root_ / "etc/machine-id").c_str(), &status) == 0 && status.st_size > 0) ||
      stat((root_ / "lost+found").c_str(), &status) == 0;
  if (!known) return std::nullopt;
  return LinuxClock().ToLocalDate(status.st_mtim.tv_sec);
}

}  // namespace yox::platform
