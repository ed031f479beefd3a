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

// The word with a 9 in place of each nibble above 9.
constexpr uint32_t onlyDigits(uint32_t word) {
  const uint32_t bad = nibblesAboveNine(word) >> 3;
  return (word & ~(bad * 15)) | bad * 9;
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

// The value of eight digits: neighbours join in pairs, fours and all.
constexpr uint32_t valueOfDigits(uint32_t digits) {
  const uint32_t pairs = digits - 6 * (digits >> 4 & 0x0F0F0F0F);
  const uint32_t fours = (pairs & 0x00FF00FF) + 100 * (pairs >> 8 & 0x00FF00FF);
  return (fours & 0xFFFF) + 10000 * (fours >> 16);
}

// The eight digits of a value below 10 to the 8th. The quotients by 100 and 10 are exact reciprocal
// multiplications in the range of their operands.
constexpr uint32_t digitsOfValue(uint32_t value) {
  const uint32_t high = value / 10000;
  const uint32_t fours = value + high * (0x10000 - 10000);
  const uint32_t hundreds = ((fours & 0xFFFF) * 5243 >> 19) | ((fours >> 16) * 5243 >> 19) << 16;
  const uint32_t pairs = fours + hundreds * (0x100 - 100);
  const uint32_t tensBelow = (pairs & 0x00FF00FF) * 103 >> 10 & 0x000F000F;
  const uint32_t tensAbove = (pairs >> 8 & 0x00FF00FF) * 103 >> 10 & 0x000F000F;
  return pairs + 6 * (tensBelow | tensAbove << 8);
}

}  // namespace qrt::decimal
