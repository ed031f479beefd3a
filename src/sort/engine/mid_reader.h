// The worker that reads the next stretches of a merge's runs while the main thread merges the current ones.
#pragma once

#include "sort/engine/work_state.h"

namespace qrt::sort {

// Gives the runs that lie in files two read buffers of Y bytes each, opens them and asks for their first
// stretches; then starts the reader. Runs that are held in memory only get their cursors reset.
int32_t ForkMidReader(SortSession& session, int32_t firstRun, int32_t runCount);

// Bytes of the stretch that starts at a block: as many blocks as `most` bytes hold. Moves the cursor behind
// them.
uint32_t takeStretch(const uint32_t*& block, int32_t most);

// Asks for a run's following stretch and waits for the one that was asked for before.
int32_t nextStretch(SortSession& session, int32_t run);

// Ends the reader, waits for it and frees its buffers.
void endMidReader(SortSession& session);

}  // namespace qrt::sort
