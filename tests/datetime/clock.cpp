#include "datetime/clock.h"

#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

namespace {

bool stopped = false;
int64_t stoppedAt = 0;
bool conversionFails = false;

}  // namespace

namespace qrt::test {

StoppedClock::StoppedClock(int64_t seconds, const char* zone, bool converts) {
  setenv("TZ", zone, 1);
  stopped = true;
  stoppedAt = seconds;
  conversionFails = !converts;
}

StoppedClock::~StoppedClock() {
  unsetenv("TZ");
  stopped = conversionFails = false;
}

}  // namespace qrt::test

// These stand before the C library's own in every search for the names.
extern "C" {

int clock_gettime(clockid_t clock, timespec* now) noexcept {
  if (!stopped || clock != CLOCK_REALTIME) return static_cast<int>(syscall(SYS_clock_gettime64, clock, now));
  *now = {};
  now->tv_sec = stoppedAt;
  now->tv_nsec = 500'000'000;
  return 0;
}

tm* localtime_r(const time_t* seconds, tm* parts) noexcept {
  if (conversionFails) return nullptr;
  *parts = *localtime(seconds);
  return parts;
}

}  // extern "C"
