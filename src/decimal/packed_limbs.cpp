// Packed-decimal multiplication and division on limbs of eight digits. The last limb of an item takes in its
// sign nibble as a zero, so an item of value v enters as 10v: four bytes make a limb, and a value that is a
// multiple of ten goes back the same way.
#include <algorithm>
#include <bit>
#include <cassert>
#include <cstring>

#include "decimal/packed.h"
#include "decimal/register.h"
#include "decimal/tables.h"
#include "frame/message.h"
#include "qrtrlib.h"

namespace qrt::decimal {
namespace {

constexpr uint32_t base = 100'000'000;
constexpr int32_t limbBytes = 4;
constexpr int32_t mostFactorLimbs = 8;     // 63 digits, unless the other factor has at most 7
constexpr int32_t mostDividendLimbs = 12;  // 91 digits

// The digits of an item without its leading zero bytes.
struct Operand {
  const uint8_t* item;
  int32_t bytes;
  bool negative;

  Operand(const uint8_t* start, int32_t digits) : item(start), bytes(packedBytes(digits)) {
    while (bytes > 1 && *item == 0) ++item, --bytes;
    negative = isNegativeSign(item[bytes - 1]);
  }
  bool isZero() const { return bytes == 1 && item[0] < 0x10; }
  int32_t limbs() const { return (bytes + limbBytes - 1) / limbBytes; }
};

struct Division {
  uint32_t quotient, remainder;
};

// Quotient and remainder of a value below divisor times 2 to the 32nd.
inline Division divideWide(uint64_t value, uint32_t divisor) {
  Division result;
  __asm__("divl %4"
          : "=a"(result.quotient), "=d"(result.remainder)
          : "a"(static_cast<uint32_t>(value)), "d"(static_cast<uint32_t>(value >> 32)), "r"(divisor)
          : "cc");
  return result;
}

// Quotient and remainder by the base. Below 2 to the 55th the upper 32 bits times the base's reciprocal give
// the quotient or one less: what they leave out is worth less than 0.3.
inline Division divideByBase(uint64_t value) {
  constexpr int32_t dropped = 23;
  constexpr uint32_t reciprocal = static_cast<uint32_t>((uint64_t{1} << (32 + dropped)) / base);
  if (value >> 55 != 0) return divideWide(value, base);
  const uint32_t upper = static_cast<uint32_t>(value >> dropped);
  uint32_t quotient = static_cast<uint32_t>((uint64_t{upper} * reciprocal) >> 32);
  uint32_t remainder = static_cast<uint32_t>(value) - quotient * base;
  if (remainder >= base) {
    remainder -= base;
    ++quotient;
  }
  return {quotient, remainder};
}

constexpr int32_t blockLimbs = registerBytes / limbBytes;

constexpr int32_t wholeBlocks(int32_t limbs) {
  return (limbs + blockLimbs - 1) / blockLimbs * blockLimbs;
}

// Ten times the operand's magnitude, least significant limb first, with zeros up to a whole block. Returns
// whether all nibbles were in order; those above 9 count as 9.
inline bool loadLimbs(const Operand& operand, uint32_t* limbs) {
  bool valid = (operand.item[operand.bytes - 1] & 15) > 9;
  __m128i mask = _mm_set_epi32(-1, -1, -1, ~15);
  for (int32_t left = operand.bytes; left > 0; left -= registerBytes, limbs += blockLimbs) {
    const int32_t bytes = std::min(left, registerBytes);
    __m128i block = _mm_and_si128(loadItem(operand.item + left - bytes, bytes), mask);
    mask = _mm_set1_epi32(-1);
    if (anyBit(_mm_and_si128(aboveNine(block), everyNibble(8)))) [[unlikely]] {
      valid = false;
      block = onlyDigits(block);
    }
    _mm_storeu_si128(reinterpret_cast<__m128i*>(limbs), valuesOfDigits(block));
  }
  return valid;
}

// The low digits of a number that is a multiple of ten, as an item without sign. The limbs fill whole blocks.
inline void storeLimbs(const uint32_t* limbs, int32_t count, uint8_t* item, int32_t bytes) {
  for (; bytes > 0 && count > 0; count -= blockLimbs, limbs += blockLimbs) {
    const __m128i block = digitsOfValues(_mm_loadu_si128(reinterpret_cast<const __m128i*>(limbs)));
    const int32_t now = std::min(bytes, registerBytes);
    bytes -= now;
    storeItem(block, item + bytes, now);
  }
  if (bytes > 0) memset(item, 0, static_cast<size_t>(bytes));
}

// Limbs of one block, below 10 to the 31st, as an item without sign in a register.
inline __m128i itemOfLimbs(__m128i limbs) {
  const __m128i digits = digitsOfValues(limbs);
  return _mm_or_si128(_mm_slli_epi64(digits, 4), _mm_slli_si128(_mm_srli_epi64(digits, 60), 8));
}

// Stores a register right-aligned: under leading zeros, or cut on the left.
inline void storeRegister(__m128i value, uint8_t* item, int32_t bytes) {
  const int32_t above = bytes - registerBytes;
  if (above <= 0) return storeItem(value, item, bytes);
  memset(item, 0, static_cast<size_t>(above));
  storeItem(value, item + above, registerBytes);
}

inline void clearUpToBlock(uint32_t* limbs, int32_t count) {
  for (int32_t i = count; i < wholeBlocks(count); ++i) limbs[i] = 0;
}

// Reports bad operands, the first one first, unless both are in order.
inline void checkOperands(const Operand& first, bool validFirst, const Operand& second, bool validSecond) {
  if (validFirst && validSecond) [[likely]]
    return;
  checkOperand(first.item, first.bytes);
  checkOperand(second.item, second.bytes);
}

inline void divideByTen(uint32_t* limbs, int32_t count) {
  for (int32_t i = 0; i < count; ++i)
    limbs[i] = limbs[i] / 10 + (i + 1 < count ? limbs[i + 1] % 10 * (base / 10) : 0);
}

// Multiplies in place and returns the limb that goes over.
inline uint32_t multiplyBy(uint32_t* limbs, int32_t count, uint32_t factor) {
  uint32_t carry = 0;
  for (int32_t i = 0; i < count; ++i) {
    const Division step = divideByBase(uint64_t{limbs[i]} * factor + carry);
    limbs[i] = step.remainder;
    carry = step.quotient;
  }
  return carry;
}

// Divides in place and returns the remainder.
inline uint32_t divideBy(uint32_t* limbs, int32_t count, uint32_t divisor) {
  uint32_t remainder = 0;
  for (int32_t i = count - 1; i >= 0; --i) {
    const Division step = divideWide(uint64_t{remainder} * base + limbs[i], divisor);
    limbs[i] = step.quotient;
    remainder = step.remainder;
  }
  return remainder;
}

// The nearest double of a value below 2 to the 63rd.
inline double toDouble(uint64_t value) {
  const double upper = static_cast<double>(static_cast<int32_t>(value >> 32));
  const uint64_t lowerOnTop =
      uint64_t{0x43300000} << 32 | static_cast<uint32_t>(value);  // 2 to the 52nd more
  return upper * 0x1p32 + (std::bit_cast<double>(lowerOnTop) - 0x1p52);
}

// The quotient by a divisor of two limbs, one limb a step: a quotient in floating point is right or one off,
// which the remainder shows. Returns the remainder.
inline uint64_t divideByPair(const uint32_t* limbs, int32_t count, const uint32_t* divisor,
                             uint32_t* quotient) {
  const uint64_t by = uint64_t{divisor[1]} * base + divisor[0];
  const double inverse = 1 / toDouble(by);
  uint64_t rest = limbs[count - 1];
  for (int32_t i = count - 2; i >= 0; --i) {
    uint32_t guess =
        static_cast<uint32_t>(static_cast<int32_t>((toDouble(rest) * base + limbs[i]) * inverse));
    rest = rest * base + limbs[i] - guess * by;
    if (static_cast<int64_t>(rest) < 0) {
      rest += by;
      --guess;
    } else if (rest >= by) {
      rest -= by;
      ++guess;
    }
    quotient[i] = guess;
  }
  return rest;
}

// Two limbs by two.
inline void multiplyPairs(const uint32_t* a, const uint32_t* b, uint32_t* product) {
  const Division first = divideByBase(uint64_t{a[0]} * b[0]);
  const Division second = divideByBase(uint64_t{a[0]} * b[1] + uint64_t{a[1]} * b[0] + first.quotient);
  const Division third = divideByBase(uint64_t{a[1]} * b[1] + second.quotient);
  product[0] = first.remainder;
  product[1] = second.remainder;
  product[2] = third.remainder;
  product[3] = third.quotient;
}

// Column by column: up to eight products of two limbs and a carry stay below 2 to the 63rd, and their
// quotient by the base below 2 to the 32nd.
inline void multiplyLimbs(const uint32_t* a, int32_t countA, const uint32_t* b, int32_t countB,
                          uint32_t* product) {
  uint32_t carry = 0;
  for (int32_t column = 0; column < countA + countB - 1; ++column) {
    uint64_t sum = carry;
    const int32_t first = column < countB ? 0 : column - countB + 1;
    const int32_t last = column < countA ? column : countA - 1;
    for (int32_t i = first; i <= last; ++i) sum += uint64_t{a[i]} * b[column - i];
    const Division step = divideByBase(sum);
    product[column] = step.remainder;
    carry = step.quotient;
  }
  product[countA + countB - 1] = carry;
}

// Subtracts factor times the divisor from the limbs at `part`, which has one limb more. The factor may be one
// too large: then the divisor is added back and the factor that was right comes back.
inline uint32_t subtractMultiple(uint32_t* part, const uint32_t* divisor, int32_t count, uint32_t factor) {
  uint32_t carry = 0, borrow = 0;
  const auto take = [&borrow](uint32_t& limb, uint32_t amount) {
    const int32_t difference = static_cast<int32_t>(limb - amount - borrow);
    borrow = difference < 0;
    limb = static_cast<uint32_t>(borrow != 0 ? difference + static_cast<int32_t>(base) : difference);
  };
  for (int32_t i = 0; i < count; ++i) {
    const Division step = divideByBase(uint64_t{factor} * divisor[i] + carry);
    carry = step.quotient;
    take(part[i], step.remainder);
  }
  take(part[count], carry);
  if (borrow == 0) return factor;
  carry = 0;
  for (int32_t i = 0; i < count; ++i) {
    const uint32_t sum = part[i] + divisor[i] + carry;
    carry = sum >= base;
    part[i] = carry != 0 ? sum - base : sum;
  }
  part[count] = 0;
  return factor - 1;
}

// Division of limbs by three or more limbs (Knuth, The Art of Computer Programming, volume 2, 4.3.1,
// algorithm D). `dividend` has room for one limb more and is left holding the remainder times the scaling
// factor that comes back.
uint32_t divideLimbs(uint32_t* dividend, int32_t count, uint32_t* divisor, int32_t divisorCount,
                     uint32_t* quotient) {
  const uint32_t scale = base / (divisor[divisorCount - 1] + 1);
  multiplyBy(divisor, divisorCount, scale);
  dividend[count] = multiplyBy(dividend, count, scale);
  const uint32_t top = divisor[divisorCount - 1], second = divisor[divisorCount - 2];
  for (int32_t at = count - divisorCount; at >= 0; --at) {
    uint32_t* const part = dividend + at;
    const uint64_t head = uint64_t{part[divisorCount]} * base + part[divisorCount - 1];
    auto [guess, rest] = divideWide(head, top);
    while (guess >= base || uint64_t{guess} * second > uint64_t{rest} * base + part[divisorCount - 2]) {
      --guess;
      rest += top;
      if (rest >= base) break;
    }
    quotient[at] = subtractMultiple(part, divisor, divisorCount, guess);
  }
  return scale;
}

void storeZero(uint8_t* item, int32_t digits) {
  const int32_t bytes = packedBytes(digits);
  memset(item, 0, static_cast<size_t>(bytes));
  item[bytes - 1] = positiveSign;
}

// A copy as it stands, right-aligned.
void copyRight(const Operand& source, uint8_t* item, int32_t bytes) {
  const int32_t spare = bytes - source.bytes;
  if (spare <= 0) {
    memmove(item, source.item - spare, static_cast<size_t>(bytes));
  } else {
    memmove(item + spare, source.item, static_cast<size_t>(source.bytes));
    memset(item, 0, static_cast<size_t>(spare));
  }
}

struct Remainder {
  uint8_t* item;
  int32_t digits;
};

// The cases of both divisions that need no division, operands of any length among them.
void settleUndivided(const Operand& dividend, const Operand& divisor, uint8_t* quotient,
                     int32_t quotientDigits, const Remainder* remainder) {
  checkOperand(dividend.item, dividend.bytes);
  checkOperand(divisor.item, divisor.bytes);
  if (divisor.isZero()) {
    qrtWriteERRmsg(frame::message::divisionByZero, 0);
    return;
  }
  if (remainder != nullptr) {
    if (dividend.isZero())
      storeZero(remainder->item, remainder->digits);
    else
      copyRight(dividend, remainder->item, packedBytes(remainder->digits));
  }
  storeZero(quotient, quotientDigits);
}

// Both divisions; `remainder` is null for the one that has none.
[[gnu::noinline]] void divideItems(const Operand& dividend, const Operand& divisor, uint8_t* quotient,
                                   int32_t quotientDigits, const Remainder* remainder) {
  if (divisor.isZero() || dividend.isZero() || dividend.bytes < divisor.bytes)
    return settleUndivided(dividend, divisor, quotient, quotientDigits, remainder);

  const int32_t count = dividend.limbs(), divisorCount = divisor.limbs();
  assert(count <= mostDividendLimbs);
  uint32_t rest[mostDividendLimbs + 1], by[mostDividendLimbs], result[wholeBlocks(mostDividendLimbs + 1)];
  const bool validDividend = loadLimbs(dividend, rest), validDivisor = loadLimbs(divisor, by);
  checkOperands(dividend, validDividend, divisor, validDivisor);

  int32_t quotientCount;
  uint32_t scale = 1;
  bool exact = false;  // a one-limb division without remainder
  if (divisorCount == 1) {
    memcpy(result, rest, sizeof(uint32_t) * count);
    rest[0] = divideBy(result, count, by[0]);
    memset(rest + 1, 0, sizeof(uint32_t) * (count - 1));
    quotientCount = count;
    exact = rest[0] == 0;
  } else if (divisorCount == 2) {
    const uint64_t left = divideByPair(rest, count, by, result);
    rest[0] = static_cast<uint32_t>(left % base);
    rest[1] = static_cast<uint32_t>(left / base);
    quotientCount = count - 1;
  } else {
    scale = divideLimbs(rest, count, by, divisorCount, result);
    quotientCount = count - divisorCount + 1;
  }
  const int32_t quotientBytes = packedBytes(quotientDigits);
  const bool opposite = dividend.negative != divisor.negative;
  if (count <= blockLimbs) {
    clearUpToBlock(result, quotientCount);
    __m128i item = itemOfLimbs(_mm_loadu_si128(reinterpret_cast<const __m128i*>(result)));
    if (quotientBytes < registerBytes) item = keepBytes(item, quotientBytes);
    item = _mm_or_si128(item, _mm_cvtsi32_si128(signNibble(opposite && anyBit(item))));
    storeRegister(item, quotient, quotientBytes);
  } else {
    result[quotientCount] = multiplyBy(result, quotientCount, 10);
    clearUpToBlock(result, quotientCount + 1);
    storeLimbs(result, quotientCount + 1, quotient, quotientBytes);
    quotient[quotientBytes - 1] |= signNibble(opposite && hasDigits(quotient, quotientBytes));
  }
  clearSpareNibble(quotient, quotientDigits);

  if (remainder == nullptr) return;
  if (scale != 1) divideBy(rest, divisorCount, scale);
  const int32_t remainderBytes = packedBytes(remainder->digits);
  clearUpToBlock(rest, divisorCount);
  storeLimbs(rest, divisorCount, remainder->item, remainderBytes);
  // The sign of a one-limb remainder goes by its true value, that of a longer one by the digits as stored.
  const bool zero = divisorCount == 1 ? exact : !hasDigits(remainder->item, remainderBytes);
  remainder->item[remainderBytes - 1] |= signNibble(dividend.negative && !zero);
  clearSpareNibble(remainder->item, remainder->digits);
}

// The magnitude of an item of any length times that of one with at most seven digits, without sign.
void multiplyByShort(const Operand& item, const Operand& factor, uint8_t* result, int32_t bytes) {
  assert(factor.bytes <= limbBytes);
  uint32_t limbs[mostFactorLimbs];
  loadLimbs(factor, limbs);
  uint32_t carry = 0;
  for (int32_t i = 1; i <= bytes; ++i) {
    if (i <= item.bytes) carry += bcd_pair_value[item.item[item.bytes - i]] * (limbs[0] / 10);
    result[bytes - i] = pair_value_bcd[carry % 100];
    carry /= 100;
  }
}

void multiplyFactors(const Operand& first, const Operand& second, uint8_t* result, int32_t bytes) {
  const int32_t count1 = first.limbs(), count2 = second.limbs();
  if (std::max(count1, count2) > mostFactorLimbs) [[unlikely]] {
    checkOperand(first.item, first.bytes);
    checkOperand(second.item, second.bytes);
    return count1 > count2 ? multiplyByShort(first, second, result, bytes)
                           : multiplyByShort(second, first, result, bytes);
  }
  uint32_t factor1[mostFactorLimbs], factor2[mostFactorLimbs], product[2 * mostFactorLimbs];
  const bool valid1 = loadLimbs(first, factor1), valid2 = loadLimbs(second, factor2);
  checkOperands(first, valid1, second, valid2);
  divideByTen(factor2, count2);
  multiplyLimbs(factor1, count1, factor2, count2, product);
  clearUpToBlock(product, count1 + count2);
  storeLimbs(product, count1 + count2, result, bytes);
}

constexpr int32_t mostShortDigits = 15;

// The usual case: factors of at most 15 digits, which share a register, and a product that fits one. The same
// result as by multiplyFactors().
[[gnu::always_inline]] inline uint8_t* multiplyInRegister(const uint8_t* op1, const uint8_t* op2,
                                                          uint8_t* result, int32_t resultDigits,
                                                          int32_t op2Digits, int32_t op1Digits) {
  const int32_t bytes1 = packedBytes(op1Digits), bytes2 = packedBytes(op2Digits);
  const bool opposite = isNegativeSign(op1[bytes1 - 1]) != isNegativeSign(op2[bytes2 - 1]);
  __m128i both = _mm_unpacklo_epi64(loadItem(op1, bytes1), loadItem(op2, bytes2));
  const __m128i signs = _mm_set_epi32(0, 8, 0, 8);
  const __m128i bad = _mm_xor_si128(_mm_and_si128(aboveNine(both), everyNibble(8)), signs);
  both = _mm_srli_epi64(both, 4);
  if (anyBit(bad)) [[unlikely]] {
    checkOperand(op1, bytes1);
    checkOperand(op2, bytes2);
    both = onlyDigits(both);
  }
  uint32_t factors[blockLimbs], product[blockLimbs];
  _mm_storeu_si128(reinterpret_cast<__m128i*>(factors), valuesOfDigits(both));
  multiplyPairs(factors, factors + 2, product);
  const __m128i item =
      itemOfLimbs(_mm_set_epi32(static_cast<int32_t>(product[3]), static_cast<int32_t>(product[2]),
                                static_cast<int32_t>(product[1]), static_cast<int32_t>(product[0])));
  const uint8_t sign = signNibble(opposite && anyBit(item));
  storeRegister(_mm_or_si128(item, _mm_cvtsi32_si128(sign)), result, packedBytes(resultDigits));
  clearSpareNibble(result, resultDigits);
  return result;
}

// Factors of any length.
[[gnu::noinline]] uint8_t* multiplyItems(const uint8_t* op1, const uint8_t* op2, uint8_t* result,
                                         int32_t resultDigits, int32_t op2Digits, int32_t op1Digits) {
  const Operand first(op1, op1Digits), second(op2, op2Digits);
  if (first.isZero() || second.isZero()) {
    checkOperand(first.item, first.bytes);
    checkOperand(second.item, second.bytes);
    storeZero(result, resultDigits);
    return result;
  }
  const int32_t bytes = packedBytes(resultDigits);
  multiplyFactors(first, second, result, bytes);
  result[bytes - 1] |= signNibble(first.negative != second.negative);
  clearSpareNibble(result, resultDigits);
  return result;
}

}  // namespace

[[gnu::always_inline]] inline uint8_t* multiply(const uint8_t* op1, const uint8_t* op2, uint8_t* result,
                                                int32_t resultDigits, int32_t op2Digits, int32_t op1Digits) {
  return op1Digits <= mostShortDigits && op2Digits <= mostShortDigits
             ? multiplyInRegister(op1, op2, result, resultDigits, op2Digits, op1Digits)
             : multiplyItems(op1, op2, result, resultDigits, op2Digits, op1Digits);
}

[[gnu::always_inline]] inline uint8_t* divide(const uint8_t* dividend, const uint8_t* divisor,
                                              uint8_t* quotient, int32_t quotientDigits,
                                              int32_t divisorDigits, int32_t dividendDigits) {
  divideItems(Operand(dividend, dividendDigits), Operand(divisor, divisorDigits), quotient, quotientDigits,
              nullptr);
  return quotient;
}

[[gnu::always_inline]] inline void divideWithRemainder(const uint8_t* dividend, const uint8_t* divisor,
                                                       uint8_t* quotient, uint8_t* remainder,
                                                       int32_t remainderDigits, int32_t quotientDigits,
                                                       int32_t divisorDigits, int32_t dividendDigits) {
  const Remainder rest{remainder, remainderDigits};
  divideItems(Operand(dividend, dividendDigits), Operand(divisor, divisorDigits), quotient, quotientDigits,
              &rest);
}

}  // namespace qrt::decimal
