// From input to sorted runs: the steps of a sort.
#pragma once

#include "sort/engine/work_state.h"

namespace qrt::sort {

// The input side of sort, copy and check.
int32_t InitSingleInputRun(SortSession& session);

// Reads all input and stores sorted runs; input that fits into the S_buf stays there.
int32_t SortInput(SortSession& session);

// Writes what `SortInput` left to the output.
int32_t SortOutput(SortSession& session);

// Ends the writer, so that all runs are complete, and frees the input side.
int32_t qsxTermInputPhase(SortSession& session);

}  // namespace qrt::sort
