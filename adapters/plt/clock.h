// Elapsed time, as coarse and as cheap as the system has it.
#pragma once

#include <stdint.h>

namespace qrt::plt {

// Milliseconds since some moment, in steps of the system's timer.
int64_t elapsedMilliseconds();

}  // namespace qrt::plt
