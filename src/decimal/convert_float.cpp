// Conversions between packed items and binary floats.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "decimal/convert.h"
#include "decimal/packed_integer.h"
#include "decimal/packed_value.h"
#include "decimal/powers_of_ten.h"

namespace qrt::decimal {
namespace {

// Values of a smaller magnitude become zero, in both directions.
constexpr long double smallest = 1e-19L;
constexpr long double largestFromPacked = 1.001e31L;

// As many digits as a 64-bit mantissa can tell apart; later ones only add to the magnitude.
constexpr int32_t mostExtendedDigits = 20;

// The digits as a whole number, the first 20 of them as they are and the others as zeros. Leading zero bytes
// of an odd count aren't counted among the 20; those of an even count are, but for the first byte.
long double extendedMagnitude(const uint8_t* source, int32_t digits) {
  const uint8_t* const last = source + packedBytes(digits) - 1;
  const bool odd = digits % 2 != 0;
  long double value = 0;
  int32_t taken = 0;
  if (!odd) {
    checkedPair(*source);
    value = *source++ & 15;
  }
  for (; source < last; ++source) {
    const uint8_t pair = checkedPair(*source);
    if (odd && taken == 0 && *source == 0) continue;
    value *= 100;
    if (taken < mostExtendedDigits) {
      value += pair;
      taken += 2;
    }
  }
  const uint8_t units = checkedUnits(*last);
  return value * 10 + (taken < mostExtendedDigits ? units : 0);
}

// fmod(value, modulus) cut to a whole number.
int32_t wholeRemainder(long double value, int32_t modulus) {
  if (value < 0x1p63L) return static_cast<int32_t>(static_cast<int64_t>(value) % modulus);
  return static_cast<int32_t>(std::fmod(value, static_cast<long double>(modulus)));
}

// Writes the low-order digits of a magnitude with sign nibble 0 and takes them off the magnitude.
void writeDigits(long double& magnitude, uint8_t* destination, int32_t digits) {
  uint8_t* byte = destination + packedBytes(digits) - 1;
  *byte = static_cast<uint8_t>(wholeRemainder(magnitude, 10) << 4);
  magnitude /= 10;
  for (int32_t left = digits - 1; left >= 2; left -= 2) {
    *--byte = pair_value_bcd[wholeRemainder(magnitude, 100)];
    magnitude /= 100;
  }
  if (digits % 2 == 0) {
    *--byte = static_cast<uint8_t>(wholeRemainder(magnitude, 10));
    magnitude /= 10;
  }
}

// The byte from which on a field holds no more than noise, as an index; not below `bytes` when all of it
// holds. `first` is the index of the first byte with a digit, `rest` what the field had no room for.
int32_t endOfPrecision(int32_t first, int32_t bytes, long double rest) {
  constexpr int32_t preciseBytes = 9, mostPreciseSpan = 10;
  const int32_t excess = rest >= 10 ? static_cast<int32_t>(std::log10(rest)) : 0;
  if (bytes - 1 - first <= mostPreciseSpan && excess <= 0) return bytes;
  return first + preciseBytes - (excess > 0 ? excess / 2 + 2 : 0);
}

}  // namespace

template <>
double packedToFloat(const uint8_t* source, int32_t sourceDigits, int32_t scale) {
  const auto value = packedMagnitude<double>(source, sourceDigits);
  const bool negative = isNegativeSign(source[packedBytes(sourceDigits) - 1]);
  return (negative ? -value : value) * scalesOfDouble[scale + mostScale];
}

template <>
float packedToFloat(const uint8_t* source, int32_t sourceDigits, int32_t scale) {
  return static_cast<float>(packedToFloat<double>(source, sourceDigits, scale));
}

template <>
long double packedToFloat(const uint8_t* source, int32_t sourceDigits, int32_t scale) {
  constexpr long double infinity = std::numeric_limits<long double>::infinity();
  const long double value = extendedMagnitude(source, sourceDigits) * scalesOfExtended[scale + mostScale];
  if (value < smallest) return 0;
  const long double inRange = value > largestFromPacked ? infinity : value;
  return isNegativeSign(source[packedBytes(sourceDigits) - 1]) ? -inRange : inRange;
}

uint8_t* extendedToPacked(long double value, uint8_t* destination, int32_t destinationDigits, int32_t scale) {
  const int32_t bytes = packedBytes(destinationDigits);
  uint8_t& last = destination[bytes - 1];
  long double magnitude = std::fabs(value);
  const bool inRange = magnitude >= smallest && magnitude <= extendedPowerOfTen(destinationDigits + 19);
  if (!inRange) {  // a NaN too
    memset(destination, 0, bytes);
    last = positiveSign;
    return destination;
  }
  magnitude *= scalesOfExtended[scale + mostScale];
  // A whole number that fits has no digits of noise, and quotients by ten and a hundred are never rounded up
  // to another whole number: its digits are those of the integer.
  if (magnitude < 1e18L && magnitude < extendedPowerOfTen(destinationDigits)) {
    const auto whole = static_cast<int64_t>(magnitude);
    return integerToPacked(value < 0 ? -whole : whole, destination, destinationDigits);
  }
  writeDigits(magnitude, destination, destinationDigits);
  const uint8_t* const firstDigit =
      std::find_if(destination, destination + bytes, [](uint8_t byte) { return byte != 0; });
  const auto first = static_cast<int32_t>(firstDigit - destination);
  bool negative = value < 0 && first < bytes;
  if (first < bytes) {
    const int32_t end = endOfPrecision(first, bytes, magnitude);
    for (int32_t i = std::max(end, 0); i < bytes; ++i) destination[i] = 0;
    negative = negative && end != first;
  }
  last |= signNibble(negative);
  return destination;
}

}  // namespace qrt::decimal
