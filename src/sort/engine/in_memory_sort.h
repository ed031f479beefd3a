// The sort of one buffer of entries in memory: the table of offsets is put in the order of the keys, and no
// record moves.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <span>

namespace qrt::sort {

// A row of the table beside one word of its key, so that most compares touch nothing else.
struct SortRow {
  uint32_t word;
  uint32_t offset;
};

// Storage that `Sort` works in, for tables of up to `capacity` rows.
struct SortWorkArea {
  SortRow* rows = nullptr;
  SortRow* spread = nullptr;       // rows in their buckets
  uint32_t* bucketEnds = nullptr;  // of a distribution
  size_t capacity = 0;
  uint32_t sampleStart = 0;  // where the next distribution begins in the sample's digits
};

// Bytes that a work area for tables of that many rows takes.
size_t sortWorkAreaBytes(size_t rows);

// Lays the area out over storage of that size, which stays the caller's.
SortWorkArea layOutSortWorkArea(void* storage, size_t rows);

// Orders a table of offsets, from `buffer`, of keys in ascending order of the keys, which all differ. The
// table has no more rows than the work area was laid out for.
void Sort(const uint8_t* buffer, std::span<uint32_t> table, SortWorkArea& work);

// The methods that `Sort` chooses from by the number of rows.
inline constexpr size_t smallestDistribution = 256;
inline constexpr size_t largestDistribution = 32768;

}  // namespace qrt::sort
