#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "yox/base/WString.h"

// Small files of the system, below a root directory that a captured tree can replace.
namespace yox::platform {

// The whole of a regular file of at most `limit` bytes, of a longer one the last `limit`; nothing
// when it cannot be read. Works for the files of proc and sysfs, which tell no size. Never blocks.
std::optional<std::string> ReadRootFile(const std::filesystem::path& path,
                                        std::size_t limit = std::size_t{1} << 20);

// The first line of a file, most of which in sysfs have one, without white space at its ends; empty
// when it cannot be read.
std::string ReadRootLine(const std::filesystem::path& path);

// The number that a line holds ("0x8086", "17"); 0 when it holds none.
std::uint64_t ReadRootNumber(const std::filesystem::path& path);

// The last component of what a symbolic link points to; empty when it is none.
std::string RootLinkName(const std::filesystem::path& path);

}  // namespace yox::platform
