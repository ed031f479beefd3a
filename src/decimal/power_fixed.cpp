// Exponentiation of decimal operands: powers by squaring on digit arrays of at most 31 digits, and the
// reciprocal of the power for a negative exponent.
#include <algorithm>
#include <array>
#include <cstring>

#include "decimal/power.h"

namespace qrt::decimal {
namespace {

constexpr int32_t zeroToZero = 49, zeroToNegative = 50, exponentTooLong = 59, powerTooLong = 60,
                  reciprocalOfZero = 61;
constexpr int32_t mostDigits = 31;
constexpr int32_t mostExponentDigits = 9;

// digit[0] ... digit[length - 1] times 10 to the -scale. The first digit is 0 only in a zero of one digit.
struct Number {
  std::array<uint8_t, mostDigits> digit{};
  int32_t length = 1;
  int64_t scale = 0;

  bool isZero() const { return digit[0] == 0; }
  int64_t integerDigits() const { return isZero() ? 0 : std::max<int64_t>(length - scale, 0); }
};

struct Operand {
  const uint8_t* digits;  // low nibbles count
  int32_t length;
  bool negative;
};

// A field with a leading separate sign, from its first non-zero digit or its last digit on.
Operand operandAt(const uint8_t* field, int32_t digits) {
  Operand operand{field + 1, digits, field[0] == '-'};
  for (; operand.length > 1 && (operand.digits[0] & 15) == 0; ++operand.digits) --operand.length;
  return operand;
}

// The number of these digits, counted from the higher of the first digit and the decimal point, cut to 31:
// fraction digits go first; `overflowed` is set when integer digits have to go too.
Number cut(const uint8_t* digits, int32_t length, int64_t scale, bool& overflowed) {
  const int64_t excess = std::max<int64_t>(length, scale) - mostDigits;
  if (excess > 0) {
    const int64_t dropped = std::min(excess, std::max<int64_t>(scale, 0));
    scale -= dropped;
    length -= static_cast<int32_t>(std::min<int64_t>(dropped, length));
    if (length > mostDigits) {
      overflowed = true;
      digits += length - mostDigits;
      length = mostDigits;
    }
  }
  for (; length > 0 && *digits == 0; ++digits) --length;
  Number number{.length = std::max(length, 1), .scale = scale};
  memcpy(number.digit.data(), digits, length);
  return number;
}

Number digit_array_mult(const Number& a, const Number& b, bool& overflowed) {
  const int32_t length = a.length + b.length;
  std::array<uint32_t, 2 * mostDigits> column{};  // sums of at most 31 products of digits
  for (int32_t i = 0; i < a.length; ++i)
    for (int32_t j = 0; j < b.length; ++j) column[i + j + 1] += a.digit[i] * b.digit[j];
  std::array<uint8_t, 2 * mostDigits> product;
  uint32_t carry = 0;
  for (int32_t i = length - 1; i >= 0; --i) {
    carry += column[i];
    product[i] = static_cast<uint8_t>(carry % 10);
    carry /= 10;
  }
  const int32_t leading = product[0] == 0;
  return cut(&product[leading], length - leading, a.scale + b.scale, overflowed);
}

Number powerOf(Number base, uint32_t exponent, bool& overflowed) {
  Number power;
  power.digit[0] = 1;
  while (exponent != 0 && !power.isZero()) {
    if ((exponent & 1) != 0) power = digit_array_mult(power, base, overflowed);
    exponent >>= 1;
    if (exponent != 0) base = digit_array_mult(base, base, overflowed);
  }
  return power;
}

// A base longer than a number can be counts as overflowed.
Number baseNumber(const Operand& base, int32_t scale, bool& overflowed) {
  Number number{.scale = scale};
  overflowed = base.length > mostDigits;
  if (overflowed) return number;
  number.length = base.length;
  for (int32_t i = 0; i < base.length; ++i) number.digit[i] = base.digits[i] & 15;
  return number;
}

uint32_t exponentValue(const Operand& exponent) {
  uint32_t value = 0;
  for (int32_t i = 0; i < exponent.length; ++i) value = 10 * value + (exponent.digits[i] & 15);
  return value;
}

// The result field: sign, then digits; digit i has the weight 10 to the (length - 1 - fraction - i).
struct ResultField {
  uint8_t* sign;
  uint8_t* digits;
  int32_t length, fraction, integers;

  // False when that many integer digits are too many and the statement has a SIZE ERROR phrase.
  bool takes(int64_t integerDigits, uint32_t* sizeError) const {
    if (integerDigits <= integers || *sizeError == 0) return true;
    ++*sizeError;
    return false;
  }

  void finish(bool negative) const {
    const bool zero = std::all_of(digits, digits + length, [](uint8_t digit) { return digit == '0'; });
    *sign = negative && !zero ? '-' : '+';
  }
};

void moveTo(const ResultField& field, const Number& number) {
  for (int32_t i = 0; i < field.length; ++i) {
    const int64_t fromLast = number.scale - field.fraction + field.length - 1 - i;
    const bool held = fromLast >= 0 && fromLast < number.length;
    field.digits[i] = '0';
    if (held) field.digits[i] += number.digit[number.length - 1 - static_cast<int32_t>(fromLast)];
  }
}

// Long division of powers of ten by `divisor`: each call gives the next quotient digit of 1000...
class ReciprocalDigits {
 public:
  explicit ReciprocalDigits(const Number& divisor) : length(divisor.length + 1) {
    memcpy(&divisorDigit[1], divisor.digit.data(), divisor.length);
    remainder[length - 1] = 1;
  }

  uint8_t next() {
    uint8_t digit = 0;
    for (; memcmp(remainder.data(), divisorDigit.data(), length) >= 0; ++digit) subtract();
    memmove(&remainder[0], &remainder[1], length - 1);  // the remainder is below the divisor: its first is 0
    remainder[length - 1] = 0;
    return digit;
  }

 private:
  void subtract() {
    int borrow = 0;
    for (int32_t i = length - 1; i >= 0; --i) {
      const int difference = remainder[i] - divisorDigit[i] - borrow;
      borrow = difference < 0;
      remainder[i] = static_cast<uint8_t>(difference + 10 * borrow);
    }
  }

  int32_t length;
  std::array<uint8_t, mostDigits + 1> divisorDigit{}, remainder{};
};

// Integer digits of 1 / number, cut to a whole.
int64_t reciprocalIntegerDigits(const Number& number) {
  const bool powerOfTen = number.digit[0] == 1 && std::all_of(&number.digit[1], &number.digit[number.length],
                                                              [](uint8_t digit) { return digit == 0; });
  return std::max<int64_t>(number.scale - number.length + 1 + powerOfTen, 0);
}

void reciprocalTo(const ResultField& field, const Number& number) {
  memset(field.digits, '0', field.length);
  ReciprocalDigits quotient(number);
  // The quotient digit of weight `fromLast` above the last fraction digit of the field.
  for (int64_t fromLast = number.scale + field.fraction; fromLast >= 0; --fromLast) {
    const uint8_t digit = quotient.next();
    if (fromLast < field.length) field.digits[field.length - 1 - fromLast] = '0' + digit;
  }
}

}  // namespace

void raiseFixedPoint(const QrtExponentiation* control, const uint8_t* exponentField, const uint8_t* baseField,
                     uint8_t* result, uint32_t* sizeError) {
  Operand exponent = operandAt(exponentField, control->exponentDigits);
  const Operand base = operandAt(baseField, control->baseDigits);
  if (exponent.length > mostExponentDigits) {
    qrtWriteERRmsg(exponentTooLong, 0);
    exponent.digits += exponent.length - mostExponentDigits;
    exponent.length = mostExponentDigits;
  }
  const uint32_t times = exponentValue(exponent);
  const bool reciprocal = exponent.negative && times != 0;
  bool overflowed = false;
  const Number number = baseNumber(base, control->baseFraction, overflowed);
  if (number.isZero() && !overflowed && (times == 0 || reciprocal)) {
    const bool counted = *sizeError != 0;
    sizeErrorOrMessage(sizeError, times == 0 ? zeroToZero : zeroToNegative);
    if (counted) return;
  }
  const bool negative = base.negative && times % 2 != 0;
  const Number power = powerOf(number, times, overflowed);
  if (overflowed) {
    qrtWriteERRmsg(powerTooLong, 0);
    if (*sizeError != 0) ++*sizeError;
    return;
  }
  if (reciprocal && power.isZero()) {
    qrtWriteERRmsg(reciprocalOfZero, 0);
    return;
  }
  const ResultField field{result, result + 1, control->resultDigits, control->resultFraction,
                          control->resultIntegers};
  if (!field.takes(reciprocal ? reciprocalIntegerDigits(power) : power.integerDigits(), sizeError)) return;
  if (reciprocal)
    reciprocalTo(field, power);
  else
    moveTo(field, power);
  field.finish(negative);
}

}  // namespace qrt::decimal
