#pragma once

namespace yox {

// A date of the Gregorian calendar, in the time zone that the function that returns or takes it
// names. A plain value. The numbers are not checked: 2026-02-31 can be stored.
struct LocalDate {
  int year = 1970;
  int month = 1;  // 1 to 12
  int day = 1;    // 1 to 31

  friend bool operator==(const LocalDate&, const LocalDate&) = default;
};

}  // namespace yox
