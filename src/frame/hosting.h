// What a host has registered with the library; the lifecycle stores it, the message writer calls it.
#pragma once

#include <stdint.h>

#include "qrtrlib.h"

namespace qrt::frame {

// Whether a transaction monitor or a container runs the current run unit.
inline bool hosted() {
  return _qrtIsTrax != 0;
}

// The tag under which messages reach a host.
inline constexpr char hostTag[] = "TCBL";

// Receives messages: flag 1 for one that ends the run, hostTag, the text and its length in bytes. Null for
// none.
extern int32_t (*messageCallback)(int32_t flag, const char* tag, const char* text, int32_t length);

// Called by an abnormal end in a container, just ahead of the end of the process. Null for none.
extern void (*abnormalEndCallback)();

}  // namespace qrt::frame
