// Conversions between packed and the five zoned forms, and among the zoned forms.
#include <emmintrin.h>

#include <algorithm>
#include <cstring>

#include "decimal/checks.h"
#include "decimal/convert.h"
#include "decimal/packed.h"
#include "decimal/register.h"
#include "decimal/zoned.h"

namespace qrt::decimal {
namespace {

constexpr bool isOverpunched(Zoned form) {
  return form == Zoned::TO || form == Zoned::LO;
}

constexpr bool isNegativeZone(uint8_t byte) {
  return (byte & 0x40) != 0;
}

void setZone(uint8_t& byte, uint8_t zone) {
  byte = withZone(byte, zone);
}

// The digits of an item.
template <Zoned form, typename Byte>
Byte* digitsOf(Byte* item) {
  return form == Zoned::LS ? item + 1 : item;
}

// The byte of an item that holds its sign: an overpunched digit or a separate sign byte.
template <Zoned form, typename Byte>
Byte& signByte(Byte* item, int32_t digits) {
  if constexpr (form == Zoned::TO) return item[digits - 1];
  if constexpr (form == Zoned::TS) return item[digits];
  return item[0];
}

// Copies the low-order digits, zones included, behind "0" in a longer destination. Returns whether a low
// nibble isn't zero.
bool moveZonedDigits(const uint8_t* source, uint8_t* destination, int32_t destinationDigits,
                     int32_t sourceDigits) {
  int32_t count = std::min(destinationDigits, sourceDigits);
  if (destinationDigits > count) memset(destination, '0', destinationDigits - count);
  destination += destinationDigits - count;
  source += sourceDigits - count;
  uint32_t seen = 0;
  for (; count >= 16; count -= 16, source += 16, destination += 16) {
    const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(source));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(destination), block);
    const __m128i digits = _mm_and_si128(block, _mm_set1_epi8(15));
    seen |= _mm_movemask_epi8(_mm_cmpeq_epi8(digits, _mm_setzero_si128())) ^ 0xFFFF;
  }
  for (; count >= 4; count -= 4, source += 4, destination += 4) {
    uint32_t block;
    memcpy(&block, source, sizeof block);
    memcpy(destination, &block, sizeof block);
    seen |= block & 0x0F0F0F0F;
  }
  for (; count > 0; --count) {
    seen |= *source & 15;
    *destination++ = *source++;
  }
  return seen != 0;
}

// The sign of a value that came without zones; zero has been tested.
template <Zoned to>
void placeSign(uint8_t* item, int32_t digits, bool negative) {
  if constexpr (hasSeparateSign(to)) signByte<to>(item, digits) = negative ? '-' : '+';
  if constexpr (isOverpunched(to))
    if (negative) setZone(signByte<to>(item, digits), zoneNegative);
}

}  // namespace

template <Zoned to>
[[gnu::always_inline]] inline uint8_t* packedToZoned(const uint8_t* source, uint8_t* destination,
                                                     int32_t destinationDigits, int32_t sourceDigits) {
  const int32_t bytes = packedBytes(sourceDigits);
  const uint8_t lastByte = source[bytes - 1];
  const bool valid = bytes >= 8 && bytes <= 16 ? isValidRegister(source, bytes) : isValid(source, bytes);
  if (!valid) [[unlikely]]
    qrtWriteERRmsg((lastByte & 15) < 10 ? frame::message::invalidSign : frame::message::invalidDigit, 0);
  const bool nonZero = unpackDigits(source, digitsOf<to>(destination), destinationDigits, sourceDigits);
  if constexpr (to == Zoned::LS) {  // the one form that shows a negative zero
    const uint8_t sign = lastByte & 15;
    const bool positive = sign == 0xA || sign == 0xC || sign == 0xE || sign == 0xF;
    placeSign<to>(destination, destinationDigits, !positive);
  } else {
    placeSign<to>(destination, destinationDigits, nonZero && isNegativeSign(lastByte));
  }
  return destination;
}

template <Zoned from>
[[gnu::always_inline]] inline uint8_t* zonedToPacked(const uint8_t* source, uint8_t* destination,
                                                     int32_t destinationDigits, int32_t sourceDigits) {
  const uint8_t sign = signByte<from>(source, sourceDigits);
  const bool nonZero = packDigits(digitsOf<from>(source), destination, destinationDigits, sourceDigits);
  bool negative = false;
  if constexpr (isOverpunched(from)) negative = isNegativeZone(sign);
  if constexpr (hasSeparateSign(from)) negative = checkedSeparateSign(sign) == '-';
  if (negative && nonZero) destination[packedBytes(destinationDigits) - 1] ^= positiveSign ^ negativeSign;
  return destination;
}

// Three steps: the digits with their zones; a zone of the source's own form is cleaned off the byte that may
// have brought it; the sign is placed in the target's form. Zones of the digits behind a separate sign stay,
// an overpunched zone goes from the source to an overpunched target as it is, and so does a separate sign
// byte to a separate target. A zero is positive.
template <Zoned from, Zoned to>
uint8_t* zonedToZoned(const uint8_t* source, uint8_t* destination, int32_t destinationDigits,
                      int32_t sourceDigits) {
  const uint8_t sign = signByte<from>(source, sourceDigits);
  uint8_t* const digits = digitsOf<to>(destination);
  const bool nonZero = moveZonedDigits(digitsOf<from>(source), digits, destinationDigits, sourceDigits);

  if constexpr (from == Zoned::TO || from == Zoned::US) setZone(digits[destinationDigits - 1], zonePositive);
  if constexpr (from == Zoned::LO)
    setZone(digits[std::max(destinationDigits - sourceDigits, 0)], zonePositive);

  uint8_t& target = signByte<to>(destination, destinationDigits);
  if constexpr (isOverpunched(from) && isOverpunched(to)) {
    setZone(target, nonZero ? sign : zonePositive);
  } else if constexpr (isOverpunched(from)) {
    placeSign<to>(destination, destinationDigits, nonZero && isNegativeZone(sign));
  } else if constexpr (hasSeparateSign(from) && hasSeparateSign(to)) {
    checkedSeparateSign(sign);
    target = nonZero ? sign : '+';
  } else if constexpr (hasSeparateSign(from) && to != Zoned::US) {
    placeSign<to>(destination, destinationDigits, checkedSeparateSign(sign) == '-' && nonZero);
  } else {
    placeSign<to>(destination, destinationDigits, false);
  }
  return destination;
}

}  // namespace qrt::decimal
