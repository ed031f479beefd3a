// Packed-decimal compares: magnitudes first, signs only where they decide.
#include "decimal/packed.h"
#include "decimal/register.h"
#include "decimal/words.h"
#include "qrtrlib.h"

namespace qrt::decimal {
namespace {

// Where two magnitudes of equal length first differ, as -1, 0 or 1; the sign nibble doesn't count.
int32_t compareMagnitudes(const uint8_t* a, const uint8_t* b, int32_t bytes) {
  for (; bytes > 4; a += 4, b += 4, bytes -= 4) {
    const uint32_t wordA = loadWord(a), wordB = loadWord(b);
    if (wordA != wordB) return wordA > wordB ? 1 : -1;
  }
  const uint32_t lastA = (bytes == 4 ? loadWord(a) : loadPartialWord(a, bytes)) >> 4;
  const uint32_t lastB = (bytes == 4 ? loadWord(b) : loadPartialWord(b, bytes)) >> 4;
  return (lastA > lastB) - (lastA < lastB);
}

bool anyByte(const uint8_t* bytes, int32_t count) {
  for (int32_t i = 0; i < count; ++i)
    if (bytes[i] != 0) return true;
  return false;
}

// The first and the last eight bytes of an item of 9 to 16, which may lie over each other; the
// sign nibble is in the last ones only.
inline __m128i firstAndLast(const uint8_t* item, int32_t bytes) {
  if (__builtin_constant_p(bytes) && bytes == registerBytes)
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(item));
  return _mm_unpacklo_epi64(loadEight(item), loadEight(item + bytes - 8));
}

// The order of items that differ in their sign nibbles at most.
[[gnu::noinline]] int32_t compareSigns(const uint8_t* op1, const uint8_t* op2, int32_t bytes) {
  const bool negative = isNegativeSign(op1[bytes - 1]);
  if (negative == isNegativeSign(op2[bytes - 1]) || !hasDigits(op1, bytes)) return 0;
  return negative ? -1 : 1;
}

// Items of equal length from 9 to 16 bytes: the first byte in which they differ decides, and the sign of the
// larger magnitude.
[[gnu::always_inline]] inline int32_t compareInRegisters(const uint8_t* op1, const uint8_t* op2,
                                                         int32_t bytes) {
  const __m128i magnitude = _mm_set_epi32(static_cast<int32_t>(0xF0FFFFFF), -1, -1, -1);
  const __m128i change =
      _mm_and_si128(_mm_xor_si128(firstAndLast(op1, bytes), firstAndLast(op2, bytes)), magnitude);
  const int32_t alike = _mm_movemask_epi8(_mm_cmpeq_epi8(change, _mm_setzero_si128()));
  if (alike == 0xFFFF) return compareSigns(op1, op2, bytes);
  const int32_t index = __builtin_ctz(static_cast<uint32_t>(~alike));
  const int32_t first = bytes == registerBytes || index < 8 ? index : index - registerBytes + bytes;
  const bool larger2 = op1[first] < op2[first];
  // Nobody can guess which one is the larger: select it without a branch.
  const uint8_t* const larger = __builtin_expect_with_probability(larger2, 1, 0.5) ? op2 : op1;
  return 1 - 2 * (isNegativeSign(larger[bytes - 1]) ^ larger2);
}

// Items of any lengths.
[[gnu::noinline]] int32_t compareItems(const uint8_t* op1, int32_t bytes1, const uint8_t* op2,
                                       int32_t bytes2) {
  const int32_t more = bytes1 - bytes2;
  if (more == 0 && bytes1 > 8 && bytes1 <= registerBytes) return compareInRegisters(op1, op2, bytes1);
  const int32_t sign1 = isNegativeSign(op1[bytes1 - 1]) ? -1 : 1;
  const int32_t sign2 = isNegativeSign(op2[bytes2 - 1]) ? -1 : 1;
  if (more > 0) {
    if (anyByte(op1, more)) return sign1;
    op1 += more;
    bytes1 = bytes2;
  } else if (more < 0) {
    if (anyByte(op2, -more)) return -sign2;
    op2 -= more;
  }
  const int32_t order = compareMagnitudes(op1, op2, bytes1);
  if (order != 0) return order > 0 ? sign1 : -sign2;
  return compareSigns(op1, op2, bytes1);
}

}  // namespace

[[gnu::always_inline]] inline int32_t compare(const uint8_t* op1, const uint8_t* op2, int32_t op2Digits,
                                              int32_t op1Digits) {
  if (((op1Digits ^ 31) | (op2Digits ^ 31)) == 0) return compareInRegisters(op1, op2, registerBytes);
  return compareItems(op1, packedBytes(op1Digits), op2, packedBytes(op2Digits));
}

int32_t isZero(const uint8_t* op, int32_t opDigits) {
  return !hasDigits(op, packedBytes(opDigits));
}

}  // namespace qrt::decimal

int32_t _Compare_Pckd_BCD(const uint8_t* op1, const uint8_t* op2, int32_t op2Digits, int32_t op1Digits) {
  return qrt::decimal::compare(op1, op2, op2Digits, op1Digits);
}
