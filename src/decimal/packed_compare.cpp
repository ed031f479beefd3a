// Packed-decimal compares: magnitudes first, signs only where they decide.
#include "decimal/packed.h"
#include "decimal/register.h"
#include "decimal/words.h"
#include "qrtrlib.h"

namespace qrt::decimal {
namespace {

// Where two magnitudes of equal length first differ, as -1, 0 or 1; the sign nibble doesn't count.
int32_t compareMagnitudes(const uint8_t* a, const uint8_t* b, int32_t bytes) {
  if (bytes == registerBytes) {
    const __m128i blockA = _mm_loadu_si128(reinterpret_cast<const __m128i*>(a));
    const __m128i blockB = _mm_loadu_si128(reinterpret_cast<const __m128i*>(b));
    const int32_t unlike = _mm_movemask_epi8(_mm_cmpeq_epi8(blockA, blockB)) ^ 0xFFFF;
    if (unlike == 0) return 0;
    const int32_t first = __builtin_ctz(static_cast<uint32_t>(unlike));
    const int32_t sign = first == registerBytes - 1 ? 4 : 0;
    const int32_t difference = (a[first] >> sign) - (b[first] >> sign);
    return (difference > 0) - (difference < 0);
  }
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

}  // namespace

int32_t compare(const uint8_t* op1, const uint8_t* op2, int32_t op2Digits, int32_t op1Digits) {
  int32_t bytes1 = packedBytes(op1Digits), bytes2 = packedBytes(op2Digits);
  const int32_t sign1 = isNegativeSign(op1[bytes1 - 1]) ? -1 : 1;
  const int32_t sign2 = isNegativeSign(op2[bytes2 - 1]) ? -1 : 1;
  const int32_t more = bytes1 - bytes2;
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
  return sign1 == sign2 || !hasDigits(op1, bytes1) ? 0 : sign1;
}

int32_t isZero(const uint8_t* op, int32_t opDigits) {
  return !hasDigits(op, packedBytes(opDigits));
}

}  // namespace qrt::decimal

int32_t _Compare_Pckd_BCD(const uint8_t* op1, const uint8_t* op2, int32_t op2Digits, int32_t op1Digits) {
  return qrt::decimal::compare(op1, op2, op2Digits, op1Digits);
}
