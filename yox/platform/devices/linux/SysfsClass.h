#pragma once

#include <filesystem>
#include <optional>
#include <string_view>
#include <vector>

namespace yox::platform {

// The folders of a sysfs class that are named by the prefix and a number ("card0", not
// "card0-eDP-1"), by ascending number; empty if the class does not exist.
std::optional<std::vector<std::filesystem::path>> SysfsClass(const std::filesystem::path& folder,
                                                             std::string_view prefix);

}  // namespace yox::platform
