#pragma once

#include <cstdint>
#include <string_view>

#include "yox/base/Export.h"

namespace yox {

// Seconds since 1970 of a date and time of the form "2026-03-01T12:00:00+01:00". The offset is
// "Z", "+HH:MM" or "-HH:MM"; a blank may separate date and time, seconds may be left out, and a
// fraction of a second is ignored. Throws DocumentError for any other text, and for a day or a time
// that does not exist.
YOX_API std::int64_t ReadMoment(std::string_view text);

}  // namespace yox
