#include "host/yoxctl/MachineAtMoment.h"

#include "host/yoxctl/ChosenDevice.h"
#include "host/yoxctl/Output.h"

namespace yoxctl {
namespace {

// In the machine's time zone, unless the text has an offset.
std::int64_t MomentOf(const std::string& text) {
  const auto section = ClockAt(text);
  const yox::platform::LocalTime now = *section.now;
  if (now.utc_offset) return *section.Moment();
  const auto& clock = yox::platform::Platform::Native().clock();
  const auto start = clock.StartOfLocalDay(now.date.year, now.date.month, now.date.day);
  if (!start || *start < 0) throw Refusal("--now: " + NameOf(text) + " is before 1970");
  // A day on which clocks change is longer or shorter up to there.
  const std::int64_t moment = *start + now.second_of_day;
  return moment + clock.UtcOffset(*start) - clock.UtcOffset(moment);
}

}  // namespace

MachineAtMoment::MachineAtMoment(const std::string& now) : clock_(MomentOf(now)) {}

}  // namespace yoxctl
