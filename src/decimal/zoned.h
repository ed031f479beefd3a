// Zoned decimal: the five forms of a sign, the movers of digits between zoned and packed items, and the zoned
// shifts.
#pragma once

#include <cstdint>
#include <cstring>

namespace qrt::decimal {

enum class Zoned { TO, TS, LO, LS, US };

inline constexpr uint8_t zonePositive = 0x30;
inline constexpr uint8_t zoneNegative = 0x70;

constexpr bool hasSeparateSign(Zoned form) {
  return form == Zoned::TS || form == Zoned::LS;
}

constexpr uint8_t withZone(uint8_t byte, uint8_t zone) {
  return static_cast<uint8_t>((byte & 0x0F) | (zone & 0xF0));
}

// Packs the low-order digits of `sourceDigits` bytes, whose zones don't matter, into a positive item. Returns
// whether one of the digits moved isn't 0. Source and destination don't overlap.
bool packDigits(const uint8_t* source, uint8_t* destination, int32_t destinationDigits, int32_t sourceDigits);

// Unpacks the low-order digits of an item, whose sign doesn't matter, into plain zoned bytes. Returns whether
// one of the digits moved isn't 0. Source and destination don't overlap.
bool unpackDigits(const uint8_t* source, uint8_t* destination, int32_t destinationDigits,
                  int32_t sourceDigits);

// Zoned shifts are moves of bytes: to the left into exactly sourceDigits + shift digits, to the right the
// first destinationDigits of the source.
template <Zoned form>
uint8_t* shiftZonedLeft(const uint8_t* source, uint8_t* destination, int32_t, int32_t sourceDigits,
                        int32_t shift) {
  const uint8_t last = source[sourceDigits - 1];
  const uint8_t behind = form == Zoned::TS ? source[sourceDigits] : 0;
  const int32_t moved = form == Zoned::LS ? sourceDigits + 1 : sourceDigits;
  memmove(destination, source, static_cast<size_t>(moved));
  memset(destination + moved, '0', static_cast<size_t>(shift));
  if (form == Zoned::TO) {
    destination[moved - 1] = withZone(last, zonePositive);
    uint8_t& newLast = destination[moved + shift - 1];
    newLast = withZone(newLast, last);
  }
  if (form == Zoned::TS) destination[moved + shift] = behind;
  return destination;
}

template <Zoned form>
uint8_t* shiftZonedRight(const uint8_t* source, uint8_t* destination, int32_t destinationDigits,
                         int32_t sourceDigits, int32_t) {
  const uint8_t last = source[sourceDigits - 1];
  const uint8_t behind = form == Zoned::TS ? source[sourceDigits] : 0;
  const int32_t moved = form == Zoned::LS ? destinationDigits + 1 : destinationDigits;
  memmove(destination, source, static_cast<size_t>(moved));
  if (form == Zoned::TO) destination[moved - 1] = withZone(destination[moved - 1], last);
  if (form == Zoned::TS) destination[moved] = behind;
  return destination;
}

}  // namespace qrt::decimal
