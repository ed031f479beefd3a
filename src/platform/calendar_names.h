// Names of months and weekdays in the process's locale.
#pragma once

#include <stdint.h>

namespace qrt::platform {

enum class CalendarName : uint8_t { shortMonth, month, shortWeekday, weekday };

// The name at `index`, 0 for January or Sunday. The text holds until the locale changes.
const char* calendarName(CalendarName kind, int32_t index);

}  // namespace qrt::platform
