// A clock that stands where a test puts it, and a time zone, for the library and the C library.
#pragma once

namespace qrt::test {

// While this object lives, it is `seconds` and half a second past 1970 in Greenwich, in the zone of a TZ
// text. Without `converts`, the break-down into local time fails.
class StoppedClock {
 public:
  StoppedClock(int64_t seconds, const char* zone, bool converts = true);
  ~StoppedClock();
  StoppedClock(const StoppedClock&) = delete;
  StoppedClock& operator=(const StoppedClock&) = delete;
};

}  // namespace qrt::test
