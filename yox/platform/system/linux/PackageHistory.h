#pragma once

#include <string_view>
#include <vector>

#include "yox/platform/system/OperatingSystem.h"

// What package managers write down of their upgrades, newest first and without categories. Pure;
// what cannot be read is passed over.
namespace yox::platform {

// APT's history.log: the title is the command line, the description the upgraded packages.
std::vector<OperatingSystemUpdate> ReadAptHistory(std::string_view log);

// dnf.rpm.log: the upgraded packages of one run, under the title "dnf".
std::vector<OperatingSystemUpdate> ReadDnfHistory(std::string_view log);

// zypp/history, which does not tell an upgrade from an installation: the packages that the update
// commands of zypper installed, the title being the command line.
std::vector<OperatingSystemUpdate> ReadZypperHistory(std::string_view log);

// pacman.log: a transaction's upgraded packages, under the title "pacman".
std::vector<OperatingSystemUpdate> ReadPacmanHistory(std::string_view log);

}  // namespace yox::platform
