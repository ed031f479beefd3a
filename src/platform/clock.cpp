// The clock of the system.
#include "platform/clock.h"

#include <time.h>

namespace qrt::platform {

LocalTime localTime() {
  timespec now{};
  tm local{};
  tzset();
  const bool isKnown =
      clock_gettime(CLOCK_REALTIME, &now) == 0 && localtime_r(&now.tv_sec, &local) != nullptr;
  return {.year = local.tm_year + 1900,
          .month = local.tm_mon + 1,
          .day = local.tm_mday,
          .hour = local.tm_hour,
          .minute = local.tm_min,
          .second = local.tm_sec,
          .millisecond = static_cast<int32_t>(now.tv_nsec / 1'000'000),
          .dayOfWeek = local.tm_wday,
          .dayOfYear = local.tm_yday + 1,
          .secondsEast = static_cast<int32_t>(local.tm_gmtoff),
          .isKnown = isKnown};
}

}  // namespace qrt::platform
