#pragma once

namespace yox {

// A day of the Gregorian calendar, in whatever time zone its user says. A plain value; it may hold
// numbers that are no day.
struct LocalDate {
  int year = 1970;
  int month = 1;  // 1 to 12
  int day = 1;    // 1 to 31

  friend bool operator==(const LocalDate&, const LocalDate&) = default;
};

}  // namespace yox
