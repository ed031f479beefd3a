// Digit movers between packed and zoned items, and the validity test of packed ones. They move the low-order
// digits and know nothing of zones and separate signs. Source and destination don't overlap.
#pragma once

#include <cstdint>

namespace qrt::decimal {

// Whether every nibble is a digit, the spare one of an even count too, and the last one a sign.
bool isValidPacked(const uint8_t* item, int32_t digits);

// Writes the digits with zone 0x3, "0" ahead of them in a longer destination. Digit nibbles aren't checked.
// Returns whether a digit that isn't zero was moved.
bool packedToZonedDigits(const uint8_t* source, uint8_t* destination, int32_t destinationDigits,
                         int32_t sourceDigits);

// Packs the low nibbles of the source's bytes behind leading zeros, with sign nibble 0xC. Returns whether a
// digit that isn't zero was moved.
bool zonedToPackedDigits(const uint8_t* source, uint8_t* destination, int32_t destinationDigits,
                         int32_t sourceDigits);

}  // namespace qrt::decimal
