// Sums of numeric fields over records with equal keys.
#pragma once

#include <span>

#include "sort/engine/session.h"

namespace qrt::sort {

// Finds the sum fields in records and reformatted records; 0 or a run's code (message 30).
int32_t initSum(SortSession& session);

enum class Summed : uint8_t {
  intoHeld,  // the held record has the sums
  intoNew,   // the new record, which is the longer one, has them
  overflow,  // both are as they were
};

// Adds the fields of a new record to those of the held one; both are records as they are written.
Summed addUp(SortSession& session, std::span<uint8_t> held, std::span<uint8_t> record);

}  // namespace qrt::sort
