// A binary integer put into a packed item.
#pragma once

#include <emmintrin.h>

#include <algorithm>
#include <cstdint>
#include <type_traits>

#include "decimal/checks.h"
#include "decimal/packed.h"
#include "decimal/words.h"

namespace qrt::decimal {

// What an integer is worked out in: modulo 2 to the 32nd or 64th, so also modulo its own width.
template <typename Integer>
using Word = std::conditional_t<sizeof(Integer) == 8, uint64_t, uint32_t>;

inline constexpr uint32_t eightDigits = 100'000'000, nineDigits = 1'000'000'000;

// Eight digits as four packed bytes in the order of storage. The two halves of four digits a, b, c, d become
// the lanes a, ab, abc, abcd by multiplications with reciprocals; each lane less ten times its left neighbour
// is a digit. (The reciprocals are those of Wojciech Mula's conversion of integers to text.)
inline uint32_t packEight(uint32_t value, uint32_t upperFour) {
  const uint32_t lowerFour = value - upperFour * 10'000;
  const __m128i both = _mm_cvtsi32_si128(static_cast<int32_t>(upperFour | lowerFour << 16));
  // Lanes 4 * abcd, four times over, then 4 * efgh.
  const __m128i halves = _mm_slli_epi16(_mm_unpacklo_epi16(both, both), 2);
  const __m128i fours = _mm_unpacklo_epi32(halves, halves);
  const __m128i reciprocals = _mm_set_epi16(-32768, 13108, 5243, 8389, -32768, 13108, 5243, 8389);
  const __m128i shifts = _mm_set_epi16(-32768, 1 << 13, 1 << 11, 1 << 7, -32768, 1 << 13, 1 << 11, 1 << 7);
  const __m128i prefixes = _mm_mulhi_epu16(_mm_mulhi_epu16(fours, reciprocals), shifts);
  const __m128i tens = _mm_slli_epi64(_mm_mullo_epi16(prefixes, _mm_set1_epi16(10)), 16);
  const __m128i digits = _mm_sub_epi16(prefixes, tens);
  const __m128i pairs = _mm_madd_epi16(digits, _mm_set1_epi32(1 << 16 | 16));
  const __m128i bytes = _mm_packs_epi32(pairs, pairs);
  return static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_packus_epi16(bytes, bytes)));
}

// Takes the low-order digits, as many as `power` of ten has zeros, off a number.
template <typename Number>
uint32_t takeDigits(Number& number, uint32_t power) {
  const Number all = number;
  number = all < power ? 0 : all / power;
  return static_cast<uint32_t>(all - number * power);
}

template <typename Integer>
[[gnu::always_inline]] inline uint8_t* integerToPacked(Integer value, uint8_t* destination,
                                                       int32_t destinationDigits) {
  const bool negative = value < 0;
  auto rest = negative ? 0 - static_cast<Word<Integer>>(value) : static_cast<Word<Integer>>(value);
  uint8_t* const last = destination + packedBytes(destinationDigits) - 1;
  const uint32_t lowOrder = takeDigits(rest, nineDigits);
  *last = static_cast<uint8_t>(lowOrder % 10 << 4 | positiveSign);
  uint8_t* at = last;
  uint32_t eight = lowOrder / 10, four = lowOrder / 100'000;
  for (; at - destination > 4; eight = takeDigits(rest, eightDigits), four = eight / 10'000)
    storeWord(at -= 4, __builtin_bswap32(packEight(eight, four)));
  if (at - destination == 4)
    storeWord(destination, __builtin_bswap32(packEight(eight, four)));
  else if (at > destination)
    storePartialWord(destination, static_cast<int32_t>(at - destination),
                     __builtin_bswap32(packEight(eight, four)));
  clearSpareNibble(destination, destinationDigits);
  if (negative && (*last != 0x0C || std::any_of(destination, last, [](uint8_t pair) { return pair != 0; })))
    *last ^= positiveSign ^ negativeSign;
  return destination;
}

}  // namespace qrt::decimal
