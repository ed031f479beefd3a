// Movers of digits between zoned and packed items, on SSE2 registers. Once the first digit of an even count
// is moved by itself, two digits stand in each byte but the last. A long item is then done in blocks from its
// first digit on, and last in a block that ends with the units digit and may lie over the one before:
//
//   packed   |d0 d1|d2 d3| ... |d14 d15|d16 d17| ... |d22 C|
//   zoned    d0 ................. d15                          16 digits, 8 packed bytes
//                           d8 ...................... d22      15 digits and the sign
#include "decimal/zoned.h"

#include <algorithm>
#include <cstring>

#include "decimal/packed.h"
#include "decimal/register.h"
#include "decimal/words.h"
#include "frame/unaligned.h"
#include "qrtrlib.h"

namespace qrt::decimal {
namespace {

// The two widths of a block: 8 packed bytes beside 16 digits, and 4 beside 8.
struct Wide {
  static constexpr int32_t digits = 16;
  static __m128i loadPacked(const uint8_t* at) {
    return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(at));
  }
  static __m128i loadZoned(const uint8_t* at) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
  }
  static void storePacked(uint8_t* at, __m128i block) {
    _mm_storel_epi64(reinterpret_cast<__m128i*>(at), block);
  }
  static void storeZoned(uint8_t* at, __m128i block) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(at), block);
  }

  // 15 digits that end at `end`, and a zero byte.
  static __m128i loadLastZoned(const uint8_t* end) {
    return _mm_unpacklo_epi64(loadPacked(end - 15), _mm_srli_epi64(loadPacked(end - 8), 8));
  }
  static void storeLastZoned(uint8_t* end, __m128i block) {
    storePacked(end - 15, block);
    storePacked(end - 8, _mm_srli_si128(block, 7));
  }
};

struct Narrow {
  static constexpr int32_t digits = 8;
  static __m128i loadPacked(const uint8_t* at) { return _mm_cvtsi32_si128(frame::loadAs<int32_t>(at)); }
  static __m128i loadZoned(const uint8_t* at) { return Wide::loadPacked(at); }
  static void storePacked(uint8_t* at, __m128i block) {
    frame::storeAs<int32_t>(at, _mm_cvtsi128_si32(block));
  }
  static void storeZoned(uint8_t* at, __m128i block) { Wide::storePacked(at, block); }

  // 7 digits that end at `end`, and a zero byte.
  static __m128i loadLastZoned(const uint8_t* end) {
    return _mm_unpacklo_epi32(loadPacked(end - 7), _mm_srli_epi32(loadPacked(end - 4), 8));
  }
  static void storeLastZoned(uint8_t* end, __m128i block) {
    storePacked(end - 7, block);
    storePacked(end - 4, _mm_srli_si128(block, 3));
  }
};

// One byte for each nibble, in order.
__m128i spread(__m128i packed) {
  const __m128i nibble = _mm_set1_epi8(15);
  return _mm_unpacklo_epi8(_mm_and_si128(_mm_srli_epi16(packed, 4), nibble), _mm_and_si128(packed, nibble));
}

// One nibble for each byte below 16, in order.
__m128i gather(__m128i digits) {
  const __m128i pairs = _mm_or_si128(_mm_slli_epi16(digits, 4), _mm_srli_epi16(digits, 8));
  return _mm_packus_epi16(_mm_and_si128(pairs, _mm_set1_epi16(255)), _mm_setzero_si128());
}

// A last block without its sign nibble, for the test on zero.
template <typename Width>
__m128i withoutSign(__m128i digits) {
  return _mm_slli_si128(digits, 17 - Width::digits);
}

// An odd count of digits, at least a last block of them.
template <typename Width>
bool unpackBlocks(const uint8_t* packed, uint8_t* zoned, int32_t count) {
  const __m128i zones = _mm_set1_epi8(zonePositive);
  const uint8_t* const packedEnd = packed + packedBytes(count);
  uint8_t* const zonedEnd = zoned + count;
  __m128i seen = _mm_setzero_si128();
  for (; zonedEnd - zoned >= Width::digits; zoned += Width::digits, packed += Width::digits / 2) {
    const __m128i digits = spread(Width::loadPacked(packed));
    seen = _mm_or_si128(seen, digits);
    Width::storeZoned(zoned, _mm_or_si128(digits, zones));
  }
  const __m128i last = spread(Width::loadPacked(packedEnd - Width::digits / 2));
  Width::storeLastZoned(zonedEnd, _mm_or_si128(last, zones));
  return anyBit(_mm_or_si128(seen, withoutSign<Width>(last)));
}

bool unpackFew(const uint8_t* packed, uint8_t* zoned, int32_t count) {
  uint8_t seen = 0;
  for (; count > 1; count -= 2, ++packed) {
    seen |= *packed;
    *zoned++ = static_cast<uint8_t>(zonePositive | *packed >> 4);
    *zoned++ = static_cast<uint8_t>(zonePositive | (*packed & 15));
  }
  *zoned = static_cast<uint8_t>(zonePositive | *packed >> 4);
  return seen != 0 || *packed >> 4 != 0;
}

template <typename Width>
bool packBlocks(const uint8_t* zoned, uint8_t* packed, int32_t count) {
  const __m128i nibble = _mm_set1_epi8(15);
  const uint8_t* const zonedEnd = zoned + count;
  uint8_t* const packedEnd = packed + packedBytes(count);
  __m128i seen = _mm_setzero_si128();
  for (; zonedEnd - zoned >= Width::digits; zoned += Width::digits, packed += Width::digits / 2) {
    const __m128i digits = _mm_and_si128(Width::loadZoned(zoned), nibble);
    seen = _mm_or_si128(seen, digits);
    Width::storePacked(packed, gather(digits));
  }
  const __m128i last = _mm_and_si128(Width::loadLastZoned(zonedEnd), nibble);
  Width::storePacked(packedEnd - Width::digits / 2, gather(last));
  packedEnd[-1] |= positiveSign;
  return anyBit(_mm_or_si128(seen, last));
}

bool packFew(const uint8_t* zoned, uint8_t* packed, int32_t count) {
  uint8_t seen = 0;
  for (; count > 1; count -= 2, zoned += 2) {
    *packed = static_cast<uint8_t>(zoned[0] << 4 | (zoned[1] & 15));
    seen |= *packed++;
  }
  *packed = static_cast<uint8_t>(*zoned << 4 | positiveSign);
  return seen != 0 || (*zoned & 15) != 0;
}

}  // namespace

bool unpackDigits(const uint8_t* source, uint8_t* destination, int32_t destinationDigits,
                  int32_t sourceDigits) {
  int32_t count = std::min(destinationDigits, sourceDigits);
  if (destinationDigits > count) memset(destination, '0', destinationDigits - count);
  destination += destinationDigits - count;
  source += packedBytes(sourceDigits) - packedBytes(count);
  bool nonZero = false;
  if (count % 2 == 0) {
    const uint8_t digit = *source++ & 15;
    nonZero = digit != 0;
    *destination++ = zonePositive | digit;
    --count;
  }
  if (count >= 15) return nonZero | unpackBlocks<Wide>(source, destination, count);
  if (count >= 7) return nonZero | unpackBlocks<Narrow>(source, destination, count);
  return nonZero | unpackFew(source, destination, count);
}

bool packDigits(const uint8_t* source, uint8_t* destination, int32_t destinationDigits,
                int32_t sourceDigits) {
  int32_t count = std::min(destinationDigits, sourceDigits);
  const int32_t leading = packedBytes(destinationDigits) - packedBytes(count);
  clearBytes(destination, leading);
  destination += leading;
  source += sourceDigits - count;
  bool nonZero = false;
  if (count % 2 == 0) {
    *destination = *source++ & 15;
    nonZero = *destination++ != 0;
    --count;
  }
  if (count >= 15) return nonZero | packBlocks<Wide>(source, destination, count);
  if (count >= 7) return nonZero | packBlocks<Narrow>(source, destination, count);
  return nonZero | packFew(source, destination, count);
}

}  // namespace qrt::decimal

void _Convert_Znd_To_Pckd(const uint8_t* source, uint8_t* destination, int32_t destinationDigits,
                          int32_t sourceDigits, uint32_t* nonZero) {
  *nonZero = qrt::decimal::packDigits(source, destination, destinationDigits, sourceDigits);
}

void _Convert_Pckd_To_ZndUS(const uint8_t* source, uint8_t* destination, int32_t destinationDigits,
                            int32_t sourceDigits, uint32_t* nonZero) {
  *nonZero = qrt::decimal::unpackDigits(source, destination, destinationDigits, sourceDigits);
}
