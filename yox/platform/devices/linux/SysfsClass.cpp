#include "yox/platform/devices/linux/SysfsClass.h"

#include <charconv>
#include <map>
#include <string>
#include <system_error>

namespace yox::platform {

std::optional<std::vector<std::filesystem::path>> SysfsClass(const std::filesystem::path& folder,
                                                             std::string_view prefix) {
  std::error_code error;
  std::filesystem::directory_iterator entry(folder, error);
  if (error) return std::nullopt;
  std::map<unsigned, std::filesystem::path> numbered;
  while (entry != std::filesystem::directory_iterator()) {
    const std::string name = entry->path().filename().string();
    unsigned number = 0;
    const char* const end = name.data() + name.size();
    if (name.starts_with(prefix)) {
      const auto read = std::from_chars(name.data() + prefix.size(), end, number);
      if (read.ec == std::errc() && read.ptr == end) numbered.emplace(number, entry->path());
    }
    if (entry.increment(error); error) break;
  }
  std::vector<std::filesystem::path> paths;
  for (auto& [number, path] : numbered) paths.push_back(std::move(path));
  return paths;
}

}  // namespace yox::platform
