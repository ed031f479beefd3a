// Names of months and weekdays in the process's locale.
#include "platform/calendar_names.h"

#include <langinfo.h>

namespace qrt::platform {

const char* calendarName(CalendarName kind, int32_t index) {
  static constexpr nl_item first[] = {ABMON_1, MON_1, ABDAY_1, DAY_1};
  return nl_langinfo(first[static_cast<uint8_t>(kind)] + index);
}

}  // namespace qrt::platform
