#include "host/yoxd/StateFolder.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

#include "host/yoxd/HostSystem.h"
#include "host/yoxd/Journal.h"

namespace yoxd {

namespace fs = std::filesystem;

StateFolder::StateFolder(const fs::path& root) : path_(root / "yoxd") {
  std::error_code ignored;
  if (!fs::exists(root, ignored)) Create(root);
  Create(path_);
  Create(path_ / "content");
  if (const int error = Lock(path_ / "lock"); error != 0) {
    throw std::runtime_error(PathText(path_) + ": " +
                             (error == kInUse ? "another yoxd uses this folder"
                                              : std::system_category().message(error)));
  }
}

void StateFolder::Create(const fs::path& folder) {
  std::error_code ignored;
  fs::create_directories(folder.parent_path(), ignored);
  if (const int error = MakePrivate(folder); error != 0) {
    throw std::runtime_error(PathText(folder) +
                             ": cannot be created: " + std::system_category().message(error));
  }
}

std::optional<std::string> StateFolder::Read(const std::string& name, std::size_t most) const {
  const fs::path file = path_ / PathOf(name);
  std::error_code error;
  if (const auto size = fs::file_size(file, error); error || size > most) return std::nullopt;
  std::ifstream stream(file, std::ios::binary);
  if (!stream) return std::nullopt;
  return std::string{std::istreambuf_iterator<char>(stream), {}};
}

void StateFolder::Remove(const std::string& name) {
  std::error_code error;
  fs::remove(path_ / PathOf(name), error);
}

std::vector<std::string> StateFolder::List(const std::string& folder) const {
  std::vector<std::string> names;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(path_ / PathOf(folder), error)) {
    if (entry.is_regular_file(error)) names.push_back(PathText(entry.path().filename()));
  }
  std::ranges::sort(names);
  return names;
}

bool StateFolder::Failed(const fs::path& file, int error) {
  ++failures_;
  Journal::Error("state",
                 PathText(file) + ": cannot be written: " + std::system_category().message(error));
  return false;
}

}  // namespace yoxd
