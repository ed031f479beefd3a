// Names of months and weekdays in the process's locale.
#pragma once

#include <langinfo.h>
#include <stdint.h>

namespace qrt::platform {

enum class CalendarName : uint8_t { shortMonth, month, shortWeekday, weekday };

// The name at `index`, 0 for January or Sunday. The text holds until the locale changes.
inline const char* calendarName(CalendarName kind, int32_t index) {
  constexpr nl_item first[] = {ABMON_1, MON_1, ABDAY_1, DAY_1};
  return nl_langinfo(first[static_cast<uint8_t>(kind)] + index);
}

}  // namespace qrt::platform
