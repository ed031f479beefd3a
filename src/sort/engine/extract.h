// From a block of input to stored entries.
#pragma once

#include "sort/engine/work_state.h"

namespace qrt::sort {

// Scanner, keys, conditions and reformat of a run; 0 or a run's code.
int32_t InitExtract(SortSession& session);

struct Extracted {
  enum : uint8_t { needsMore, isFull, hasEnded } state;
  int32_t failure = 0;
};

// Takes records from the run's block into its S_buf, or for copy into the output block, until the block has
// no whole record any more, the S_buf is full, or no more is wanted (stopaft). The run's cursor follows.
Extracted Extract(SortSession& session, InputRun& run);

}  // namespace qrt::sort
