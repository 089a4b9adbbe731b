#include "yox/device/CacheFile.h"

#include <algorithm>

#include "yox/clientbase/FileSystem.h"
#include "yox/clientbase/Paths.h"
#include "yox/platform/files/PathText.h"

namespace yox::device {

using yox::WString;

WString CachePath(yox::WStringView name) {
  WString path;
  YOX::utility::GetYoxAppDataRootPath(path);
  path += platform::NativePath(kSharedFolder);
  return path += platform::NativePath(name);
}

std::optional<std::string> ReadCacheFile(const WString& path) {
  std::ifstream file =
      FileSystem::OpenToRead(path, std::ios::in | std::ios::binary | std::ios::ate);
  if (!file.good()) return std::nullopt;
  std::string text(static_cast<std::size_t>(file.tellg()), '\0');
  file.seekg(0);
  file.read(text.data(), static_cast<std::streamsize>(text.size()));
  text.resize(std::min(text.size(), text.find('\0')));
  return text;
}

bool WriteCacheFile(const WString& path, const std::function<std::string()>& text) {
  return FileSystem::WriteInPlace(path, text);
}

}  // namespace yox::device
