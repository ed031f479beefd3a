// The record as it is written: put together from fields and constants.
#pragma once

#include "sort/engine/records.h"

namespace qrt::sort {

void initReformat(SortSession& session);

// Most bytes that a record of `length` bytes becomes.
uint32_t reformatBound(const SortSession& session, uint32_t length);

// Writes the scanned record in its new form; returns its length.
uint32_t reformatRecord(const SortSession& session, uint8_t* to);

}  // namespace qrt::sort
