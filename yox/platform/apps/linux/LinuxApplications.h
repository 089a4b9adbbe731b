#pragma once

#include <filesystem>
#include <string>

#include "yox/platform/apps/Applications.h"

namespace yox::platform {

// The packages of dpkg ("vim:amd64", called "vim"), rpm, pacman and apk ("vim-enhanced.x86_64"),
// all of the machine. rpm's databases other than SQLite's are read with rpm's own tool. Flatpaks of
// the system by their application IDs, and snaps by their names, are its store applications.
class LinuxApplications final : public Applications {
 public:
  // Reads below `root`. `rpm` is the absolute path of rpm's tool on this machine.
  explicit LinuxApplications(std::filesystem::path root = "/", std::string rpm = "/usr/bin/rpm")
      : root_(std::move(root)), rpm_(std::move(rpm)) {}

  ByKey Installed(ApplicationSource source) override;
  std::map<WString, WString> Store() override;
  // A hash of place, size and time of the databases' files.
  std::uint64_t Generation() override;
  std::vector<WString> Unread() override;

 private:
  const std::filesystem::path root_;
  const std::string rpm_;
};

}  // namespace yox::platform
