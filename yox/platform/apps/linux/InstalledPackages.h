#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What package managers and stores write down of what they have installed. Pure; what cannot be
// read is passed over.
namespace yox::platform {

struct InstalledPackage {
  std::string name;
  std::string architecture;
  std::string publisher;
  // As its maker counts, without what a distribution puts around it: "9.0.1378" of dpkg's
  // "2:9.0.1378-2+deb12u2".
  std::string version;

  friend bool operator==(const InstalledPackage&, const InstalledPackage&) = default;
};

// dpkg's file "status"; packages of which only the configuration is left are not installed.
std::vector<InstalledPackage> ReadDpkgStatus(std::string_view status);

// One header of rpm's database. Nothing for what is none, and for keys, which rpm keeps among its
// packages.
std::optional<InstalledPackage> ReadRpmHeader(std::string_view header);

// The file "snap.yaml" of a snap: its name and version alone.
std::optional<InstalledPackage> ReadSnapYaml(std::string_view yaml);

// The version of the newest release that an application's metainfo document tells, which is the
// first; empty when it tells none.
std::string ReadMetainfoVersion(std::string_view xml);

}  // namespace yox::platform
