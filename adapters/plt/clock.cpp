// Elapsed time.
#include "clock.h"

#include <time.h>

namespace qrt::plt {

int64_t elapsedMilliseconds() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
  return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000;
}

}  // namespace qrt::plt
