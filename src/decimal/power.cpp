// Exponentiation of floating and integer operands.
#include "decimal/power.h"

#include <cerrno>
#include <cmath>

#include "frame/unaligned.h"

namespace qrt::decimal {
namespace {

constexpr int32_t negativeToFraction = 48, zeroToZero = 49, zeroToNegative = 50, infinitePower = 58;

using frame::load;

template <typename Real>
Real powerOfZero(Real exponent, uint32_t* sizeError) {
  if (exponent == 0) {
    sizeErrorOrMessage(sizeError, zeroToZero);
    return 1;
  }
  if (exponent < 0) sizeErrorOrMessage(sizeError, zeroToNegative);
  return 0;
}

template <typename Real>
Real powerOfNegative(Real base, Real exponent, uint32_t* sizeError) {
  errno = 0;
  const Real power = std::pow(base, exponent);
  if (errno != EDOM) return power;
  sizeErrorOrMessage(sizeError, negativeToFraction);
  return std::pow(-base, exponent);
}

}  // namespace

void sizeErrorOrMessage(uint32_t* sizeError, int32_t message) {
  if (*sizeError != 0)
    ++*sizeError;
  else
    qrtWriteERRmsg(message, 0);
}

template <typename Real>
Real raise(Real base, Real exponent, uint32_t* sizeError) {
  const Real power = base == 0  ? powerOfZero(exponent, sizeError)
                     : base < 0 ? powerOfNegative(base, exponent, sizeError)
                                : std::pow(base, exponent);
  if (std::isinf(power)) sizeErrorOrMessage(sizeError, infinitePower);
  return power;
}

template double raise(double, double, uint32_t*);
template long double raise(long double, long double, uint32_t*);

template <typename Real>
Real raiseToInt8(Real base, const int64_t* exponent, uint32_t* sizeError) {
  return raise(base, static_cast<Real>(load(exponent)), sizeError);
}

template double raiseToInt8(double, const int64_t*, uint32_t*);
template long double raiseToInt8(long double, const int64_t*, uint32_t*);

double raiseInt8(const int64_t* base, const int64_t* exponent, uint32_t* sizeError) {
  const auto value = static_cast<double>(load(base));
  return load(exponent) == 1 ? value : raiseToInt8(value, exponent, sizeError);
}

}  // namespace qrt::decimal
