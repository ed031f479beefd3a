// Packed-decimal arithmetic, compares and shifts: the inner functions behind the _qrtcBCD entries, with the
// arguments that the entries give (see qrtrlib.h). Nothing here keeps state or allocates.
#pragma once

#include <cstdint>

namespace qrt::decimal {

constexpr int32_t packedBytes(int32_t digits) {
  return digits / 2 + 1;
}

constexpr bool isNegativeSign(uint8_t lastByte) {
  return (lastByte & 15) == 0xB || (lastByte & 15) == 0xD;
}

uint8_t* add(const uint8_t* op1, const uint8_t* op2, uint8_t* result, int32_t resultDigits, int32_t op2Digits,
             int32_t op1Digits);

}  // namespace qrt::decimal
