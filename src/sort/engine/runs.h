// The run table, and the intermediate files that runs lie in.
#pragma once

#include "sort/engine/work_state.h"

namespace qrt::sort {

// Allocates the run table, with room for the runs that merging adds.
int32_t allocateRunTable(SortSession& session);

// Appends a run. Block index and memory must come from the session's memory; the run owns them from now on. A
// null index stands for that of a run in memory. Null when there is no memory; the message was given.
SortRun* InitMidRun(SortSession& session, uint32_t* blocks, int32_t blockRows, uint8_t* memory,
                    uint8_t* memoryEnd);

// Adds a block to the index of the run that a merge writes and leaves room for the end; message 49 when there
// is no memory.
int32_t addBlock(SortSession& session, SortRun& run);

// The directories of the process for intermediate files, in each temporary directory.
int32_t makeTempDirectories(SortSession& session);
void removeTempDirectories(SortSession& session);

// Creates the intermediate file of that number in the current temporary directory, with Z bytes reserved. A
// full directory leaves the ring for the next one.
int32_t OpenWriteMidFile(SortSession& session, int32_t fileNumber, int32_t& file);

// Takes the current directory out of the ring.
void dropTempDirectory(SortSession& session);

// Deletes the file of that number, whatever directory it ended up in.
void deleteMidFile(SortSession& session, int32_t fileNumber);

int32_t qsxOpenReadMidFile(SortSession& session, int32_t run);

// Frees memory and index of the runs and closes and deletes their files.
void FreeMidRuns(SortSession& session, int32_t firstRun, int32_t count);

// The same for all runs that are left, after an end of whatever kind.
void freeAllRuns(SortSession& session);

}  // namespace qrt::sort
