// Packed-decimal addition, subtraction and sign operations, eight digits a step.
#include "decimal/packed.h"

#include <algorithm>
#include <cassert>
#include <cstring>

#include "decimal/register.h"
#include "decimal/tables.h"
#include "decimal/words.h"
#include "frame/message.h"
#include "qrtrlib.h"

namespace qrt::decimal {
namespace {

constexpr int32_t mostBytesOfDifference = 32;
constexpr uint32_t withoutSign = 0xFFFFFFF0;  // the sign nibble of a last word counts as 0

struct Operand {
  const uint8_t* item;
  int32_t bytes;

  bool negative() const { return isNegativeSign(item[bytes - 1]); }
};

// Goes through two items of `count` bytes from the end, word by word: op(a, b, carry) gives the result's word
// and the next carry. Returns the last carry.
template <typename Operation>
uint8_t overCommonBytes(const uint8_t* a, const uint8_t* b, uint8_t* result, int32_t count, uint32_t& digits,
                        Operation op) {
  uint8_t carry = 0;
  uint32_t mask = withoutSign;
  for (; count >= 4; count -= 4, mask = ~0u) {
    const uint32_t word = op(loadWord(a + count - 4) & mask, loadWord(b + count - 4) & mask, carry);
    storeWord(result + count - 4, word);
    digits |= word;
  }
  if (count > 0) {
    const uint32_t word = op(loadPartialWord(a, count) & mask, loadPartialWord(b, count) & mask, carry);
    storePartialWord(result, count, word);
    digits |= word & ~0u >> (32 - 8 * count);
    carry = word >> (8 * count) & 1;
  }
  return carry;
}

// The sum, its spare nibble not yet cleared.
void addMagnitudes(Operand longer, Operand shorter, uint8_t* result, int32_t resultBytes, bool negative) {
  const int32_t common = shorter.bytes < resultBytes ? shorter.bytes : resultBytes;
  const int32_t copied = (longer.bytes < resultBytes ? longer.bytes : resultBytes) - common;
  uint32_t digits = 0;
  uint32_t carry = overCommonBytes(longer.item + longer.bytes - common, shorter.item + shorter.bytes - common,
                                   result + resultBytes - common, common, digits, addDigits);
  const uint8_t* from = longer.item + longer.bytes - common;
  uint8_t* to = result + resultBytes - common;
  for (int32_t i = 0; i < copied; ++i) {
    *--to = pair_value_bcd[bcd_pair_value[*--from] + carry];
    carry = carry != 0 && *to == 0;
    digits |= *to;
  }
  if (to > result) {
    *--to = static_cast<uint8_t>(carry);
    digits |= carry;
    if (to > result) memset(result, 0, static_cast<size_t>(to - result));
  }
  result[resultBytes - 1] |= signNibble(negative && digits != 0);
}

// The difference as stored, its spare nibble not yet cleared. The true difference is worked out over all of
// the longer operand, since its sign may depend on bytes that the result has no room for.
void subtractMagnitudes(Operand longer, Operand shorter, uint8_t* result, int32_t resultBytes,
                        bool negative) {
  assert(longer.bytes <= mostBytesOfDifference);
  uint8_t work[mostBytesOfDifference];
  uint32_t digits = 0;
  uint8_t* const tail = work + longer.bytes - shorter.bytes;
  uint32_t borrow = overCommonBytes(longer.item + longer.bytes - shorter.bytes, shorter.item, tail,
                                    shorter.bytes, digits, subtractDigits);
  for (int32_t i = longer.bytes - shorter.bytes - 1; i >= 0; --i) {
    const int32_t pair = bcd_pair_value[longer.item[i]] - static_cast<int32_t>(borrow);
    borrow = pair < 0;
    work[i] = pair_value_bcd[borrow != 0 ? pair + 100 : pair];
  }
  if (borrow != 0) {
    static constexpr uint8_t zero[mostBytesOfDifference] = {};
    digits = 0;
    overCommonBytes(zero, work, work, longer.bytes, digits, subtractDigits);
    negative = !negative;
  }
  const int32_t spare = resultBytes - longer.bytes;
  if (spare > 0) {
    memset(result, 0, static_cast<size_t>(spare));
    memcpy(result + spare, work, static_cast<size_t>(longer.bytes));
  } else {
    memcpy(result, work - spare, static_cast<size_t>(resultBytes));
  }
  result[resultBytes - 1] |= signNibble(negative && hasDigits(result, resultBytes));
}

[[gnu::noinline, gnu::cold]] void reportBadBytes(const uint8_t* item, int32_t bytes) {
  for (int32_t i = 0; i < bytes - 1; ++i)
    if (bcd_digits_checked[item[i]] == invalidPair) qrtWriteERRmsg(frame::message::invalidDigit, 0);
  const uint8_t last = item[bytes - 1];
  if (bcd_sign_checked[last] == invalidPair)
    qrtWriteERRmsg((last & 15) < 10 ? frame::message::invalidSign : frame::message::invalidDigit, 0);
}

// Each item's last nibble, and no other, must be above 9.
template <int lanes>
[[gnu::always_inline]] inline bool haveBadNibbles(__m128i a, __m128i b) {
  if constexpr (lanes == 1) {
    const __m128i signs = _mm_set_epi32(0, 8, 0, 8);
    return anyBit(_mm_xor_si128(_mm_and_si128(aboveNine(_mm_unpacklo_epi64(a, b)), everyNibble(8)), signs));
  } else {
    const __m128i sign = _mm_set_epi32(0, 0, 0, 8);
    const __m128i bad = _mm_or_si128(_mm_xor_si128(aboveNine(a), sign), _mm_xor_si128(aboveNine(b), sign));
    return anyBit(_mm_and_si128(bad, everyNibble(8)));
  }
}

// The usual case: operands and result of up to 31 digits, each in a register. `digits` is the count of all
// three when the caller knows it, else 0.
template <int32_t digits, typename Set>
[[gnu::always_inline]] inline uint8_t* sumInRegisters(const uint8_t* op1, const uint8_t* op2, uint8_t* result,
                                                      int32_t resultDigits, int32_t op2Digits,
                                                      int32_t op1Digits, bool opposite2) {
  if (digits != 0) resultDigits = op2Digits = op1Digits = digits;
  constexpr int lanes = digits == 15 ? 1 : 2;
  const int32_t bytes1 = packedBytes(op1Digits), bytes2 = packedBytes(op2Digits);
  const int32_t bytes = packedBytes(resultDigits);
  __m128i a = loadItem<Set>(op1, bytes1), b = loadItem<Set>(op2, bytes2);
  if (haveBadNibbles<lanes>(a, b)) [[unlikely]] {
    reportBadBytes(op1, bytes1);
    reportBadBytes(op2, bytes2);
  }
  bool negative = isNegativeSign(static_cast<uint8_t>(lowWord(a)));
  const bool negative2 = isNegativeSign(static_cast<uint8_t>(lowWord(b))) != opposite2;
  const __m128i magnitude = _mm_set_epi32(-1, -1, -1, static_cast<int32_t>(withoutSign));
  a = _mm_and_si128(a, magnitude);
  b = _mm_and_si128(b, magnitude);
  if (negative == negative2) {
    a = addRegisters<lanes>(a, b);
  } else {
    RegisterDifference difference = subtractRegisters<lanes>(a, b);
    if (difference.borrow) {  // the second magnitude is the larger one
      difference = subtractRegisters<lanes>(_mm_setzero_si128(), difference.value);
      negative = negative2;
    }
    a = difference.value;
  }

  if (bytes < lanes * registerBytes / 2) a = keepBytes(a, bytes);
  a = _mm_or_si128(a, _mm_cvtsi32_si128(signNibble(negative && anyBit(a))));
  storeItem<Set>(a, result, bytes);
  clearSpareNibble(result, resultDigits);
  return result;
}

// op1 + op2 for items of any length, op2 taken with the other sign when `opposite2` is set.
[[gnu::noinline]] uint8_t* sumOfItems(const uint8_t* item1, const uint8_t* item2, uint8_t* result,
                                      int32_t resultDigits, int32_t op2Digits, int32_t op1Digits,
                                      bool opposite2) {
  if ((op1Digits | op2Digits | resultDigits) < 2 * registerBytes)
    return sumInRegisters<0, Sse2>(item1, item2, result, resultDigits, op2Digits, op1Digits, opposite2);
  const Operand op1{item1, packedBytes(op1Digits)}, op2{item2, packedBytes(op2Digits)};
  checkOperand(op1.item, op1.bytes);
  checkOperand(op2.item, op2.bytes);
  const bool negative1 = op1.negative();
  const bool negative2 = op2.negative() != opposite2;
  const int32_t resultBytes = packedBytes(resultDigits);
  const bool firstIsLonger = op1.bytes >= op2.bytes;
  const Operand longer = firstIsLonger ? op1 : op2;
  const Operand shorter = firstIsLonger ? op2 : op1;
  if (negative1 == negative2)
    addMagnitudes(longer, shorter, result, resultBytes, negative1);
  else
    subtractMagnitudes(longer, shorter, result, resultBytes, firstIsLonger ? negative1 : negative2);
  clearSpareNibble(result, resultDigits);
  return result;
}

// The most frequent cases: all three have `digits` digits.
template <int32_t digits>
[[gnu::always_inline]] inline uint8_t* sumInRegisters(const uint8_t* op1, const uint8_t* op2, uint8_t* result,
                                                      bool opposite2) {
  return Ssse3::available()
             ? sumInRegisters<digits, Ssse3>(op1, op2, result, digits, digits, digits, opposite2)
             : sumInRegisters<digits, Sse2>(op1, op2, result, digits, digits, digits, opposite2);
}

}  // namespace

// op1 + op2, or op1 - op2 when `opposite2` is set.
template <bool opposite2>
[[gnu::always_inline]] inline uint8_t* sum(const uint8_t* op1, const uint8_t* op2, uint8_t* result,
                                           int32_t resultDigits, int32_t op2Digits, int32_t op1Digits) {
  const auto allHave = [&](int32_t digits) {
    return ((op1Digits ^ digits) | (op2Digits ^ digits) | (resultDigits ^ digits)) == 0;
  };
  if (allHave(31)) return sumInRegisters<31>(op1, op2, result, opposite2);
  if (allHave(15)) return sumInRegisters<15>(op1, op2, result, opposite2);
  return sumOfItems(op1, op2, result, resultDigits, op2Digits, op1Digits, opposite2);
}

bool isValid(const uint8_t* item, int32_t bytes) {
  if (bytes >= 8 && bytes <= 16) return isValidRegister(item, bytes);
  uint32_t bad = 0;
  for (; bytes > 4; item += 4, bytes -= 4) bad |= nibblesAboveNine(loadWord(item));
  const uint32_t last = bytes == 4 ? loadWord(item) : loadPartialWord(item, bytes);
  return (bad | nibblesAboveNine(last & withoutSign)) == 0 && (last & 15) > 9;
}

void checkOperand(const uint8_t* item, int32_t bytes) {
  if (!isValid(item, bytes)) reportBadBytes(item, bytes);
}

bool hasDigits(const uint8_t* item, int32_t bytes) {
  uint32_t any = item[bytes - 1] & 0xF0;
  for (--bytes; bytes >= 4; bytes -= 4, item += 4) {
    uint32_t word;
    memcpy(&word, item, 4);
    any |= word;
  }
  for (int32_t i = 0; i < bytes; ++i) any |= item[i];
  return any != 0;
}

// Moves a checked operand without its spare nibble; returns its length in bytes.
static int32_t moveOperand(const uint8_t* source, uint8_t* destination, int32_t digits) {
  const int32_t bytes = packedBytes(digits);
  checkOperand(source, bytes);
  memmove(destination, source, static_cast<size_t>(bytes));
  clearSpareNibble(destination, digits);
  return bytes;
}

uint8_t* absolute(const uint8_t* source, uint8_t* destination, int32_t, int32_t sourceDigits) {
  const int32_t bytes = moveOperand(source, destination, sourceDigits);
  setSign(destination[bytes - 1], positiveSign);
  return destination;
}

uint8_t* negate(const uint8_t* source, uint8_t* destination, int32_t, int32_t sourceDigits) {
  const int32_t bytes = moveOperand(source, destination, sourceDigits);
  const bool negative = isNegativeSign(destination[bytes - 1]);
  setSign(destination[bytes - 1], signNibble(!negative && hasDigits(destination, bytes)));
  return destination;
}

}  // namespace qrt::decimal

int32_t _Is_Valid_Pckd_BCD(const uint8_t* item, int32_t digits) {
  return qrt::decimal::isValid(item, qrt::decimal::packedBytes(digits));
}

void packed_add(const uint8_t* longer, int32_t longBytes, const uint8_t* shorter, int32_t shortBytes,
                uint8_t* result, int32_t resultBytes, int32_t negative) {
  qrt::decimal::addMagnitudes({longer, longBytes}, {shorter, shortBytes}, result, resultBytes, negative != 0);
}
