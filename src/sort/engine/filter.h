// The select condition over the scanned record.
#pragma once

#include "sort/engine/records.h"

namespace qrt::sort {

// Prepares the operands; 0 or a run's code.
int32_t initFilter(SortSession& session);

// Whether the scanned record is left out. Only with conditions.
bool qsxFilterOut(SortSession& session);

}  // namespace qrt::sort
