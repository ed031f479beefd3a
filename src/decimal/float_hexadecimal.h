// Conversions between hexadecimal and IEEE floats. Both cut, neither rounds. A hexadecimal float is sign,
// exponent of 16 in excess 64, and a fraction below 1 of 14 or 6 hexadecimal digits.
//
// The functions with a name from the table of entries are the inner ones behind them, for use inside a guard.
// All is defined here, so that it is compiled into the entries and into the twins for host data.
#pragma once

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

// The two forms of a width side by side. A mantissa is what IEEE stores, without the implied bit.
template <std::floating_point Real>
struct FloatForms {
  using Limits = std::numeric_limits<Real>;
  using Word = std::conditional_t<sizeof(Real) == 8, uint64_t, uint32_t>;
  static constexpr int32_t bits = sizeof(Word) * 8;
  static constexpr int32_t fractionBits = bits - 8;
  static constexpr int32_t mantissaBits = Limits::digits - 1;
  static constexpr int32_t bias = Limits::max_exponent - 1;
  static constexpr int32_t fullField = 2 * bias + 1;  // exponent field of infinities and NaNs
  static constexpr Word sign = Word{1} << (bits - 1);
  static constexpr Word fraction = (Word{1} << fractionBits) - 1;
  static constexpr Word mantissa = (Word{1} << mantissaBits) - 1;

  // Whether the word of 32 bits with sign and exponent is zero, its sign apart: all that some tests look at.
  static constexpr bool isZeroAbove(Word word) {
    return static_cast<uint32_t>(word >> (bits - 32)) << 1 == 0;
  }
};

// The value of a hexadecimal float: 0, or floatOverflow with nothing stored.
template <typename Real>
int32_t hexToIeee(typename FloatForms<Real>::Word item, Real& value) {
  using Forms = FloatForms<Real>;
  const auto fraction = item & Forms::fraction;
  if (Forms::isZeroAbove(item) || fraction == 0) {
    value = 0;
    return 0;
  }
  const int32_t leadingZeros = std::countl_zero(fraction) - 8;
  const auto exponent = static_cast<int32_t>(item >> Forms::fractionBits) & 0x7F;
  const int32_t field = (exponent - 64) * 4 - leadingZeros + Forms::bias - 1;
  typename Forms::Word bits = item & Forms::sign;
  if constexpr (sizeof(Real) == 4) {  // a double holds every exponent
    if (field >= Forms::fullField) return floatOverflow;
  }
  if (sizeof(Real) == 8 || field >= 0) {
    constexpr int32_t excess = Forms::fractionBits - 1 - Forms::mantissaBits;
    bits |= static_cast<typename Forms::Word>(field) << Forms::mantissaBits;
    bits |= fraction << leadingZeros >> excess & Forms::mantissa;
  }
  value = std::bit_cast<Real>(bits);
  return 0;
}

// The hexadecimal float of a value: 0, floatOverflow or notANumber; then nothing is stored.
template <typename Real>
int32_t ieeeToHex(Real value, typename FloatForms<Real>::Word& item) {
  using Forms = FloatForms<Real>;
  const auto bits = std::bit_cast<typename Forms::Word>(value);
  if (Forms::isZeroAbove(bits)) {
    item = 0;
    return 0;
  }
  auto mantissa = bits & Forms::mantissa;
  int32_t field = static_cast<int32_t>(bits >> Forms::mantissaBits) & Forms::fullField;
  if (field == Forms::fullField) return mantissa == 0 ? floatOverflow : notANumber;
  if (sizeof(Real) == 4 && field == 0) {  // a denormal; that of a double is too small anyway
    const int32_t shift = std::countl_zero(mantissa) - (Forms::bits - 1 - Forms::mantissaBits);
    mantissa = mantissa << shift & Forms::mantissa;
    field = 1 - shift;
  }
  // The first hexadecimal digit takes the implied bit and as many bits below it as the exponent of 2 lies
  // above a multiple of 4.
  constexpr int32_t excess = 3 - (Forms::fractionBits - 1 - Forms::mantissaBits);
  const int32_t power = field - Forms::bias;
  const auto fraction = (mantissa | (Forms::mantissa + 1)) << (power & 3) >> excess;
  const int32_t exponent = (power >> 2) + 1 + 64;
  if (exponent > 127) return floatOverflow;
  item = bits & Forms::sign;
  if (exponent >= 0) item |= static_cast<typename Forms::Word>(exponent) << Forms::fractionBits | fraction;
  return 0;
}

inline double qrtcConvHex8toIEEE(const void* item) {
  uint64_t word;
  memcpy(&word, item, sizeof word);
  double value = 0;
  hexToIeee(word, value);
  return value;
}

inline int32_t qrtdConvIEEE8toHex(double value, void* item) {
  uint64_t word;
  const int32_t status = ieeeToHex(value, word);
  if (status == 0) memcpy(item, &word, sizeof word);
  return status;
}

inline void qrtcConvIEEE8toHex(double value, void* item) {
  if (const int32_t status = qrtdConvIEEE8toHex(value, item); status != 0) qrtWriteERRmsg(status, 0);
}

inline int32_t qrtdConvHex4toIEEE(uint32_t item, float* value) {
  return hexToIeee(item, *value);
}

inline float qrtcConvHex4toIEEE(uint32_t item) {
  float value = 0;
  if (const int32_t status = hexToIeee(item, value); status != 0) qrtWriteERRmsg(status, 0);
  return value;
}

inline int32_t qrtdConvIEEE4toHex(float value, uint32_t* item) {
  return ieeeToHex(value, *item);
}

inline uint32_t qrtcConvIEEE4toHex(float value) {
  uint32_t item = 0;
  if (const int32_t status = ieeeToHex(value, item); status != 0) qrtWriteERRmsg(status, 0);
  return item;
}

}  // namespace qrt::decimal
