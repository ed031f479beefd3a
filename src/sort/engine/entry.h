// The stored form of a record in sort buffers and intermediate files, and the compare that everything rests
// on.
#pragma once

#include <stdint.h>

namespace qrt::sort {

// Four-byte aligned; behind these two words follow the key, the record, and 0 to 3 bytes of padding. The key
// is a string of 32-bit words that compare unsigned, first difference deciding; all keys of a run differ.
struct SortEntry {
  uint32_t keyLength;     // bytes, a multiple of 4
  uint32_t recordLength;  // bytes, without the padding

  uint8_t* key() { return reinterpret_cast<uint8_t*>(this + 1); }
  const uint8_t* key() const { return reinterpret_cast<const uint8_t*>(this + 1); }
  uint8_t* record() { return key() + keyLength; }
  const uint8_t* record() const { return key() + keyLength; }
  const uint32_t* keyWords() const { return reinterpret_cast<const uint32_t*>(this + 1); }
  uint32_t size() const { return (sizeof(SortEntry) + keyLength + recordLength + 3) & ~3U; }
};

inline constexpr uint32_t keyOffset = sizeof(SortEntry);

// Whether one key is below another, from the first word on. There is no test of lengths: two different keys
// differ before the end of either.
inline bool keyIsBelow(const uint32_t* left, const uint32_t* right) {
  while (*left == *right) {
    ++left;
    ++right;
  }
  return *left < *right;
}

}  // namespace qrt::sort
