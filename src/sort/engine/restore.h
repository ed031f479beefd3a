// Entries on their way out.
#pragma once

#include "sort/engine/work_state.h"

namespace qrt::sort {

// Whether all words of two keys but those that make keys different are equal.
bool haveEqualKeyFields(const SortSession& session, const SortEntry& left, const SortEntry& right);

// Writes an entry's record to the final output; 1 when "ustop" met equal keys, 2 when no more is wanted.
int32_t RestoreRawRecord(SortSession& session, const SortEntry* entry, const SortEntry* previous,
                         OutputRange& output);

}  // namespace qrt::sort
