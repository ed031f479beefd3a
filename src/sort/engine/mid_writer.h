// The worker that writes runs to intermediate files while the main thread fills and sorts the next S_buf.
#pragma once

#include "sort/engine/work_state.h"

namespace qrt::sort {

// Allocates the two writer buffers, unless they are there.
int32_t allocateWriterBuffers(SortSession& session);

// Starts the writer with the current run count as its first file number.
int32_t ForkMidWriter(SortSession& session);

// Waits for the next of the two writer buffers to be free; the failure of the writer, if there was one.
int32_t nextWriterBuffer(SortSession& session, uint8_t*& buffer);

// Has the writer write a buffer that `nextWriterBuffer` gave.
void writeBuffer(SortSession& session, uint32_t bytes);

// Ends the writer and waits for it; its failure, if there was one that nobody has seen.
int32_t endMidWriter(SortSession& session);

}  // namespace qrt::sort
