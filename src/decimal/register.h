// Packed items of up to 16 bytes in one SSE2 register: 31 digits above a cleared sign nibble, the units at
// the bottom, as two lanes of sixteen nibbles.
#pragma once

#include <emmintrin.h>

#include <array>
#include <cstdint>
#include <cstring>

#include "decimal/words.h"

namespace qrt::decimal {

inline constexpr int32_t registerBytes = 16;
inline constexpr int32_t registerDigits = 31;

inline __m128i loadEight(const uint8_t* bytes) {
  return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(bytes));
}

// Byte reversal by the instructions of SSE2.
struct Sse2 {
  static __m128i reverse(__m128i x) {
    x = _mm_shuffle_epi32(x, _MM_SHUFFLE(1, 0, 3, 2));
    x = _mm_shufflelo_epi16(x, _MM_SHUFFLE(0, 1, 2, 3));
    x = _mm_shufflehi_epi16(x, _MM_SHUFFLE(0, 1, 2, 3));
    return _mm_or_si128(_mm_slli_epi16(x, 8), _mm_srli_epi16(x, 8));
  }
  // Of the lower eight bytes, the upper ones being zero.
  static __m128i reverseEight(__m128i x) { return _mm_srli_si128(reverse(x), 8); }
};

// The same in one instruction. Only for processors that have SSSE3.
struct Ssse3 {
  static __m128i reverse(__m128i x) {
    return shuffle(x, _mm_set_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15));
  }
  static __m128i reverseEight(__m128i x) {
    return shuffle(x, _mm_set_epi8(-1, -1, -1, -1, -1, -1, -1, -1, 0, 1, 2, 3, 4, 5, 6, 7));
  }
  static bool available() { return __builtin_cpu_supports("ssse3"); }

 private:
  static __m128i shuffle(__m128i x, __m128i places) {
    __asm__("pshufb %1, %0" : "+x"(x) : "xm"(places));
    return x;
  }
};

inline uint32_t lowWord(__m128i x) {
  return static_cast<uint32_t>(_mm_cvtsi128_si32(x));
}

inline __m128i wordInRegister(uint32_t word) {
  return _mm_cvtsi32_si128(static_cast<int32_t>(word));
}

// How far a lane is shifted to drop or make room for that many bytes.
inline __m128i bitsOf(int32_t bytes) {
  return _mm_cvtsi32_si128(8 * bytes);
}

// The item of 1 to 16 bytes, sign nibble and all. Unless a block fits, its first and its last bytes are
// taken, which may lie over each other; storeItem() does the same.
template <typename Set = Sse2>
[[gnu::always_inline]] inline __m128i loadItem(const uint8_t* item, int32_t bytes) {
  if (bytes == 16) return Set::reverse(_mm_loadu_si128(reinterpret_cast<const __m128i*>(item)));
  if (bytes == 8) return Set::reverseEight(loadEight(item));
  if (bytes > 8) {
    const __m128i lanes = Set::reverse(_mm_unpacklo_epi64(loadEight(item), loadEight(item + bytes - 8)));
    const __m128i first = _mm_srl_epi64(_mm_unpackhi_epi64(lanes, lanes), bitsOf(16 - bytes));
    return _mm_unpacklo_epi64(lanes, first);
  }
  if (bytes >= 4) {
    const __m128i first = _mm_srl_epi64(wordInRegister(loadWord(item)), bitsOf(8 - bytes));
    return _mm_unpacklo_epi32(wordInRegister(loadWord(item + bytes - 4)), first);
  }
  return wordInRegister(loadPartialWord(item, bytes));
}

// The low-order bytes of a register as an item of 1 to 16 bytes.
template <typename Set = Sse2>
[[gnu::always_inline]] inline void storeItem(__m128i value, uint8_t* item, int32_t bytes) {
  if (bytes == 16) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(item), Set::reverse(value));
  } else if (bytes == 8) {
    _mm_storel_epi64(reinterpret_cast<__m128i*>(item), Set::reverseEight(value));
  } else if (bytes > 8) {
    const __m128i upper = _mm_sll_epi64(_mm_unpackhi_epi64(value, value), bitsOf(16 - bytes));
    const __m128i first = _mm_or_si128(upper, _mm_srl_epi64(value, bitsOf(bytes - 8)));
    const __m128i blocks = Set::reverse(_mm_unpacklo_epi64(value, first));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(item), blocks);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(item + bytes - 8), _mm_unpackhi_epi64(blocks, blocks));
  } else if (bytes >= 4) {
    const __m128i first = _mm_srli_epi64(_mm_sll_epi64(value, bitsOf(8 - bytes)), 32);
    storeWord(item, lowWord(first));
    storeWord(item + bytes - 4, lowWord(value));
  } else {
    storePartialWord(item, bytes, lowWord(value));
  }
}

// The low-order bytes of a register, zeros above them.
inline __m128i keepBytes(__m128i x, int32_t bytes) {
  static constexpr uint8_t ones[32] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
                                       0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
  return _mm_and_si128(x, _mm_loadu_si128(reinterpret_cast<const __m128i*>(ones + registerBytes - bytes)));
}

inline __m128i everyNibble(uint32_t nibble) {
  return _mm_set1_epi32(static_cast<int32_t>(0x11111111 * nibble));
}

// Ones over that many digits from the units up, up to 31; the sign nibble is left out.
inline __m128i placesOfDigits(int32_t digits) {
  alignas(16) static constexpr auto masks = [] {
    std::array<std::array<uint8_t, registerBytes>, registerDigits + 1> rows{};
    for (int32_t count = 0; count <= registerDigits; ++count)
      for (int32_t nibble = 1; nibble <= count; ++nibble)
        rows[count][nibble / 2] |= static_cast<uint8_t>(nibble % 2 == 0 ? 0x0F : 0xF0);
    return rows;
  }();
  return _mm_load_si128(reinterpret_cast<const __m128i*>(masks[digits].data()));
}

// The register moved by up to 32 whole nibbles. A lane shifted by 64 bits or more is zero, and a count below
// zero is one of those: of the two ways from one lane into the other, at most the right one adds something.
inline __m128i moveNibblesDown(__m128i x, int32_t nibbles) {
  const __m128i upper = _mm_srli_si128(x, 8);
  const int32_t bits = 4 * nibbles;
  const __m128i across = _mm_or_si128(_mm_sll_epi64(upper, _mm_cvtsi32_si128(64 - bits)),
                                      _mm_srl_epi64(upper, _mm_cvtsi32_si128(bits - 64)));
  return _mm_or_si128(_mm_srl_epi64(x, _mm_cvtsi32_si128(bits)), across);
}

inline __m128i moveNibblesUp(__m128i x, int32_t nibbles) {
  const __m128i lower = _mm_slli_si128(x, 8);
  const int32_t bits = 4 * nibbles;
  const __m128i across = _mm_or_si128(_mm_srl_epi64(lower, _mm_cvtsi32_si128(64 - bits)),
                                      _mm_sll_epi64(lower, _mm_cvtsi32_si128(bits - 64)));
  return _mm_or_si128(_mm_sll_epi64(x, _mm_cvtsi32_si128(bits)), across);
}

inline bool anyBit(__m128i x) {
  return _mm_movemask_epi8(_mm_cmpeq_epi8(x, _mm_setzero_si128())) != 0xFFFF;
}

// A one in the top bit of each nibble above 9, among other bits.
inline __m128i aboveNine(__m128i x) {
  return _mm_and_si128(_mm_or_si128(_mm_slli_epi64(x, 1), _mm_slli_epi64(x, 2)), x);
}

// Nibbles of 6 where the top bits of the mask's nibbles are set.
inline __m128i sixes(__m128i topBits) {
  return _mm_or_si128(_mm_srli_epi64(topBits, 1), _mm_srli_epi64(topBits, 2));
}

// The top bit of the lower lane as a one in the upper lane.
inline __m128i intoUpperLane(__m128i x) {
  return _mm_slli_si128(_mm_srli_epi64(x, 63), 8);
}

// The register with a 9 in place of each nibble above 9.
inline __m128i onlyDigits(__m128i x) {
  const __m128i top = _mm_and_si128(aboveNine(x), everyNibble(8));
  const __m128i half = _mm_or_si128(top, _mm_srli_epi64(top, 1));
  const __m128i whole = _mm_or_si128(half, _mm_srli_epi64(half, 2));
  return _mm_or_si128(_mm_andnot_si128(whole, x), _mm_and_si128(whole, everyNibble(9)));
}

// The values of groups of eight digits, one in each 32-bit lane: neighbours join in pairs, fours and all.
inline __m128i valuesOfDigits(__m128i digits) {
  const __m128i tens = _mm_and_si128(_mm_srli_epi16(digits, 4), _mm_set1_epi8(0x0F));
  const __m128i twice = _mm_add_epi8(tens, tens);
  const __m128i pairs = _mm_sub_epi8(_mm_sub_epi8(digits, twice), _mm_add_epi8(twice, twice));
  const __m128i low = _mm_and_si128(pairs, _mm_set1_epi16(0x00FF));
  const __m128i fours = _mm_add_epi16(low, _mm_mullo_epi16(_mm_srli_epi16(pairs, 8), _mm_set1_epi16(100)));
  return _mm_madd_epi16(fours, _mm_set1_epi32(10000 << 16 | 1));
}

// The other way round, for lanes below 10 to the 8th. The quotients by 10000, 100 and 10 are multiplications
// by reciprocals that are exact in the range of their operands.
inline __m128i digitsOfValues(__m128i values) {
  const __m128i reciprocal = _mm_set1_epi32(static_cast<int32_t>(0xD1B71759));  // 2 to the 45th by 10000
  const __m128i even = _mm_srli_epi64(_mm_mul_epu32(values, reciprocal), 45);
  const __m128i odd = _mm_srli_epi64(_mm_mul_epu32(_mm_srli_epi64(values, 32), reciprocal), 45);
  const __m128i high = _mm_or_si128(even, _mm_slli_epi64(odd, 32));
  const __m128i low = _mm_sub_epi32(values, _mm_madd_epi16(high, _mm_set1_epi32(10000)));
  const __m128i fours = _mm_or_si128(low, _mm_slli_epi32(high, 16));
  const __m128i hundreds = _mm_srli_epi16(_mm_mulhi_epu16(fours, _mm_set1_epi16(5243)), 3);
  const __m128i units = _mm_sub_epi16(fours, _mm_mullo_epi16(hundreds, _mm_set1_epi16(100)));
  const __m128i byTen = _mm_set1_epi16(6554);  // 2 to the 16th by 10, for values below 100
  const __m128i tens =
      _mm_or_si128(_mm_mulhi_epu16(units, byTen), _mm_slli_epi16(_mm_mulhi_epu16(hundreds, byTen), 8));
  const __m128i pairs = _mm_or_si128(units, _mm_slli_epi16(hundreds, 8));
  const __m128i twice = _mm_add_epi8(tens, tens);
  return _mm_add_epi8(_mm_add_epi8(pairs, twice), _mm_add_epi8(twice, twice));
}

// The sum of two numbers; a carry out of the last lane is lost. Adding 6 to each nibble first makes decimal
// carries binary ones; nibbles that sent no carry get their 6 back.
template <int lanes = 2>
inline __m128i addRegisters(__m128i a, __m128i b) {
  const __m128i biased = _mm_add_epi64(a, everyNibble(6));
  const __m128i both = _mm_and_si128(biased, b), either = _mm_or_si128(biased, b);
  const auto carries = [&](__m128i sum) { return _mm_or_si128(both, _mm_andnot_si128(sum, either)); };
  __m128i sum = _mm_add_epi64(biased, b);
  if constexpr (lanes == 2) sum = _mm_add_epi64(sum, intoUpperLane(carries(sum)));
  return _mm_sub_epi64(sum, sixes(_mm_andnot_si128(carries(sum), everyNibble(8))));
}

struct RegisterDifference {
  __m128i value;
  bool borrow;  // out of the last lane
};

template <int lanes = 2>
inline RegisterDifference subtractRegisters(__m128i a, __m128i b) {
  const __m128i only = _mm_andnot_si128(a, b);  // what sends a borrow, and what passes one on or sends one
  const __m128i either = _mm_or_si128(b, _mm_xor_si128(a, _mm_set1_epi32(-1)));
  const auto borrows = [&](__m128i rest) { return _mm_or_si128(only, _mm_and_si128(either, rest)); };
  __m128i rest = _mm_sub_epi64(a, b);
  if constexpr (lanes == 2) rest = _mm_sub_epi64(rest, intoUpperLane(borrows(rest)));
  const __m128i borrowed = borrows(rest);
  return {_mm_sub_epi64(rest, sixes(_mm_and_si128(borrowed, everyNibble(8)))),
          (_mm_movemask_pd(_mm_castsi128_pd(borrowed)) & lanes) != 0};
}

// Two overlapping halves of an item of 8 to 16 bytes, tested at once: a byte has a bad nibble when it is
// above 0x9F or its low nibble is above 9, as only the sign's must be.
inline bool isValidRegister(const uint8_t* item, int32_t bytes) {
  const __m128i both =
      _mm_unpacklo_epi64(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(item)),
                         _mm_loadl_epi64(reinterpret_cast<const __m128i*>(item + bytes - 8)));
  const __m128i low = _mm_and_si128(both, _mm_set1_epi8(0x0F));
  const __m128i excess = _mm_or_si128(_mm_subs_epu8(both, _mm_set1_epi8(static_cast<char>(0x9F))),
                                      _mm_subs_epu8(low, _mm_set1_epi8(9)));
  const int32_t good = _mm_movemask_epi8(_mm_cmpeq_epi8(excess, _mm_setzero_si128()));
  return good == (bytes == 8 ? 0x7F7F : 0x7FFF) && item[bytes - 1] <= 0x9F;
}

}  // namespace qrt::decimal
