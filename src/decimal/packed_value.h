// The value of a packed item, checked byte by byte and worked out in the number type of the target.
#pragma once

#include <cstdint>

#include "decimal/checks.h"
#include "decimal/packed.h"

namespace qrt::decimal {

// The digits as a whole number in Value's own arithmetic; the spare nibble of an even count is checked and
// left out.
template <typename Value>
Value packedMagnitude(const uint8_t* source, int32_t digits) {
  const uint8_t* const last = source + packedBytes(digits) - 1;
  Value value = 0;
  if (digits % 2 == 0) {
    checkedPair(*source);
    value = static_cast<Value>(*source++ & 15);
  }
  for (; source < last; ++source) value = value * 100 + checkedPair(*source);
  return value * 10 + checkedUnits(*last);
}

}  // namespace qrt::decimal
