// What a host has registered with the library; the lifecycle stores it, the message writer calls it.
#pragma once

#include <stdint.h>

#include "qrtrlib.h"

namespace qrt::frame {

// Whether a transaction monitor or a container runs the current run unit.
inline bool hosted() {
  return _qrtIsTrax != 0;
}

// The container level from which on each run unit of the host is a hosted one of its own.
inline constexpr int32_t levelOfNestedRunUnits = 2;

// The tag under which messages reach a host.
inline constexpr char hostTag[] = "TCBL";

// What a host wants called for messages, and for an abnormal end in a container. Null for none.
extern QrtMessageCallback messageCallback;
extern QrtAbnormalEndCallback abnormalEndCallback;

}  // namespace qrt::frame
