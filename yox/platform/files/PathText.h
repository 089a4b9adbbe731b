#pragma once

#include <filesystem>

#include "yox/base/String.h"
#include "yox/base/WString.h"

namespace yox::platform {

// A path of this system as UTF-16, and back. Separators and all other characters stay as they are:
// outside Windows "\\" is a letter of a file's name.
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

// A path that the library's own code names, which is written with backslashes ("\\Shared"), with
// the separators of this system.
inline WString NativePath(WStringView path) {
#if defined(_WIN32)
  return WString(path);
#else
  return String::Replace(path, "\\"_wv, "/"_w);
#endif
}

}  // namespace yox::platform
