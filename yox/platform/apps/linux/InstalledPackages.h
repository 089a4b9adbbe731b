#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Readers of what package managers and application stores record about their packages. All are
// pure; entries that cannot be read are skipped.
namespace yox::platform {

struct InstalledPackage {
  std::string name;
  std::string architecture;
  std::string publisher;
  // The upstream version, without the epoch and revision that a distribution adds: "9.0.1378" for
  // dpkg's "2:9.0.1378-2+deb12u2".
  std::string version;

  friend bool operator==(const InstalledPackage&, const InstalledPackage&) = default;
};

// dpkg's file "status". A package of which only the configuration is left is not installed; one
// whose triggers have yet to run is.
std::vector<InstalledPackage> ReadDpkgStatus(std::string_view status);

// apk's file "installed".
std::vector<InstalledPackage> ReadApkInstalled(std::string_view installed);

// The file "desc" of one package of pacman. std::nullopt if it names no package.
std::optional<InstalledPackage> ReadPacmanDesc(std::string_view desc);

// One header of rpm's database. std::nullopt for anything else, and for the keys that rpm keeps
// among its packages.
std::optional<InstalledPackage> ReadRpmHeader(std::string_view header);

// Output of rpm's query tool under this format: a line for each package.
inline constexpr char kRpmQueryFormat[] = "%{NAME}\\t%{ARCH}\\t%{VENDOR}\\t%{VERSION}\\n";
std::vector<InstalledPackage> ReadRpmQuery(std::string_view output);

// The file "snap.yaml" of a snap: its name and version. std::nullopt without a name.
std::optional<InstalledPackage> ReadSnapYaml(std::string_view yaml);

// The version of the newest release in an application's metainfo document, which is the first one
// listed; empty if there is none.
std::string ReadMetainfoVersion(std::string_view xml);

}  // namespace yox::platform
