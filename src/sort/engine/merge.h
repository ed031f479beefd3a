// The merge of runs and of sources over a tree of losers.
#pragma once

#include "sort/engine/work_state.h"

namespace qrt::sort {

// Merges all runs of the run table to the output, through intermediate runs where there are more than 256.
int32_t qsxMergeMidRuns(SortSession& session);

// Merges the sources to the output, or each group of 256 of them to an intermediate run.
int32_t qsxMergeInputRuns(SortSession& session);

// Merges runs `firstRun` and up through the phase functions of the work state. 1 when "ustop" ended it.
int32_t SingleMerge(SortSession& session, int32_t firstRun, int32_t runCount, OutputRange& output);

// Next block of a source, and of an intermediate run.
int32_t GetNextRawBlock(SortSession& session, int32_t run, EntryRange& block, bool& isLast);
int32_t GetNextMidBlock(SortSession& session, int32_t run, EntryRange& block, bool& isLast);

// Opens the runs of a merge and starts to read them.
int32_t InitRunsEntries(SortSession& session, int32_t firstRun, int32_t runCount);

// Hands over the last block of an output whose entries came to an end with `result`, unless that is a
// failure. Returns the result of both: 0, 1 when "ustop" ended it, or the code of a failure.
int32_t flushOutput(SortSession& session, OutputRange& output, int32_t result);

// Ends reader and output of a merge and frees the merged runs. Returns `result`, that of the merge, or what
// failed first in here.
int32_t qsxTermOutputPhase(SortSession& session, int32_t firstRun, int32_t runCount, int32_t result);

// Delivers an entry to an intermediate run.
int32_t RestoreMidRecord(SortSession& session, const SortEntry* entry, const SortEntry* previous,
                         OutputRange& output);

}  // namespace qrt::sort
