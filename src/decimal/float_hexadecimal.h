// Conversions between hexadecimal and IEEE floats. Both cut, neither rounds. A hexadecimal float is sign,
// exponent of 16 in excess 64, and a fraction below 1 of 14 or 6 hexadecimal digits.
//
// The functions named like entries are those for use inside a guard. All is defined here, so that it is
// compiled into the entries and into the twins for host data.
#pragma once

#include <emmintrin.h>

#include <bit>
#include <concepts>
#include <cstdint>
#include <cstring>
#include <limits>

#include "frame/message.h"
#include "qrtrlib.h"

namespace qrt::decimal {

// What a conversion comes to, beside 0: numbers of messages.
inline constexpr int32_t floatOverflow = frame::message::floatOverflow;
inline constexpr int32_t notANumber = frame::message::notANumber;

// The two forms of a width side by side. A mantissa is what IEEE stores, without the implied bit. Sign and
// exponent are worked on in the higher word of 32 bits, or in the only one.
template <std::floating_point Real>
struct FloatForms {
  using Limits = std::numeric_limits<Real>;
  using Word = std::conditional_t<sizeof(Real) == 8, uint64_t, uint32_t>;
  static constexpr int32_t bits = sizeof(Word) * 8;
  static constexpr int32_t fractionBits = bits - 8;
  static constexpr int32_t mantissaBits = Limits::digits - 1;
  static constexpr int32_t bias = Limits::max_exponent - 1;
  static constexpr int32_t fullField = 2 * bias + 1;  // exponent field of infinities and NaNs
  static constexpr Word implied = Word{1} << mantissaBits;
  static constexpr Word mantissa = implied - 1;
  static constexpr Word fraction = (Word{1} << fractionBits) - 1;
  static constexpr int32_t belowHigh = bits - 32;
  static constexpr int32_t highMantissaBits = mantissaBits - belowHigh, highFractionBits = 24;
  static constexpr uint32_t sign = 0x80000000;

  static uint32_t high(Word word) { return static_cast<uint32_t>(word >> belowHigh); }
  static Word atHigh(uint32_t high) { return static_cast<Word>(high) << belowHigh; }
};

// A double from its two words, by one store of eight bytes: read back after two stores of four it would have
// to wait for both.
inline double ofBits(uint64_t bits) {
  const __m128i low = _mm_cvtsi32_si128(static_cast<int32_t>(bits)),
                high = _mm_cvtsi32_si128(static_cast<int32_t>(bits >> 32));
  return _mm_cvtsd_f64(_mm_castsi128_pd(_mm_unpacklo_epi32(low, high)));
}

inline float ofBits(uint32_t bits) {
  return std::bit_cast<float>(bits);
}

// The value of a hexadecimal float: 0, or floatOverflow with nothing stored. A high word of zero, its sign
// apart, is a zero, whatever the low one holds.
template <typename Real>
[[gnu::always_inline]] inline int32_t hexToIeee(typename FloatForms<Real>::Word item, Real& value) {
  using Forms = FloatForms<Real>;
  const uint32_t high = Forms::high(item);
  const auto fraction = item & Forms::fraction;
  if (high << 1 == 0 || fraction == 0) {
    value = 0;
    return 0;
  }
  const int32_t leadingZeros = std::countl_zero(fraction) - 8;
  const auto exponent = static_cast<int32_t>(high >> Forms::highFractionBits & 0x7F);
  const int32_t field = (exponent - 64) * 4 - leadingZeros + Forms::bias - 1;
  uint32_t top = high & Forms::sign;
  if constexpr (sizeof(Real) == 4) {  // a double holds every exponent
    if (field >= Forms::fullField) return floatOverflow;
    if (field < 0) {
      value = ofBits(top);
      return 0;
    }
  }
  top |= static_cast<uint32_t>(field) << Forms::highMantissaBits;
  constexpr int32_t excess = Forms::fractionBits - 1 - Forms::mantissaBits;
  value = ofBits(Forms::atHigh(top) | (fraction << leadingZeros >> excess & Forms::mantissa));
  return 0;
}

// The hexadecimal float of a value: 0, floatOverflow or notANumber; then nothing is stored. A high word of
// zero, its sign apart, is a zero, whatever the low one holds.
template <typename Real>
[[gnu::always_inline]] inline int32_t ieeeToHex(Real value, typename FloatForms<Real>::Word& item) {
  using Forms = FloatForms<Real>;
  const auto bits = std::bit_cast<typename Forms::Word>(value);
  const uint32_t high = Forms::high(bits);
  if (high << 1 == 0) {
    item = 0;
    return 0;
  }
  auto mantissa = bits & Forms::mantissa;
  auto field = static_cast<int32_t>(high >> Forms::highMantissaBits & Forms::fullField);
  if (field == Forms::fullField) return mantissa == 0 ? floatOverflow : notANumber;
  if (sizeof(Real) == 4 && field == 0) {  // a denormal; that of a double is too small anyway
    const int32_t shift = std::countl_zero(mantissa) - (Forms::bits - 1 - Forms::mantissaBits);
    mantissa = mantissa << shift & Forms::mantissa;
    field = 1 - shift;
  }
  const int32_t power = field - Forms::bias;
  const int32_t exponent = (power >> 2) + 1 + 64;
  if (exponent > 127) return floatOverflow;
  const uint32_t sign = high & Forms::sign;
  if (exponent < 0) {
    item = Forms::atHigh(sign);
    return 0;
  }
  // The first hexadecimal digit takes the implied bit and as many bits below it as the exponent of 2 lies
  // above a multiple of 4.
  constexpr int32_t excess = 3 - (Forms::fractionBits - 1 - Forms::mantissaBits);
  const auto fraction = (mantissa | Forms::implied) << (power & 3) >> excess;
  item = Forms::atHigh(sign | static_cast<uint32_t>(exponent) << Forms::highFractionBits) | fraction;
  return 0;
}

[[gnu::always_inline]] inline double qrtcConvHex8toIEEE(const void* item) {
  uint64_t word;
  memcpy(&word, item, sizeof word);
  double value = 0;
  hexToIeee(word, value);
  return value;
}

[[gnu::always_inline]] inline int32_t qrtdConvIEEE8toHex(double value, void* item) {
  uint64_t word;
  const int32_t status = ieeeToHex(value, word);
  if (status == 0) {
    const auto low = static_cast<uint32_t>(word), high = static_cast<uint32_t>(word >> 32);
    memcpy(item, &low, sizeof low);
    memcpy(static_cast<uint8_t*>(item) + sizeof low, &high, sizeof high);
  }
  return status;
}

[[gnu::always_inline]] inline void qrtcConvIEEE8toHex(double value, void* item) {
  if (const int32_t status = qrtdConvIEEE8toHex(value, item); status != 0) qrtWriteERRmsg(status, 0);
}

}  // namespace qrt::decimal
