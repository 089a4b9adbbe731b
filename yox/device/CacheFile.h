#pragma once

#include <functional>
#include <optional>
#include <string>

#include "yox/base/WString.h"

// The files that keep this component's records over a restart: each one compact JSON object, in the
// folder "\Shared" of the client's state. Paths are UTF-16.
namespace yox::device {

inline constexpr yox::WStringView kSharedFolder = YOX::operator""_wv<"\\Shared">();
inline constexpr yox::WStringView kMachineFile = YOX::operator""_wv<
    "\\MachineInformationCached.json">();

// Returns the folder's path with `name` appended. If the client has no folder for its state, the
// path starts at the root of the drive.
yox::WString CachePath(yox::WStringView name);

// Returns the file's bytes up to the first zero byte; std::nullopt if it cannot be opened.
std::optional<std::string> ReadCacheFile(const yox::WString& path);

// Writes what `text` returns over the file in place. Returns false, and does not call `text`, if
// the file can neither be opened nor created. If writing fails, for example on a full disk, the
// file is removed, so that it is not believed at the next start.
bool WriteCacheFile(const yox::WString& path, const std::function<std::string()>& text);

}  // namespace yox::device
