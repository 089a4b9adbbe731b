#pragma once

#include <string>
#include <string_view>

#include "yox/base/String.h"

namespace yox_test {

inline std::string Utf8(yox::WStringView text) { return YOX::String::UTF16ToUTF8(text); }
inline yox::WString Wide(std::string_view text) { return YOX::String::UTF8ToUTF16(text); }

}  // namespace yox_test
