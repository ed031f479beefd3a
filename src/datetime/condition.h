// Conditions, as the date services report them.
#pragma once

#include "qrtrlib.h"

namespace qrt::datetime {

// The messages of the conditions.
enum class Condition : uint16_t {
  success = 0,
  noStorage = 813,
  offsetUnknown = 2502,
  clockUnknown = 2503,
  secondsOutOfRange = 2505,
  secondsWithoutEra = 2506,
  noFullDate = 2507,
  badDayOfText = 2508,
  badEra = 2509,
  badHours = 2510,
  badDay = 2511,
  dayOutOfRange = 2512,
  outsideCalendar = 2513,
  badYear = 2514,
  badMilliseconds = 2515,
  badMinutes = 2516,
  badMonth = 2517,
  badPicture = 2518,
  badSeconds = 2519,
  shortDateText = 2520,
  badEraYear = 2521,
  dayWithoutEra = 2522,
  shortTimeText = 2525,
  dateCut = 2526,
  timeCut = 2527,
  localTimeUnknown = 2531,
  badWindow = 2533,
};

constexpr QrtFeedback feedbackOf(Condition condition) {
  if (condition == Condition::success) return {};
  const bool isWarning = condition == Condition::dateCut || condition == Condition::timeCut;
  const uint16_t severity = isWarning ? 2 : 3;
  return {.severity = severity,
          .messageNumber = static_cast<uint16_t>(condition),
          .classByte = static_cast<uint8_t>(0x41 | severity << 3),
          .facility = {'D', 'T', 'S'},
          .instance = 0};
}

inline constexpr QrtFeedback outOfStorage = feedbackOf(Condition::noStorage);

}  // namespace qrt::datetime
