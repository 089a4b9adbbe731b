#include "yox/platform/files/linux/LinuxFiles.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <system_error>
#include <utility>

#include "yox/base/Log.h"
#include "yox/base/String.h"
#include "yox/platform/files/PathText.h"
#include "yox/platform/files/linux/FileDescriptor.h"
#include "yox/platform/files/linux/PrivateFolder.h"
#include "yox/platform/files/linux/RootFiles.h"

namespace yox::platform {
namespace {

namespace fs = std::filesystem;

// The path of this library, found by the address of one of its own objects.
fs::path LibraryFolder() {
  static const char mark = 0;
  Dl_info info{};
  if (dladdr(&mark, &info) == 0 || info.dli_fname == nullptr) return {};
  std::error_code error;
  const fs::path file = fs::canonical(info.dli_fname, error);
  return file.parent_path();
}

// An absolute folder that a variable of the environment names.
std::optional<fs::path> Named(const char* variable) {
  const char* const value = std::getenv(variable);
  if (value == nullptr || *value != '/') return std::nullopt;
  return fs::path(value);
}

}  // namespace

LinuxFiles::LinuxFiles(fs::path root) : root_(std::move(root)) {}

WString LinuxFiles::Below(const fs::path& folder) const {
  return ToText(root_ / folder.relative_path());
}

WString LinuxFiles::CommonApplicationDataPath() const { return Below("/var/lib"); }

std::optional<WString> LinuxFiles::ApplicationDataRoot() const {
  if (const char* const state = std::getenv("YOX_STATE_DIR"); state != nullptr && *state != '\0') {
    std::error_code error;
    return ToText(fs::absolute(state, error));
  }
  if (geteuid() == 0) return Below("/var/lib/yox");
  if (const auto state = Named("XDG_STATE_HOME")) return ToText(*state / "yox");
  if (const auto home = Named("HOME")) return ToText(*home / ".local/state/yox");
  return std::nullopt;
}

WString LinuxFiles::SystemDirectory() const { return Below(LibraryFolder()); }

WString LinuxFiles::ProductDirectory() const { return Below(YOX_PRODUCT_DIRECTORY); }

fs::path LinuxFiles::Locate(WStringView path) const {
  constexpr WStringView kDrive = "C:\\"_wv;
  if (!path.starts_with(kDrive)) return ToPath(path);
  return root_ / "etc/yox" / ToPath(NativePath(path.substr(kDrive.size())));
}

bool LinuxFiles::CreatePrivate(const fs::path& file) {
  try {
    return bool{PrivateFolder(file.parent_path()).CreateFile(file.filename().c_str())};
  } catch (const std::system_error&) {
    return false;
  }
}

std::optional<std::string> LinuxFiles::ReadTrusted(const fs::path& file, std::size_t limit) {
  // What is judged and what is read is the open file: its name may change hands in between.
  return ReadRootFile(file, limit, [&](const struct stat& status) {
    if (static_cast<std::uint64_t>(status.st_size) > limit) return false;
    const bool trusted = (status.st_uid == 0 || status.st_uid == geteuid()) &&
                         (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
    if (!trusted) {
      g_log.e("%s: ignored %s, which another account can write", "Files::ReadTrusted",
              file.string());
    }
    return trusted;
  });
}

bool LinuxFiles::Grant(const fs::path& file, std::span<const AccessGrant> grants, bool replace) {
  // Through the opened file: the name could lead elsewhere by the time the mode is changed.
  const FileDescriptor opened(
      open(file.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  struct stat status {};
  if (!opened || fstat(opened.number(), &status) != 0) return false;
  mode_t mode = replace ? 0 : status.st_mode & S_IRWXU;
  for (const AccessGrant& grant : grants) {
    if (grant.sid != kAdministratorsSid && grant.sid != kLocalSystemSid) return false;
    if (grant.read) mode |= S_IRUSR;
    if (grant.write) mode |= S_IWUSR;
  }
  if (S_ISDIR(status.st_mode) && (mode & S_IRUSR) != 0) mode |= S_IXUSR;
  return fchmod(opened.number(), mode) == 0;
}

}  // namespace yox::platform
