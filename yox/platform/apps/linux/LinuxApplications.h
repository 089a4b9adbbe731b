#pragma once

#include <filesystem>

#include "yox/platform/apps/Applications.h"

namespace yox::platform {

// The packages of dpkg ("vim:amd64", called "vim") and rpm ("vim-enhanced.x86_64"; the database of
// today, in SQLite), all of the machine. Flatpaks of the system by their application IDs, and snaps
// by their names, are its store applications.
class LinuxApplications final : public Applications {
 public:
  explicit LinuxApplications(std::filesystem::path root = "/") : root_(std::move(root)) {}

  ByKey Installed(ApplicationSource source) override;
  std::map<WString, WString> Store() override;
  // Of the databases' files, by their times, sizes and places.
  std::uint64_t Generation() override;

 private:
  const std::filesystem::path root_;
};

}  // namespace yox::platform
