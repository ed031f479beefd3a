// The input side: sources, their blocks, and the entries made of them.
#pragma once

#include "sort/engine/work_state.h"

namespace qrt::sort {

// Sets up an input run over sources of the option record: its two I_bufs and, with an input exit, the exit's
// buffer. Nothing is opened yet, and there is no S_buf.
int32_t initInputRun(SortSession& session, InputRun& run, int32_t firstSource, int32_t sourceCount);

// Opens the run's first source ahead of the first read; a failure is told to the error callback.
int32_t openFirstSource(SortSession& session, InputRun& run);

// What a message calls the source that the run reads now: with an input exit "input".
const char* nameOfInput(const SortSession& session, const InputRun& run);

// Reads and stores entries in the run's S_buf until the input ends or the S_buf is full; the record that
// found no room stays in the input. `ended` tells whether the input is over.
int32_t qsxExtractRead(SortSession& session, InputRun& run, bool& ended);

// Closes what is open and gives the buffers of all input runs back, S_bufs included.
void freeInputRuns(SortSession& session);

}  // namespace qrt::sort
