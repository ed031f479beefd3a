// Packed-decimal shifts: in a register when both items have at most 31 digits, else byte by byte. Digits are
// counted from the units upwards, bytes from the item's end: byte b holds digit 2b in its high nibble and
// digit 2b - 1, or the sign when b is 0, in its low one.
//
//      byte      2       1       0
//            | 4 : 3 | 2 : 1 | 0 : sign |
#include <algorithm>

#include "decimal/packed.h"
#include "decimal/register.h"
#include "decimal/tables.h"

namespace qrt::decimal {
namespace {

bool fitRegisters(int32_t digits1, int32_t digits2) {
  return std::max(digits1, digits2) <= registerDigits;
}

__m128i loadDigits(const uint8_t* item, int32_t digits) {
  return _mm_and_si128(loadItem(item, packedBytes(digits)), placesOfDigits(digits));
}

uint8_t* storeDigits(__m128i value, uint8_t sign, uint8_t* item, int32_t digits) {
  storeItem(_mm_or_si128(value, wordInRegister(sign)), item, packedBytes(digits));
  return item;
}

// The highest digit dropped comes to lie where the sign nibble was.
uint8_t* shiftDownInRegister(const uint8_t* source, uint8_t* destination, int32_t destinationDigits,
                             int32_t sourceDigits, int32_t shift, bool rounded) {
  const bool negative = isNegativeSign(source[packedBytes(sourceDigits) - 1]);
  __m128i value = moveNibblesDown(loadDigits(source, sourceDigits), std::min(shift, registerDigits + 1));
  if (rounded) {
    const uint32_t one = (lowWord(value) & 15) > 4 ? 0x10 : 0;
    value = addRegisters(_mm_and_si128(value, placesOfDigits(registerDigits)), wordInRegister(one));
  }
  value = _mm_and_si128(value, placesOfDigits(destinationDigits));
  return storeDigits(value, signNibble(negative && anyBit(value)), destination, destinationDigits);
}

uint8_t* shiftUpInRegister(const uint8_t* source, uint8_t* destination, int32_t destinationDigits,
                           int32_t sourceDigits, int32_t shift) {
  const uint8_t sign = source[packedBytes(sourceDigits) - 1] & 0x0F;
  const __m128i value = moveNibblesUp(loadDigits(source, sourceDigits), std::min(shift, registerDigits + 1));
  return storeDigits(_mm_and_si128(value, placesOfDigits(destinationDigits)), sign, destination,
                     destinationDigits);
}

// The digits of a source; those that it doesn't have are zeros.
struct Digits {
  const uint8_t* end;
  int32_t count;

  Digits(const uint8_t* item, int32_t digits) : end(item + packedBytes(digits)), count(digits) {}

  uint8_t sign() const { return end[-1] & 0x0F; }
  bool negative() const { return isNegativeSign(end[-1]); }

  uint8_t high(int32_t byte) const { return 2 * byte < count ? end[-1 - byte] & 0xF0 : 0; }
  uint8_t low(int32_t byte) const { return byte > 0 && 2 * byte - 1 < count ? end[-1 - byte] & 0x0F : 0; }

  // The byte that has the digit of that index in its high nibble and the next lower one in its low nibble.
  uint8_t pair(int32_t digit) const {
    if (digit < 0) return 0;
    if (digit % 2 == 0) return high(digit / 2) | low(digit / 2);
    return static_cast<uint8_t>(low(digit / 2 + 1) << 4 | high(digit / 2) >> 4);
  }
};

// Moves the digits from index `dropped` on down to the units. An item may be moved onto itself.
void moveDown(const Digits& source, int32_t dropped, uint8_t* destination, int32_t bytes) {
  for (int32_t byte = 0; byte < bytes; ++byte) {
    const uint8_t pair = source.pair(2 * byte + dropped);
    destination[bytes - 1 - byte] = byte == 0 ? pair & 0xF0 : pair;
  }
}

// Moves the digits up by `shift`; from the far end, as an item may be moved onto itself.
void moveUp(const Digits& source, int32_t shift, uint8_t* destination, int32_t bytes) {
  for (int32_t byte = bytes - 1; byte >= 0; --byte)
    destination[bytes - 1 - byte] = source.pair(2 * byte - shift);
}

// One more in the units; a carry out of the item is lost.
void addOne(uint8_t* item, int32_t bytes) {
  uint32_t carry = 10;  // a unit is ten in the last byte, whose low nibble is the sign's
  for (int32_t byte = bytes - 1; byte >= 0 && carry != 0; --byte) {
    const uint32_t sum = bcd_pair_value[item[byte]] + carry;
    item[byte] = pair_value_bcd[sum];
    carry = sum > 99;
  }
}

uint8_t* shiftDown(const uint8_t* source, uint8_t* destination, int32_t destinationDigits,
                   int32_t sourceDigits, int32_t shift, bool rounded) {
  if (fitRegisters(destinationDigits, sourceDigits)) [[likely]]
    return shiftDownInRegister(source, destination, destinationDigits, sourceDigits, shift, rounded);
  const Digits digits(source, sourceDigits);
  const bool negative = digits.negative();
  const int32_t bytes = packedBytes(destinationDigits);
  const bool roundUp = rounded && shift > 0 && shift <= sourceDigits && digits.pair(shift - 1) > 0x4F;
  moveDown(digits, shift, destination, bytes);
  if (roundUp) addOne(destination, bytes);
  clearSpareNibble(destination, destinationDigits);
  destination[bytes - 1] |= signNibble(negative && hasDigits(destination, bytes));
  return destination;
}

}  // namespace

uint8_t* shiftLeft(const uint8_t* source, uint8_t* destination, int32_t destinationDigits,
                   int32_t sourceDigits, int32_t shift) {
  if (fitRegisters(destinationDigits, sourceDigits)) [[likely]]
    return shiftUpInRegister(source, destination, destinationDigits, sourceDigits, shift);
  const Digits digits(source, sourceDigits);
  const uint8_t sign = digits.sign();
  const int32_t bytes = packedBytes(destinationDigits);
  moveUp(digits, shift, destination, bytes);
  clearSpareNibble(destination, destinationDigits);
  destination[bytes - 1] |= sign;
  return destination;
}

uint8_t* shiftRight(const uint8_t* source, uint8_t* destination, int32_t destinationDigits,
                    int32_t sourceDigits, int32_t shift) {
  return shiftDown(source, destination, destinationDigits, sourceDigits, shift, false);
}

uint8_t* shiftRightRounded(const uint8_t* source, uint8_t* destination, int32_t destinationDigits,
                           int32_t sourceDigits, int32_t shift) {
  return shiftDown(source, destination, destinationDigits, sourceDigits, shift, true);
}

}  // namespace qrt::decimal
