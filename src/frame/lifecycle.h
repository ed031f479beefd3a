// The life of the process and of its run units.
#pragma once

#include "qrtrlib.h"

namespace qrt::frame {

// Brings the process up with its first run unit unless it is up.
void bringProcessUp();

// What ends a run unit; the values show in trace lines.
enum class EndReason : int32_t { mainReturned = 0, cleanUp = 1, stopRun = 2, hostTerm = 3 };

// Takes the current run unit down, and the process with the last one. Comes back, unless a stop-run routine
// of the host takes over: that of the run unit, or in a container after STOP RUN the one of its depth with
// `code`.
void takeRunUnitDown(EndReason reason, int32_t code);

}  // namespace qrt::frame
