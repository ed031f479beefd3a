// The four main functions. Each returns 0 or the return code of the run.
#pragma once

#include "sort/engine/work_state.h"

namespace qrt::sort {

int32_t MainSort(SortSession& session);
int32_t MainMerge(SortSession& session);
int32_t MainCopy(SortSession& session);
int32_t MainCheck(SortSession& session);

// The one that the option record names.
int32_t LumasiftMain(SortSession& session);

// For main function check, called for each entry that was built at the cursor of the S_buf: holds it against
// the one before and moves the cursor to where the next entry goes.
int32_t checkEntry(SortSession& session, InputRun& run, SortEntry* entry);

}  // namespace qrt::sort
