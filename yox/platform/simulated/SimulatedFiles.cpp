#include "yox/platform/simulated/SimulatedFiles.h"

#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <system_error>
#include <utility>

#include "yox/platform/Platform.h"
#include "yox/platform/files/Files.h"
#include "yox/platform/files/PathText.h"

namespace yox::platform {

namespace fs = std::filesystem;

SimulatedFiles::SimulatedFiles(fs::path folder)
    : temporary_(false), folder_(fs::absolute(folder)) {}

SimulatedFiles::~SimulatedFiles() {
  const MutexLock lock(mutex_);
  std::error_code ignored;
  if (temporary_ && !folder_.empty()) fs::remove_all(folder_, ignored);
}

fs::path SimulatedFiles::folder() const {
  const MutexLock lock(mutex_);
  std::random_device random;
  while (folder_.empty()) {
    const fs::path folder = fs::temp_directory_path() / ("yox-device-" + std::to_string(random()));
    if (!fs::create_directory(folder)) continue;
    fs::permissions(folder, fs::perms::owner_all);
    folder_ = folder;
  }
  return folder_;
}

WString SimulatedFiles::CommonApplicationDataPath() const {
  return ToText(folder() / "ProgramData");
}

std::optional<WString> SimulatedFiles::ApplicationDataRoot() const {
  {
    const MutexLock lock(mutex_);
    if (!has_state_folder_) return std::nullopt;
  }
  return ToText(folder() / "State");
}

WString SimulatedFiles::SystemDirectory() const { return ToText(folder() / "System"); }

WString SimulatedFiles::ProductDirectory() const { return ToText(folder() / "Product"); }

fs::path SimulatedFiles::Locate(WStringView path) const {
  constexpr WStringView kDrive = "C:\\"_wv;
  const bool in_root = String::StartsWith(path, kDrive) &&
                       path.find_first_of("\\/"_wv, kDrive.size()) == WStringView::npos;
  // A longer path that starts so may be one of this machine, if it is a Windows one.
  if (in_root) return folder() / "Root" / ToPath(path.substr(kDrive.size()));
  return ToPath(path);
}

bool SimulatedFiles::CreatePrivate(const fs::path& file) {
  return Platform::Native().files().CreatePrivate(file);
}

bool SimulatedFiles::Grant(const fs::path& file, std::span<const AccessGrant> grants,
                           bool replace) {
  {
    const MutexLock lock(mutex_);
    grants_.push_back({file, {grants.begin(), grants.end()}, replace});
  }
  return Platform::Native().files().Grant(file, grants, replace);
}

std::optional<std::string> SimulatedFiles::ReadTrusted(const fs::path& file, std::size_t limit) {
  std::error_code error;
  if (!fs::is_regular_file(file, error) || fs::file_size(file, error) > limit) return std::nullopt;
  std::ifstream stream(file, std::ios::binary);
  if (!stream) return std::nullopt;
  return std::string(std::istreambuf_iterator<char>(stream), {});
}

std::vector<SimulatedFiles::Granted> SimulatedFiles::Grants() const {
  const MutexLock lock(mutex_);
  return grants_;
}

void SimulatedFiles::SetStateFolder(bool exists) {
  const MutexLock lock(mutex_);
  has_state_folder_ = exists;
}

}  // namespace yox::platform
