// LOWER-CASE, UPPER-CASE and REVERSE. Letters are those of ASCII; no code page is consulted.
#include "intrinsic/letters.h"

#include <emmintrin.h>

#include <cstring>

namespace qrt::intrinsic {
namespace {

constexpr uint8_t caseBit = 0x20;

// Changes the case of the 26 letters from `first` on.
template <uint8_t first>
void changeCase(int32_t length, const uint8_t* source, uint8_t* destination) {
  constexpr uint8_t beforeFirst = first - 1, behindLast = first + 26;
  static_assert(behindLast < 0x80);  // the compares are signed
  int32_t at = 0;
  for (; at + 16 <= length; at += 16) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(source + at));
    const __m128i letters = _mm_and_si128(_mm_cmpgt_epi8(bytes, _mm_set1_epi8(beforeFirst)),
                                          _mm_cmplt_epi8(bytes, _mm_set1_epi8(behindLast)));
    const __m128i changed = _mm_xor_si128(bytes, _mm_and_si128(letters, _mm_set1_epi8(caseBit)));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(destination + at), changed);
  }
  for (; at < length; ++at) {
    const uint8_t byte = source[at];
    destination[at] = byte > beforeFirst && byte < behindLast ? byte ^ caseBit : byte;
  }
}

// The units of a word in the opposite order.
template <typename Unit>
uint32_t reversed(uint32_t word) {
  if constexpr (sizeof(Unit) == 1) return __builtin_bswap32(word);
  return word << 16 | word >> 16;
}

}  // namespace

void toLower(int32_t length, const uint8_t* source, uint8_t* destination) {
  changeCase<'A'>(length, source, destination);
}

void toUpper(int32_t length, const uint8_t* source, uint8_t* destination) {
  changeCase<'a'>(length, source, destination);
}

template <typename Unit>
void reverse(int32_t length, const void* source, void* destination) {
  constexpr int32_t unit = sizeof(Unit), word = sizeof(uint32_t);
  const auto* from = static_cast<const uint8_t*>(source) + length / unit * unit;
  auto* to = static_cast<uint8_t*>(destination);
  for (; length >= word; length -= word, to += word) {
    uint32_t units;
    memcpy(&units, from -= word, word);
    units = reversed<Unit>(units);
    memcpy(to, &units, word);
  }
  for (; length >= unit; length -= unit, to += unit) memcpy(to, from -= unit, unit);
}

template void reverse<uint8_t>(int32_t length, const void* source, void* destination);
template void reverse<uint16_t>(int32_t length, const void* source, void* destination);

}  // namespace qrt::intrinsic
