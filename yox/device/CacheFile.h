#pragma once

#include <json/value.h>

#include <optional>
#include <string>

#include "yox/clientbase/WString.h"

// The files in which the room's records outlast a restart: one compact JSON object each, in the
// folder "\Shared" of the client's state.
namespace yox_device {

inline constexpr YOX::WStringView kSharedFolder = YOX::operator""_wv<"\\Shared">();

// The folder's path with `name` behind it. Where the client has no place for its state, the path
// begins at the drive's root.
YOX::WString CachePath(YOX::WStringView name);

// The file's bytes up to the first zero; nothing when it cannot be opened.
std::optional<std::string> ReadCacheFile(const YOX::WString& path);

// Replaces the file in place. False when it cannot be opened.
bool WriteCacheFile(const YOX::WString& path, const std::string& text);

// Compact, without line breaks.
std::string WriteCompact(const Json::Value& root);
// False, and `root` unchanged, when the text is no JSON document.
bool ReadDocument(const std::string& text, Json::Value& root);

}  // namespace yox_device
