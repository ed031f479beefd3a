// Movers of digits between zoned and packed items.
#include "decimal/zoned.h"

#include <emmintrin.h>

#include "decimal/packed.h"
#include "qrtrlib.h"

namespace qrt::decimal {
namespace {

constexpr int32_t block = 8;  // packed bytes, with twice as many digits, that one step moves

int32_t lesser(int32_t a, int32_t b) {
  return a < b ? a : b;
}

}  // namespace

bool packDigits(const uint8_t* source, uint8_t* destination, int32_t destinationDigits,
                int32_t sourceDigits) {
  if (sourceDigits < destinationDigits)
    memset(destination, 0, static_cast<size_t>(destinationDigits / 2 - sourceDigits / 2));
  const uint8_t* from = source + sourceDigits - 1;
  uint8_t* to = destination + destinationDigits / 2;
  uint32_t any = *from & 0x0F;
  *to = static_cast<uint8_t>(*from << 4 | positiveSign);
  int32_t left = lesser(sourceDigits, destinationDigits) - 1;
  for (; left >= 2 * block; left -= 2 * block) {
    from -= 2 * block;
    to -= block;
    const __m128i nibbles =
        _mm_and_si128(_mm_loadu_si128(reinterpret_cast<const __m128i*>(from)), _mm_set1_epi8(0x0F));
    // A 16-bit lane holds two digits, the lower one in its high byte.
    const __m128i pairs = _mm_or_si128(_mm_slli_epi16(nibbles, 4), _mm_srli_epi16(nibbles, 8));
    const __m128i bytes = _mm_and_si128(pairs, _mm_set1_epi16(0x00FF));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(to), _mm_packus_epi16(bytes, bytes));
    any |= _mm_movemask_epi8(_mm_cmpeq_epi8(nibbles, _mm_setzero_si128())) != 0xFFFF;
  }
  for (; left >= 2; left -= 2) {
    from -= 2;
    *--to = static_cast<uint8_t>(from[0] << 4 | (from[1] & 0x0F));
    any |= *to;
  }
  if (left == 1) {
    *--to = *--from & 0x0F;
    any |= *to;
  }
  return any != 0;
}

bool unpackDigits(const uint8_t* source, uint8_t* destination, int32_t destinationDigits,
                  int32_t sourceDigits) {
  if (destinationDigits > sourceDigits)
    memset(destination, '0', static_cast<size_t>(destinationDigits - sourceDigits));
  const uint8_t* from = source + sourceDigits / 2;
  uint8_t* to = destination + destinationDigits - 1;
  uint32_t any = *from & 0xF0;
  *to = static_cast<uint8_t>('0' | *from >> 4);
  int32_t left = lesser(sourceDigits, destinationDigits) - 1;
  for (; left >= 2 * block; left -= 2 * block) {
    from -= block;
    to -= 2 * block;
    const __m128i bytes = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(from));
    const __m128i high = _mm_and_si128(_mm_srli_epi16(bytes, 4), _mm_set1_epi8(0x0F));
    const __m128i low = _mm_and_si128(bytes, _mm_set1_epi8(0x0F));
    const __m128i digits = _mm_or_si128(_mm_unpacklo_epi8(high, low), _mm_set1_epi8('0'));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to), digits);
    any |= (_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, _mm_setzero_si128())) & 0xFF) != 0xFF;
  }
  for (; left >= 2; left -= 2) {
    const uint8_t pair = *--from;
    any |= pair;
    *--to = static_cast<uint8_t>('0' | (pair & 0x0F));
    *--to = static_cast<uint8_t>('0' | pair >> 4);
  }
  if (left == 1) {
    const uint8_t digit = *--from & 0x0F;
    any |= digit;
    *--to = static_cast<uint8_t>('0' | digit);
  }
  return any != 0;
}

}  // namespace qrt::decimal

void _Convert_Znd_To_Pckd(const uint8_t* source, uint8_t* destination, int32_t destinationDigits,
                          int32_t sourceDigits, uint32_t* nonZero) {
  *nonZero = qrt::decimal::packDigits(source, destination, destinationDigits, sourceDigits);
}

void _Convert_Pckd_To_ZndUS(const uint8_t* source, uint8_t* destination, int32_t destinationDigits,
                            int32_t sourceDigits, uint32_t* nonZero) {
  *nonZero = qrt::decimal::unpackDigits(source, destination, destinationDigits, sourceDigits);
}
