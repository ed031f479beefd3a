// The output side: where entries go at the end of a merge, or straight from an S_buf.
#pragma once

#include "sort/engine/work_state.h"

namespace qrt::sort {

// Opens the output, chooses restore and block writer, and gives the first range. With index rows the output
// is a new intermediate run of that file number (see runs.h); with 0 it is the final one.
int32_t qsxInitOutput(SortSession& session, int32_t indexRows, int32_t fileNumber, OutputRange& output);

// Closes the output and frees its buffers. Without success what was collected is dropped.
int32_t closeOutput(SortSession& session, bool succeeded);

}  // namespace qrt::sort
