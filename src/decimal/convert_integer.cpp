// Conversions between packed items and binary integers of 1, 2, 4 and 8 bytes.
#include <algorithm>
#include <cstring>
#include <type_traits>

#include "decimal/checks.h"
#include "decimal/convert.h"
#include "decimal/packed.h"
#include "decimal/packed_value.h"

namespace qrt::decimal {
namespace {

// What an integer is worked out in: modulo 2 to the 32nd or 64th, so also modulo its own width.
template <typename Integer>
using Word = std::conditional_t<sizeof(Integer) == 8, uint64_t, uint32_t>;

// Writes `pairs` packed bytes of the value's low-order digits, the last one in front of `end`.
template <typename Value>
void writePairs(uint8_t* end, Value value, int32_t pairs) {
  if constexpr (sizeof(Value) == 8) {
    constexpr uint32_t fourPairs = 100'000'000;
    for (; value >= fourPairs && pairs > 4; end -= 4, pairs -= 4, value /= fourPairs)
      writePairs(end, static_cast<uint32_t>(value % fourPairs), 4);
    writePairs(end, static_cast<uint32_t>(value % fourPairs), pairs);
  } else {
    for (; value != 0 && pairs > 0; --pairs, value /= 100) *--end = pair_value_bcd[value % 100];
    for (; pairs > 0; --pairs) *--end = 0;
  }
}

}  // namespace

template <typename Integer>
Integer packedToInteger(const uint8_t* source, int32_t sourceDigits) {
  const auto value = packedMagnitude<Word<Integer>>(source, sourceDigits);
  const bool negative = std::is_signed_v<Integer> && isNegativeSign(source[packedBytes(sourceDigits) - 1]);
  return static_cast<Integer>(negative ? 0 - value : value);
}

template <typename Integer>
void packedToInteger8(const uint8_t* source, int32_t sourceDigits, Integer* result) {
  const Integer value = packedToInteger<Integer>(source, sourceDigits);
  memcpy(result, &value, sizeof value);
}

template <typename Integer>
uint8_t* integerToPacked(Integer value, uint8_t* destination, int32_t destinationDigits) {
  const bool negative = value < 0;
  const auto magnitude = negative ? 0 - static_cast<Word<Integer>>(value) : static_cast<Word<Integer>>(value);
  const int32_t pairs = destinationDigits / 2;
  uint8_t& last = destination[pairs];
  last = static_cast<uint8_t>(magnitude % 10 << 4 | 0xC);
  writePairs(&last, magnitude / 10, pairs);
  if (destinationDigits % 2 == 0) destination[0] &= 0x0F;
  const bool zero = last == 0x0C && std::all_of(destination, &last, [](uint8_t pair) { return pair == 0; });
  if (negative && !zero) last ^= 0xC ^ 0xD;
  return destination;
}

#define INTEGER(type)                                           \
  template type packedToInteger<type>(const uint8_t*, int32_t); \
  template uint8_t* integerToPacked<type>(type, uint8_t*, int32_t);
INTEGER(int8_t)
INTEGER(uint8_t)
INTEGER(int16_t)
INTEGER(uint16_t)
INTEGER(int32_t)
INTEGER(uint32_t)
INTEGER(int64_t)
INTEGER(uint64_t)
template void packedToInteger8<int64_t>(const uint8_t*, int32_t, int64_t*);
template void packedToInteger8<uint64_t>(const uint8_t*, int32_t, uint64_t*);

}  // namespace qrt::decimal
