// The sizes of all buffers.
#pragma once

#include "sort/engine/work_state.h"

namespace qrt::sort {

// Works out the sizes of `SortWorkState` from the options, once, before any buffer exists.
int32_t MemManageInit(SortSession& session);

}  // namespace qrt::sort
