// The numeric functions of one argument, REM and RANDOM. The inner functions behind the entries of these
// names, with their arguments (see qrtrlib.h). Real is double or long double.
#pragma once

#include <cstdint>

namespace qrt::intrinsic {

template <typename Real>
Real arcCosine(Real argument);
template <typename Real>
Real arcSine(Real argument);
template <typename Real>
Real arcTangent(Real argument);
template <typename Real>
Real cosine(Real argument);
template <typename Real>
Real sine(Real argument);
template <typename Real>
Real tangent(Real argument);
template <typename Real>
Real logarithm(Real argument);
template <typename Real>
Real logarithm10(Real argument);
template <typename Real>
Real squareRoot(Real argument);
template <typename Real>
Real integer(Real argument);
template <typename Real>
Real integerPart(Real argument);

// In extended arithmetic.
template <typename Real>
Real remainder(Real dividend, Real divisor);

double nextRandom();
double firstRandom(int64_t seed);
double firstRandom(double seed);

}  // namespace qrt::intrinsic
