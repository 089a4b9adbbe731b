#include "yox/platform/files/linux/RootFiles.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <system_error>

namespace yox::platform {

std::optional<std::string> ReadRootFile(const std::filesystem::path& path, std::size_t limit,
                                        const std::function<bool(const struct stat&)>& accept) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (file < 0) return std::nullopt;
  std::optional<std::string> content;
  struct stat status {};
  if (fstat(file, &status) == 0 && S_ISREG(status.st_mode) && (!accept || accept(status))) {
    if (static_cast<std::uint64_t>(status.st_size) > limit) {
      lseek(file, -static_cast<off_t>(limit), SEEK_END);
    }
    content.emplace();
    char buffer[16384];
    while (content->size() < limit) {
      const ssize_t count = read(file, buffer, std::min(sizeof buffer, limit - content->size()));
      if (count < 0 && errno == EINTR) continue;
      if (count < 0) content.reset();
      if (count <= 0) break;
      content->append(buffer, static_cast<std::size_t>(count));
    }
  }
  close(file);
  return content;
}

std::string ReadRootLine(const std::filesystem::path& path) {
  constexpr std::size_t kLongestLine = 4096;
  constexpr char kWhiteSpace[] = " \t\r\n";
  std::string line = ReadRootFile(path, kLongestLine).value_or("");
  line.resize(std::min(line.find('\n'), line.size()));
  line.erase(line.find_last_not_of(kWhiteSpace) + 1);
  line.erase(0, line.find_first_not_of(kWhiteSpace));
  return line;
}

std::uint64_t ReadRootNumber(const std::filesystem::path& path) {
  return std::strtoull(ReadRootLine(path).c_str(), nullptr, 0);
}

std::string RootLinkName(const std::filesystem::path& path) {
  std::error_code no_link;
  return std::filesystem::read_symlink(path, no_link).filename().string();
}

}  // namespace yox::platform
