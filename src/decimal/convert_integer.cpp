// Conversions between packed items and binary integers of 1, 2, 4 and 8 bytes.
#include <cstring>
#include <type_traits>

#include "decimal/convert.h"
#include "decimal/packed_integer.h"
#include "decimal/packed_value.h"

namespace qrt::decimal {

template <typename Integer>
[[gnu::always_inline]] inline Integer packedToInteger(const uint8_t* source, int32_t sourceDigits) {
  const auto value = packedMagnitude<Word<Integer>>(source, sourceDigits);
  const bool negative = std::is_signed_v<Integer> && isNegativeSign(source[packedBytes(sourceDigits) - 1]);
  return static_cast<Integer>(negative ? 0 - value : value);
}

template <typename Integer>
[[gnu::always_inline]] inline void packedToInteger8(const uint8_t* source, int32_t sourceDigits,
                                                    Integer* result) {
  const Integer value = packedToInteger<Integer>(source, sourceDigits);
  memcpy(result, &value, sizeof value);
}

}  // namespace qrt::decimal
