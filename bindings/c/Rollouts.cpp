// SPDX-License-Identifier: Apache-2.0
#include "yox/decision/RolloutForecast.h"
#include "yox/platform/Platform.h"
#include "yox/platform/clock/Clock.h"

#include "bindings/c/Handles.h"

using namespace yox::c;  // NOLINT: only C functions are defined here
using yox::decision::Calendar;
using yox::decision::RolloutForecast;

struct yox_rollout {
  RolloutForecast forecast;
};

yox_status yox_rollout_read(const char* function, yox_rollout** rollout) {
  return Guarded([&] {
    Required(rollout, "rollout");
    *rollout = new yox_rollout{RolloutForecast(
        Wide(function, "function"), Calendar::Of(yox::platform::Platform::Get().clock()))};
  });
}

yox_status yox_rollout_get(const yox_rollout* rollout, yox_rollout_info* info) {
  return Guarded([&] {
    const RolloutForecast& forecast = Required(rollout, "rollout").forecast;
    Write(info,
          {.size = 0,
           .days = forecast.days(),
           .by_organisation = forecast.by_organisation() ? 1 : 0,
           .has_known_growth = forecast.has_known_growth() ? 1 : 0},
          "info");
  });
}

yox_status yox_rollout_buckets_on(const yox_rollout* rollout, int64_t day, int32_t* buckets) {
  return Guarded(
      [&] { Required(buckets, "buckets") = Required(rollout, "rollout").forecast.BucketsOn(day); });
}

yox_status yox_rollout_date(const yox_rollout* rollout, int64_t day, yox_date* date) {
  return Guarded([&] {
    const RolloutForecast& forecast = Required(rollout, "rollout").forecast;
    if (day < 1) throw Failure(YOX_ARGUMENT, "day: expected 1 or more");
    const yox::LocalDate given = forecast.DateOf(day);
    Required(date, "date") = {given.year, given.month, given.day};
  });
}

yox_status yox_rollout_day_at(const yox_rollout* rollout, int64_t moment, int64_t* day) {
  return Guarded(
      [&] { Required(day, "day") = Required(rollout, "rollout").forecast.DayAt(moment); });
}

yox_status yox_rollout_first_day(const yox_rollout* rollout, const char* serial_number_or_realm,
                                 int32_t* day) {
  return Guarded([&] {
    const yox::WString name = Wide(serial_number_or_realm, "serial_number_or_realm");
    Required(day, "day") =
        Required(rollout, "rollout").forecast.FirstDayOf(RolloutForecast::BucketOf(name));
  });
}

void yox_rollout_free(yox_rollout* rollout) { delete rollout; }
