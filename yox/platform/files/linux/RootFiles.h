#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "yox/base/WString.h"

struct stat;

// Reads the small files in which Linux keeps facts. Their callers build the paths below a root
// directory, which in tests is a captured tree.
namespace yox::platform {

// Reads a regular file: all of it, or of a file longer than `limit` bytes its last `limit`. Returns
// std::nullopt if it cannot be read, or if `accept` is given and returns false for the open file.
// Works for the files of proc and sysfs, whose size is 0. Never blocks.
std::optional<std::string> ReadRootFile(
    const std::filesystem::path& path, std::size_t limit = std::size_t{1} << 20,
    const std::function<bool(const struct stat& status)>& accept = {});

// The first line of a file without white space at its ends; empty if it cannot be read. Most files
// of sysfs have one line.
std::string ReadRootLine(const std::filesystem::path& path);

// The number at the start of the first line ("0x8086", "17"); 0 if there is none.
std::uint64_t ReadRootNumber(const std::filesystem::path& path);

// The last component of a symbolic link's target; empty if it is not a symbolic link.
std::string RootLinkName(const std::filesystem::path& path);

}  // namespace yox::platform
