// Conditions, as the date services report them.
#pragma once

#include "qrtrlib.h"

namespace qrt::datetime {

constexpr QrtFeedback condition(uint16_t messageNumber, uint16_t severity) {
  return {.severity = severity,
          .messageNumber = messageNumber,
          .classByte = static_cast<uint8_t>(0x41 | severity << 3),
          .facility = {'D', 'T', 'S'},
          .instance = 0};
}

inline constexpr QrtFeedback outOfStorage = condition(813, 3);

}  // namespace qrt::datetime
