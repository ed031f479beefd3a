// Packed digits eight at a time: a 32-bit word holds eight nibbles of an item, the most significant on top.
#pragma once

#include <immintrin.h>

#include <cstdint>
#include <cstring>

namespace qrt::decimal {

// One in every nibble from the second on: where the carries of those below arrive.
inline constexpr uint32_t carryPlaces = 0x11111110;

inline uint32_t loadWord(const uint8_t* bytes) {
  uint32_t word;
  memcpy(&word, bytes, 4);
  return __builtin_bswap32(word);
}

inline void storeWord(uint8_t* bytes, uint32_t word) {
  word = __builtin_bswap32(word);
  memcpy(bytes, &word, 4);
}

// The first `count` bytes of an item, 1 to 3, in the low bytes of a word. In the pieces in which they are
// stored: a load that spans two stores waits for both.
inline uint32_t loadPartialWord(const uint8_t* bytes, int32_t count) {
  if (count == 1) return bytes[0];
  uint16_t pair;
  memcpy(&pair, bytes + count - 2, 2);
  const uint32_t low = __builtin_bswap16(pair);
  return count == 2 ? low : uint32_t{bytes[0]} << 16 | low;
}

inline void storePartialWord(uint8_t* bytes, int32_t count, uint32_t word) {
  if (count >= 2) {
    const uint16_t pair = __builtin_bswap16(static_cast<uint16_t>(word));
    memcpy(bytes + count - 2, &pair, 2);
    word >>= 16;
  }
  if (count % 2 != 0) bytes[0] = static_cast<uint8_t>(word);
}

// Zeros for a few bytes, without the call that memset costs.
inline void clearBytes(uint8_t* bytes, int32_t count) {
  if (count > 8) {
    memset(bytes, 0, static_cast<size_t>(count));
  } else if (count >= 4) {
    storeWord(bytes, 0);
    storeWord(bytes + count - 4, 0);
  } else if (count > 0) {
    storePartialWord(bytes, count, 0);
  }
}

// Not 0 when a nibble is above 9: its top bit is set together with one of the two below.
constexpr uint32_t nibblesAboveNine(uint32_t word) {
  return ((word | word << 1) << 1) & word & 0x88888888;
}

// The sum of two words of digits and a carry, which is replaced by the carry out. Adding 6 to each nibble
// first makes decimal carries binary ones; nibbles that sent no carry get their 6 back. A word of fewer
// digits has its carry out in the nibble above them.
inline uint32_t addDigits(uint32_t a, uint32_t b, uint8_t& carry) {
  const uint32_t biased = a + 0x66666666;
  uint32_t sum;
  carry = _addcarry_u32(carry, biased, b, &sum);
  const uint32_t noCarry = ~(biased ^ b ^ sum) & carryPlaces;
  return sum - (noCarry >> 2 | noCarry >> 3 | ((carry - 1u) & 0x60000000));
}

// The difference of two words of digits less a borrow, which is replaced by the borrow out.
inline uint32_t subtractDigits(uint32_t a, uint32_t b, uint8_t& borrow) {
  uint32_t difference;
  borrow = _subborrow_u32(borrow, a, b, &difference);
  const uint32_t borrowed = (a ^ b ^ difference) & carryPlaces;
  return difference - (borrowed >> 2 | borrowed >> 3 | ((0u - borrow) & 0x60000000));
}

}  // namespace qrt::decimal
