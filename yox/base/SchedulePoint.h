#pragma once

// YOX_SCHEDULE_POINT() marks a place where another thread may come in between: there is one at each
// lock and unlock of ThreadSafety.h, and at the steps of the lock-free structures. In a build with
// YOX_PERTURB_SCHEDULES, as the preset tsan defines it, a thread may yield or pause there;
// elsewhere the macro is empty.
#if defined(YOX_PERTURB_SCHEDULES)

#include <cstdint>

#include "yox/base/Export.h"

namespace yox::schedule {

// Yields, pauses for up to a tenth of a millisecond, or returns at once, as the seed says.
YOX_API void Point() noexcept;

// From now on the pauses of each thread follow from `seed` and from the thread's number; 0, as at
// first, ends them.
YOX_API void Perturb(std::uint64_t seed) noexcept;

// Gives the calling thread a number of its own. Other threads are numbered from 1000 on, in the
// order of their first point.
YOX_API void NumberThread(std::uint32_t number) noexcept;

}  // namespace yox::schedule

#define YOX_SCHEDULE_POINT() ::yox::schedule::Point()
#else
#define YOX_SCHEDULE_POINT() static_cast<void>(0)
#endif
