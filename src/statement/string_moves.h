// Short moves of text in line: what STRING and UNSTRING move is seldom longer than a few words.
#pragma once

#include <emmintrin.h>

#include <cstdint>
#include <cstring>

namespace qrt::statement {

// Loads and stores one value of a given size at any address.
template <typename Value>
Value load(const uint8_t* from) {
  Value value;
  memcpy(&value, from, sizeof value);
  return value;
}
template <typename Value>
void store(uint8_t* to, Value value) {
  memcpy(to, &value, sizeof value);
}

// Copies `size` bytes, at least one Value and at most two, as two that overlap. Both are loaded first, so
// that source and target may overlap as well.
template <typename Value>
void copyEnds(uint8_t* to, const uint8_t* from, uint32_t size) {
  const Value first = load<Value>(from), last = load<Value>(from + size - sizeof(Value));
  store(to, first);
  store(to + size - sizeof(Value), last);
}

// As memmove.
inline void copyShort(uint8_t* to, const uint8_t* from, uint32_t size) {
  if (size > 2 * sizeof(__m128i))
    memmove(to, from, size);
  else if (size >= sizeof(__m128i))
    copyEnds<__m128i_u>(to, from, size);
  else if (size >= sizeof(uint64_t))
    copyEnds<uint64_t>(to, from, size);
  else if (size >= sizeof(uint32_t))
    copyEnds<uint32_t>(to, from, size);
  else if (size >= sizeof(uint16_t))
    copyEnds<uint16_t>(to, from, size);
  else if (size == 1)
    *to = *from;
}

// Fills `size` bytes with a unit of two, the low byte first; the last of an odd number is the low byte.
inline void fill(uint8_t* to, uint32_t size, uint16_t unit) {
  const __m128i units = _mm_set1_epi16(static_cast<int16_t>(unit));
  for (; size >= sizeof units; size -= sizeof units, to += sizeof units) store(to, units);
  if (size & 8) _mm_storel_epi64(reinterpret_cast<__m128i*>(to), units), to += 8;
  if (size & 4) store(to, _mm_cvtsi128_si32(units)), to += 4;
  if (size & 2) store(to, unit), to += 2;
  if (size & 1) *to = static_cast<uint8_t>(unit);
}

}  // namespace qrt::statement
