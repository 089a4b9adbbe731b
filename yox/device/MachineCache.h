#pragma once

#include <optional>

#include "yox/base/Export.h"
#include "yox/base/WString.h"

namespace yox::device {

// Returns the path of the machine record's cache file if the file can be read and is not a JSON
// object. The record believes such a file, as it does any other, and stays empty until it is
// refreshed. std::nullopt if the file is missing or usable.
YOX_API std::optional<WString> UnusableMachineCache();

}  // namespace yox::device
