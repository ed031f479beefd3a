// Conversions between packed, zoned, binary and floating items: the inner functions behind the
// _qrtcBCD_CONV entries, with the arguments that the entries give (see qrtrlib.h). Digits are moved right
// aligned: what the destination can't hold is cut on the left without a word.
#pragma once

#include <cstdint>

#include "decimal/zoned.h"

namespace qrt::decimal {

template <Zoned to>
uint8_t* packedToZoned(const uint8_t* source, uint8_t* destination, int32_t destinationDigits,
                       int32_t sourceDigits);

template <Zoned from>
uint8_t* zonedToPacked(const uint8_t* source, uint8_t* destination, int32_t destinationDigits,
                       int32_t sourceDigits);

template <Zoned from, Zoned to>
uint8_t* zonedToZoned(const uint8_t* source, uint8_t* destination, int32_t destinationDigits,
                      int32_t sourceDigits);

// The value modulo the width of the integer; an unsigned one takes the magnitude.
template <typename Integer>
Integer packedToInteger(const uint8_t* source, int32_t sourceDigits);

template <typename Integer>
void packedToInteger8(const uint8_t* source, int32_t sourceDigits, Integer* result);

template <typename Integer>
uint8_t* integerToPacked(Integer value, uint8_t* destination, int32_t destinationDigits);

// The value times 10 to the -scale, scale lying between -31 and 31; Float is float, double or long double.
template <typename Float>
Float packedToFloat(const uint8_t* source, int32_t sourceDigits, int32_t scale);

// The value times 10 to the -scale, cut to a whole number.
uint8_t* extendedToPacked(long double value, uint8_t* destination, int32_t destinationDigits, int32_t scale);

}  // namespace qrt::decimal
