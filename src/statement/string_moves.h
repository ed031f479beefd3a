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

// As memmove. Lengths up to 32 are copied by loads and stores that overlap, all loads first. Those from 4 to
// 16 share one way without a branch, since lengths of fields are hard to predict.
inline void copyShort(uint8_t* to, const uint8_t* from, uint32_t size) {
  if (size >= 4 && size <= 16) {
    const uint32_t last = size - 4, inner = size / 8 * 4;
    const auto a = load<uint32_t>(from), b = load<uint32_t>(from + inner),
               c = load<uint32_t>(from + last - inner), d = load<uint32_t>(from + last);
    store(to, a);
    store(to + inner, b);
    store(to + last - inner, c);
    store(to + last, d);
  } else if (size > 32) {
    memmove(to, from, size);
  } else if (size > 16) {
    const auto first = load<__m128i_u>(from), last = load<__m128i_u>(from + size - 16);
    store(to, first);
    store(to + size - 16, last);
  } else if (size > 0) {
    const uint8_t first = *from, middle = from[size / 2], last = from[size - 1];
    *to = first;
    to[size / 2] = middle;
    to[size - 1] = last;
  }
}

// A text of `length` bytes and blanks behind it, as an item of 8 to 32 bytes, not fewer than the text. `size`
// bytes can be read at `from`.
inline void copyAndFill(uint8_t* to, uint32_t size, const uint8_t* from, uint32_t length, uint8_t blank) {
  const __m128i positions = _mm_setr_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
  const auto part = [&](uint32_t at, __m128i text) {
    const __m128i inText = _mm_cmpgt_epi8(_mm_set1_epi8(static_cast<char>(length - at)), positions);
    return _mm_or_si128(_mm_and_si128(inText, text),
                        _mm_andnot_si128(inText, _mm_set1_epi8(static_cast<char>(blank))));
  };
  const auto half = [](const uint8_t* at) { return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(at)); };
  if (size >= 16) {
    const __m128i first = part(0, load<__m128i_u>(from)),
                  last = part(size - 16, load<__m128i_u>(from + size - 16));
    store(to, first);
    store(to + size - 16, last);
  } else {
    const __m128i first = part(0, half(from)), last = part(size - 8, half(from + size - 8));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(to), first);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(to + size - 8), last);
  }
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
