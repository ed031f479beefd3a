// The program list entry (PLLE): one record for each program name that a run unit knows, found through the
// run unit's programTable. Records come from chunks that are freed all at once.
#pragma once

#include "qrtrlib.h"

namespace qrt::program {

// Records of a chunk; behind them lies the tail that links the chunks.
inline constexpr int32_t recordsPerChunk = 128;

// A name up to this length lies in the record itself.
inline constexpr uint32_t longestInlineName = 30;

}  // namespace qrt::program
