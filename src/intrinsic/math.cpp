// Numeric functions over those of the C library, with the checks of their arguments. A function that has
// reported its argument goes on with it.
#include "intrinsic/math.h"

#include <cmath>

#include "intrinsic/arguments.h"
#include "qrtrlib.h"

namespace qrt::intrinsic {
namespace {

template <typename Real>
void checkFromMinusOneToOne(Real argument, const char* function) {
  if (argument < -1) qrtWriteERRmsg(belowLimit, 0, function, -1);
  if (argument > 1) qrtWriteERRmsg(aboveLimit, 0, function, 1);
}

template <typename Real>
void checkPositive(Real argument, const char* function) {
  if (argument <= 0) qrtWriteERRmsg(notPositive, 0, function);
}

}  // namespace

template <typename Real>
Real arcCosine(Real argument) {
  checkFromMinusOneToOne(argument, "ACOS");
  return std::acos(argument);
}

template <typename Real>
Real arcSine(Real argument) {
  checkFromMinusOneToOne(argument, "ASIN");
  return std::asin(argument);
}

template <typename Real>
Real arcTangent(Real argument) {
  return std::atan(argument);
}

template <typename Real>
Real cosine(Real argument) {
  return std::cos(argument);
}

template <typename Real>
Real sine(Real argument) {
  return std::sin(argument);
}

template <typename Real>
Real tangent(Real argument) {
  return std::tan(argument);
}

template <typename Real>
Real logarithm(Real argument) {
  checkPositive(argument, "LOG");
  return std::log(argument);
}

template <typename Real>
Real logarithm10(Real argument) {
  checkPositive(argument, "LOG10");
  return std::log10(argument);
}

template <typename Real>
Real squareRoot(Real argument) {
  if (argument < 0) qrtWriteERRmsg(belowLimit, 0, "SQRT", 0);
  return std::sqrt(argument);
}

template <typename Real>
Real integer(Real argument) {
  return std::floor(argument);
}

template <typename Real>
Real integerPart(Real argument) {
  return std::trunc(argument);
}

template <typename Real>
Real remainder(Real dividend, Real divisor) {
  if (divisor == 0) qrtWriteERRmsg(zeroDivisor, 0, "REM");
  const long double wideDivisor = divisor, modulus = std::fabs(wideDivisor);
  long double rest = dividend;
  // One round is enough unless the quotient has more bits than a mantissa. A NaN ends it.
  do {
    const long double quotient = rest / wideDivisor;
    if (std::isinf(quotient))
      rest = std::fmod(rest, wideDivisor);
    else
      rest -= std::trunc(quotient) * wideDivisor;
  } while (std::fabs(rest) >= modulus);
  // A quotient that was rounded up leaves the other sign.
  if (dividend > 0 && rest < 0) rest += modulus;
  if (dividend < 0 && rest > 0) rest -= modulus;
  return static_cast<Real>(rest);
}

#define INSTANCES(Real)                  \
  template Real arcCosine<Real>(Real);   \
  template Real arcSine<Real>(Real);     \
  template Real arcTangent<Real>(Real);  \
  template Real cosine<Real>(Real);      \
  template Real sine<Real>(Real);        \
  template Real tangent<Real>(Real);     \
  template Real logarithm<Real>(Real);   \
  template Real logarithm10<Real>(Real); \
  template Real squareRoot<Real>(Real);  \
  template Real integer<Real>(Real);     \
  template Real integerPart<Real>(Real); \
  template Real remainder<Real>(Real, Real);
INSTANCES(double)
INSTANCES(long double)
#undef INSTANCES

}  // namespace qrt::intrinsic
