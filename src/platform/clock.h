// The clock of the system.
#pragma once

#include <stdint.h>

namespace qrt::platform {

struct LocalTime {
  int32_t year;   // all digits
  int32_t month;  // 1 to 12
  int32_t day;    // 1 to 31
  int32_t hour;
  int32_t minute;
  int32_t second;  // 60 in a leap second
  int32_t millisecond;
  int32_t dayOfWeek;    // 0 for Sunday
  int32_t dayOfYear;    // 1 to 366
  int32_t secondsEast;  // of Greenwich, daylight saving included
  bool isKnown;         // false where the system can't tell; the other fields are then those of a zero tm
};

// Now, in the time zone of TZ or else of the system.
LocalTime localTime();

}  // namespace qrt::platform
