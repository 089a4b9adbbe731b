#pragma once

#include <cstdint>

#include "yox/base/LocalDate.h"

// The moments at which tests decide and lint.
namespace yox_test {

inline constexpr std::int64_t kMorning =
    1772361000;  // 2026-03-01T10:30:00Z, three days at once on earth
inline constexpr yox::LocalDate kToday{2026, 3, 1};

}  // namespace yox_test
