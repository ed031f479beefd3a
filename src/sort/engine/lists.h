// The item lists of extended options: format, reformat, sum and select. They are read as they come and
// checked against the format once the whole option text is known. All functions return 0 or a run's code
// after its message.
#pragma once

#include <string_view>

#include "sort/engine/session.h"

namespace qrt::sort {

int32_t readFormat(SortSession& session, std::string_view list);
int32_t readReformat(SortSession& session, std::string_view list);

// Keeps the ranges of the list, from which settleSums makes the sum table.
int32_t readSum(SortSession& session, std::string_view list, GrowingTable<SortKey>& ranges);

// `option` is the name under which the condition was given; null without one. Adds the conditions and
// resolves their targets.
int32_t readSelect(SortSession& session, const char* option, std::string_view list);

// Record form and lengths, from the format or without one. `textLength` is that of -z, or -1.
void settleRecord(SortOptions& options, int32_t textLength);

// A key for the whole record when there is none, defaults, checks and splits.
int32_t settleKeys(SortSession& session, const SortKey& defaults);

int32_t settleConditions(SortSession& session, const char* option);
int32_t settleReformat(SortSession& session);
int32_t settleSums(SortSession& session, GrowingTable<SortKey>& ranges);

}  // namespace qrt::sort
