#pragma once

#include <optional>
#include <string>

#include "yox/base/WString.h"

// The files in which the room's records outlast a restart: one compact JSON object each, in the
// folder "\Shared" of the client's state.
namespace yox::device {

inline constexpr yox::WStringView kSharedFolder = YOX::operator""_wv<"\\Shared">();

// The folder's path with `name` behind it. Where the client has no place for its state, the path
// begins at the drive's root.
yox::WString CachePath(yox::WStringView name);

// The file's bytes up to the first zero; nothing when it cannot be opened.
std::optional<std::string> ReadCacheFile(const yox::WString& path);

// Replaces the file in place. False when it cannot be opened.
bool WriteCacheFile(const yox::WString& path, const std::string& text);

}  // namespace yox::device
