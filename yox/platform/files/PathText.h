#pragma once

#include <filesystem>

#include "yox/base/String.h"
#include "yox/base/WString.h"

namespace yox::platform {

// A path as a text of the library, and back; separators stay as they are.
inline WString ToText(const std::filesystem::path& path) {
#if defined(_WIN32)
  return path.native();
#else
  return String::UTF8ToUTF16(path.native());
#endif
}

inline std::filesystem::path ToPath(WStringView text) {
#if defined(_WIN32)
  return text;
#else
  return String::UTF16ToUTF8(text);
#endif
}

}  // namespace yox::platform
