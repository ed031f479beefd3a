// Packed-decimal arithmetic, compares and shifts: the inner functions behind the _qrtcBCD entries, with the
// arguments that the entries give (see qrtrlib.h). Nothing here keeps state or allocates. Lengths in digits
// carry that in their names; the others are bytes.
#pragma once

#include <cstdint>

namespace qrt::decimal {

inline constexpr uint8_t positiveSign = 0xC;
inline constexpr uint8_t negativeSign = 0xD;

constexpr int32_t packedBytes(int32_t digits) {
  return (digits >> 1) + 1;
}

constexpr bool isNegativeSign(uint8_t lastByte) {
  return (lastByte & 15) == 0xB || (lastByte & 15) == 0xD;
}

constexpr uint8_t signNibble(bool negative) {
  return negative ? negativeSign : positiveSign;
}

// Sets the sign nibble of an item's last byte.
inline void setSign(uint8_t& lastByte, uint8_t sign) {
  lastByte = static_cast<uint8_t>((lastByte & 0xF0) | sign);
}

// Clears the nibble that an even count of digits leaves over.
inline void clearSpareNibble(uint8_t* item, int32_t digits) {
  if (digits % 2 == 0) item[0] &= 0x0F;
}

// Whether all nibbles of an item, the spare one included, are digits, and the last one is a sign.
bool isValid(const uint8_t* item, int32_t bytes);

// Reports each bad byte of an item: message 39 for a sign nibble below 10, else 903.
void checkOperand(const uint8_t* item, int32_t bytes);

// Whether an item has a digit that isn't 0.
bool hasDigits(const uint8_t* item, int32_t bytes);

template <bool opposite2>
uint8_t* sum(const uint8_t* op1, const uint8_t* op2, uint8_t* result, int32_t resultDigits, int32_t op2Digits,
             int32_t op1Digits);
uint8_t* multiply(const uint8_t* op1, const uint8_t* op2, uint8_t* result, int32_t resultDigits,
                  int32_t op2Digits, int32_t op1Digits);
uint8_t* divide(const uint8_t* dividend, const uint8_t* divisor, uint8_t* quotient, int32_t quotientDigits,
                int32_t divisorDigits, int32_t dividendDigits);
void divideWithRemainder(const uint8_t* dividend, const uint8_t* divisor, uint8_t* quotient,
                         uint8_t* remainder, int32_t remainderDigits, int32_t quotientDigits,
                         int32_t divisorDigits, int32_t dividendDigits);
uint8_t* absolute(const uint8_t* source, uint8_t* destination, int32_t destinationDigits,
                  int32_t sourceDigits);
uint8_t* negate(const uint8_t* source, uint8_t* destination, int32_t destinationDigits, int32_t sourceDigits);

// -1, 0 or 1 for op1 below, equal to or above op2. The operands aren't checked.
int32_t compare(const uint8_t* op1, const uint8_t* op2, int32_t op2Digits, int32_t op1Digits);

// A relation as the set of results of compare() for which it holds.
enum Relation : uint32_t { less = 1, equal = 2, greater = 4 };

template <uint32_t relation>
int32_t holds(const uint8_t* op1, const uint8_t* op2, int32_t op2Digits, int32_t op1Digits) {
  return (relation >> (compare(op1, op2, op2Digits, op1Digits) + 1)) & 1;
}

int32_t isZero(const uint8_t* op, int32_t opDigits);

uint8_t* shiftLeft(const uint8_t* source, uint8_t* destination, int32_t destinationDigits,
                   int32_t sourceDigits, int32_t shift);
uint8_t* shiftRight(const uint8_t* source, uint8_t* destination, int32_t destinationDigits,
                    int32_t sourceDigits, int32_t shift);
uint8_t* shiftRightRounded(const uint8_t* source, uint8_t* destination, int32_t destinationDigits,
                           int32_t sourceDigits, int32_t shift);

}  // namespace qrt::decimal
