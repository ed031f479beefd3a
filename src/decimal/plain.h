// The plain twins of the packed-decimal core: two digits a step through the tables, products and quotients
// long-hand, shifts digit by digit. Only tests include them, as the oracle of the fast forms: for valid
// operands they store the same bytes. They report nothing, and a result doesn't lie on an operand.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>

#include "decimal/packed.h"
#include "decimal/tables.h"

namespace qrt::decimal::plain {

inline constexpr int32_t mostBytes = 46;  // of an operand: 91 digits

// An operand of multiplication and division: no leading zero bytes, and an odd count of digits.
struct Operand {
  const uint8_t* item;
  int32_t digits;

  Operand(const uint8_t* start, int32_t count) : item(start), digits(count) {
    while (*item == 0 && digits > 1) ++item, digits -= 2;
    if (digits % 2 == 0) ++digits;
  }
  int32_t bytes() const { return packedBytes(digits); }
  bool negative() const { return isNegativeSign(item[bytes() - 1]); }
  bool isZero() const { return digits == 1 && item[0] >> 4 == 0; }
  bool fitsWord() const { return digits <= 7; }
  int32_t magnitude() const {
    int32_t tenfold = 0;
    for (int32_t i = 0; i < bytes(); ++i) tenfold = tenfold * 100 + bcd_pair_value[item[i]];
    return tenfold / 10;
  }
};

inline bool anyDigit(const uint8_t* item, int32_t bytes) {
  return std::any_of(item, item + bytes - 1, [](uint8_t byte) { return byte != 0; }) ||
         item[bytes - 1] > 0x0F;
}

// Right-aligned: filled with zeros or cut on the left.
inline void place(const uint8_t* work, int32_t workBytes, uint8_t* result, int32_t resultBytes) {
  for (int32_t i = 1; i <= resultBytes; ++i)
    result[resultBytes - i] = i <= workBytes ? work[workBytes - i] : 0;
}

inline void storeZero(uint8_t* item, int32_t digits) {
  memset(item, 0, packedBytes(digits));
  item[packedBytes(digits) - 1] = positiveSign;
}

inline bool isValid(const uint8_t* item, int32_t digits) {
  const uint8_t* const last = item + packedBytes(digits) - 1;
  return std::all_of(item, last, [](uint8_t byte) { return bcd_digits_checked[byte] != invalidPair; }) &&
         bcd_sign_checked[*last] != invalidPair;
}

inline void packed_add(const uint8_t* longer, int32_t longBytes, const uint8_t* shorter, int32_t shortBytes,
                       uint8_t* result, int32_t resultBytes, bool negative) {
  int32_t carry = 0;
  for (int32_t i = 1; i <= resultBytes; ++i) {
    int32_t sum = carry;
    if (i <= longBytes) sum += bcd_pair_value[longer[longBytes - i]];
    if (i <= shortBytes) sum += bcd_pair_value[shorter[shortBytes - i]];
    result[resultBytes - i] = pair_value_bcd[sum];
    carry = sum > 99;
  }
  setSign(result[resultBytes - 1], signNibble(negative && anyDigit(result, resultBytes)));
}

inline void packed_sub(const uint8_t* longer, int32_t longBytes, const uint8_t* shorter, int32_t shortBytes,
                       uint8_t* result, int32_t resultBytes, bool negative) {
  uint8_t work[mostBytes];
  int32_t borrow = 0;
  for (int32_t i = 1; i <= longBytes; ++i) {
    int32_t difference = bcd_pair_value[longer[longBytes - i]] - borrow;
    if (i <= shortBytes) difference -= bcd_pair_value[shorter[shortBytes - i]];
    borrow = difference < 0;
    work[longBytes - i] = pair_value_bcd[difference + 100 * borrow];
  }
  if (borrow != 0) {
    int32_t carry = 10;  // one unit of the units digit
    for (int32_t i = longBytes - 1; i >= 0; --i) {
      const int32_t sum = bcd_pair_nines[work[i]] + carry;
      work[i] = pair_value_bcd[sum];
      carry = sum > 99;
    }
    negative = !negative;
  }
  place(work, longBytes, result, resultBytes);
  setSign(result[resultBytes - 1], signNibble(negative && anyDigit(result, resultBytes)));
}

// op1 + op2, with op2 taken as of the given sign.
inline void sum(const uint8_t* op1, int32_t bytes1, const uint8_t* op2, int32_t bytes2, bool negative2,
                uint8_t* result, int32_t resultDigits) {
  bool negative = isNegativeSign(op1[bytes1 - 1]);
  const bool alike = negative == negative2;
  if (bytes2 > bytes1) {
    std::swap(op1, op2);
    std::swap(bytes1, bytes2);
    negative = negative2;
  }
  (alike ? packed_add : packed_sub)(op1, bytes1, op2, bytes2, result, packedBytes(resultDigits), negative);
  clearSpareNibble(result, resultDigits);
}

inline void add(const uint8_t* op1, const uint8_t* op2, uint8_t* result, int32_t resultDigits,
                int32_t op2Digits, int32_t op1Digits) {
  const int32_t bytes2 = packedBytes(op2Digits);
  sum(op1, packedBytes(op1Digits), op2, bytes2, isNegativeSign(op2[bytes2 - 1]), result, resultDigits);
}

inline void subtract(const uint8_t* op1, const uint8_t* op2, uint8_t* result, int32_t resultDigits,
                     int32_t op2Digits, int32_t op1Digits) {
  const int32_t bytes2 = packedBytes(op2Digits);
  sum(op1, packedBytes(op1Digits), op2, bytes2, !isNegativeSign(op2[bytes2 - 1]), result, resultDigits);
}

inline void packed_mult_int(const Operand& op, uint32_t factor, uint8_t* result, int32_t resultBytes) {
  uint32_t carry = 0;
  for (int32_t i = 1; i <= resultBytes; ++i) {
    const uint32_t value = (i <= op.bytes() ? bcd_pair_value[op.item[op.bytes() - i]] * factor : 0) + carry;
    result[resultBytes - i] = pair_value_bcd[value % 100];
    carry = value / 100;
  }
}

// Both factors in base 100 are ten times their value, so the product is a hundred times its own: a nibble
// more than an item has behind its units.
inline void multiplyLong(const Operand& op1, const Operand& op2, uint8_t* result, int32_t resultBytes) {
  uint8_t product[2 * mostBytes] = {};
  const int32_t length = op1.bytes() + op2.bytes();
  for (int32_t j = op2.bytes() - 1; j >= 0; --j) {
    int32_t carry = 0;
    for (int32_t i = op1.bytes() - 1; i >= 0; --i) {
      carry += product[i + j + 1] + bcd_pair_value[op2.item[j]] * bcd_pair_value[op1.item[i]];
      product[i + j + 1] = static_cast<uint8_t>(carry % 100);
      carry /= 100;
    }
    product[j] = static_cast<uint8_t>(carry);
  }
  for (int32_t i = length - 1; i >= 0; --i) {
    const uint8_t above = i > 0 ? pair_value_bcd[product[i - 1]] : 0;
    product[i] = static_cast<uint8_t>(above << 4 | pair_value_bcd[product[i]] >> 4);
  }
  place(product, length, result, resultBytes);
}

inline void multiply(const uint8_t* op1, const uint8_t* op2, uint8_t* result, int32_t resultDigits,
                     int32_t op2Digits, int32_t op1Digits) {
  const Operand first(op1, op1Digits), second(op2, op2Digits);
  if (first.isZero() || second.isZero()) return storeZero(result, resultDigits);
  const int32_t resultBytes = packedBytes(resultDigits);
  if (second.fitsWord())
    packed_mult_int(first, second.magnitude(), result, resultBytes);
  else if (first.fitsWord())
    packed_mult_int(second, first.magnitude(), result, resultBytes);
  else
    multiplyLong(first, second, result, resultBytes);
  setSign(result[resultBytes - 1], signNibble(first.negative() != second.negative()));
  clearSpareNibble(result, resultDigits);
}

// What a division left over, ten times its value in base 100 as items have it.
struct Remainder {
  uint8_t pairs[mostBytes];
  bool isZero;
};

inline Remainder packed_div_int(const Operand& dividend, uint32_t divisor, uint8_t* quotient) {
  uint32_t rest = 0, digits = 0;
  for (int32_t i = 0; i < dividend.bytes(); ++i) {
    rest = rest * 100 + bcd_pair_value[dividend.item[i]];
    digits = rest / divisor;
    quotient[i] = pair_value_bcd[digits];
    rest %= divisor;
  }
  // The last step worked on the units times 10, so its low digit is one past the units.
  uint32_t tenfold = digits % 10 * divisor + rest;
  Remainder remainder{{}, tenfold == 0};
  for (int32_t i = dividend.bytes() - 1; i >= 0; --i, tenfold /= 100)
    remainder.pairs[i] = static_cast<uint8_t>(tenfold % 100);
  return remainder;
}

inline void base100_sub(uint8_t* target, const uint8_t* subtrahend, int32_t bytes) {
  int32_t borrow = 0;
  for (int32_t i = bytes - 1; i >= 0; --i) {
    const int32_t difference = target[i] - borrow - subtrahend[i];
    borrow = difference < 0;
    target[i] = static_cast<uint8_t>(difference + 100 * borrow);
  }
}

using Multiples = uint8_t[10][mostBytes + 2];

inline void multiplyRow(const uint8_t* row, int32_t factor, uint8_t* product, int32_t bytes) {
  int32_t carry = 0;
  for (int32_t i = bytes - 1; i >= 0; --i) {
    carry += row[i] * factor;
    product[i] = static_cast<uint8_t>(carry % 100);
    carry /= 100;
  }
}

// The largest multiple that goes into the work bytes is taken off them; its factor is a digit of the
// quotient.
inline uint8_t takeDigit(uint8_t* work, const Multiples& multiples, int32_t bytes) {
  uint8_t digit = 0;
  while (digit < 9 && memcmp(multiples[digit + 1], work, bytes) <= 0) ++digit;
  if (digit != 0) base100_sub(work, multiples[digit], bytes);
  return digit;
}

// Quotient digits by comparing against stored multiples of the divisor: `length` bytes of dividend give one
// byte more of quotient.
inline Remainder divideLong(const Operand& dividend, const Operand& divisor, uint8_t* quotient) {
  const int32_t length = dividend.bytes();
  uint8_t work[2 * mostBytes + 1] = {};
  for (int32_t i = 0; i < length; ++i) work[length + i] = bcd_pair_value[dividend.item[i]];
  Multiples multiples = {}, shifted = {};
  for (int32_t i = 1; i <= divisor.bytes(); ++i)
    multiples[1][length + 1 - i] = bcd_pair_value[divisor.item[divisor.bytes() - i]];
  for (int32_t k = 1; k < 10; ++k) {
    multiplyRow(multiples[1], k, multiples[k], length + 1);
    multiplyRow(multiples[k], 10, shifted[k], length + 1);
  }
  uint8_t above = 0;
  for (int32_t i = 0; i < length; ++i) {
    quotient[i] = static_cast<uint8_t>(above << 4 | takeDigit(work + i, shifted, length + 1));
    above = takeDigit(work + i, multiples, length + 1);
  }
  quotient[length] = static_cast<uint8_t>(above << 4);
  Remainder remainder;
  memcpy(remainder.pairs, work + length, length);
  remainder.isZero = std::all_of(work + length, work + 2 * length, [](uint8_t pair) { return pair == 0; });
  return remainder;
}

// Both divisions; `remainder` is null for the one that has none. A divisor of zero is the caller's business.
inline void divideWithRemainder(const uint8_t* dividend, const uint8_t* divisor, uint8_t* quotient,
                                uint8_t* remainder, int32_t remainderDigits, int32_t quotientDigits,
                                int32_t divisorDigits, int32_t dividendDigits) {
  const Operand of(dividend, dividendDigits), by(divisor, divisorDigits);
  const int32_t quotientBytes = packedBytes(quotientDigits), remainderBytes = packedBytes(remainderDigits);
  if (of.isZero() || of.digits < by.digits) {
    storeZero(quotient, quotientDigits);
    if (remainder == nullptr) return;
    if (of.isZero()) return storeZero(remainder, remainderDigits);
    return place(of.item, of.bytes(), remainder, remainderBytes);
  }
  uint8_t digits[mostBytes + 1];
  const Remainder rest =
      by.fitsWord() ? packed_div_int(of, by.magnitude(), digits) : divideLong(of, by, digits);
  place(digits, of.bytes() + !by.fitsWord(), quotient, quotientBytes);
  const bool opposite = of.negative() != by.negative();
  setSign(quotient[quotientBytes - 1], signNibble(opposite && anyDigit(quotient, quotientBytes)));
  clearSpareNibble(quotient, quotientDigits);
  if (remainder == nullptr) return;

  uint8_t packed[mostBytes];
  for (int32_t i = 0; i < of.bytes(); ++i) packed[i] = pair_value_bcd[rest.pairs[i]];
  place(packed, of.bytes(), remainder, remainderBytes);
  const bool zero = by.fitsWord() ? rest.isZero : !anyDigit(remainder, remainderBytes);
  setSign(remainder[remainderBytes - 1], signNibble(of.negative() && !zero));
  clearSpareNibble(remainder, remainderDigits);
}

inline void divide(const uint8_t* dividend, const uint8_t* divisor, uint8_t* quotient, int32_t quotientDigits,
                   int32_t divisorDigits, int32_t dividendDigits) {
  divideWithRemainder(dividend, divisor, quotient, nullptr, 1, quotientDigits, divisorDigits, dividendDigits);
}

inline int32_t compare(const uint8_t* op1, const uint8_t* op2, int32_t op2Digits, int32_t op1Digits) {
  const int32_t bytes1 = packedBytes(op1Digits), bytes2 = packedBytes(op2Digits);
  const int32_t sign1 = isNegativeSign(op1[bytes1 - 1]) ? -1 : 1;
  const int32_t sign2 = isNegativeSign(op2[bytes2 - 1]) ? -1 : 1;
  bool zero = true;
  for (int32_t i = std::max(bytes1, bytes2); i > 0; --i) {
    const int32_t mask = i > 1 ? 0xFF : 0xF0;
    const int32_t byte1 = i <= bytes1 ? op1[bytes1 - i] & mask : 0;
    const int32_t byte2 = i <= bytes2 ? op2[bytes2 - i] & mask : 0;
    if (byte1 != byte2) return byte1 > byte2 ? sign1 : -sign2;
    zero = zero && byte1 == 0;
  }
  return sign1 == sign2 || zero ? 0 : sign1;
}

// The digit of that index, counted from the units; 0 beyond the item's digits.
inline int32_t digitAt(const uint8_t* item, int32_t digits, int32_t index) {
  if (index < 0 || index >= digits) return 0;
  const uint8_t byte = item[packedBytes(digits) - 1 - (index + 1) / 2];
  return index % 2 == 0 ? byte >> 4 : byte & 0x0F;
}

// Digits move up by `shift`, or down when it is negative. The sign nibble stays 0.
inline void moveDigits(const uint8_t* source, uint8_t* destination, int32_t destinationDigits,
                       int32_t sourceDigits, int32_t shift) {
  memset(destination, 0, packedBytes(destinationDigits));
  for (int32_t to = 0; to < destinationDigits; ++to) {
    const int32_t digit = digitAt(source, sourceDigits, to - shift);
    destination[packedBytes(destinationDigits) - 1 - (to + 1) / 2] |=
        static_cast<uint8_t>(to % 2 == 0 ? digit << 4 : digit);
  }
}

inline void shiftLeft(const uint8_t* source, uint8_t* destination, int32_t destinationDigits,
                      int32_t sourceDigits, int32_t shift) {
  moveDigits(source, destination, destinationDigits, sourceDigits, shift);
  setSign(destination[packedBytes(destinationDigits) - 1], source[packedBytes(sourceDigits) - 1] & 0x0F);
}

inline void shiftRightRounded(const uint8_t* source, uint8_t* destination, int32_t destinationDigits,
                              int32_t sourceDigits, int32_t shift, bool rounded = true) {
  const int32_t bytes = packedBytes(destinationDigits);
  moveDigits(source, destination, destinationDigits, sourceDigits, -shift);
  if (rounded && digitAt(source, sourceDigits, shift - 1) > 4) {
    int32_t carry = 10;
    for (int32_t i = bytes - 1; i >= 0; --i) {
      const int32_t sum = bcd_pair_value[destination[i]] + carry;
      destination[i] = pair_value_bcd[sum];
      carry = sum > 99;
    }
  }
  clearSpareNibble(destination, destinationDigits);
  const bool negative = isNegativeSign(source[packedBytes(sourceDigits) - 1]);
  setSign(destination[bytes - 1], signNibble(negative && anyDigit(destination, bytes)));
}

inline void shiftRight(const uint8_t* source, uint8_t* destination, int32_t destinationDigits,
                       int32_t sourceDigits, int32_t shift) {
  shiftRightRounded(source, destination, destinationDigits, sourceDigits, shift, false);
}

inline void packDigits(const uint8_t* source, uint8_t* destination, int32_t destinationDigits,
                       int32_t sourceDigits, uint32_t* nonZero) {
  memset(destination, 0, packedBytes(destinationDigits));
  destination[packedBytes(destinationDigits) - 1] = positiveSign;
  *nonZero = 0;
  for (int32_t i = 0; i < std::min(sourceDigits, destinationDigits); ++i) {
    const int32_t digit = source[sourceDigits - 1 - i] & 0x0F;
    destination[packedBytes(destinationDigits) - 1 - (i + 1) / 2] |=
        static_cast<uint8_t>(i % 2 == 0 ? digit << 4 : digit);
    *nonZero |= digit;
  }
}

inline void unpackDigits(const uint8_t* source, uint8_t* destination, int32_t destinationDigits,
                         int32_t sourceDigits, uint32_t* nonZero) {
  *nonZero = 0;
  for (int32_t i = 0; i < destinationDigits; ++i) {
    const int32_t digit = digitAt(source, sourceDigits, i);
    destination[destinationDigits - 1 - i] = static_cast<uint8_t>('0' + digit);
    *nonZero |= digit;
  }
}

}  // namespace qrt::decimal::plain
