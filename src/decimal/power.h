// The ** operator: on floating operands through the run-time's power function, on decimal operands exactly.
// A size-error word that isn't 0 counts errors in silence; one of 0 has them reported.
#pragma once

#include <cstdint>

#include "qrtrlib.h"

namespace qrt::decimal {

// base ** exponent. Real is double or long double.
template <typename Real>
Real raise(Real base, Real exponent, uint32_t* sizeError);

extern template double raise(double, double, uint32_t*);
extern template long double raise(long double, long double, uint32_t*);

template <typename Real>
Real raiseToInt8(Real base, const int64_t* exponent, uint32_t* sizeError);

extern template double raiseToInt8(double, const int64_t*, uint32_t*);
extern template long double raiseToInt8(long double, const int64_t*, uint32_t*);

double raiseInt8(const int64_t* base, const int64_t* exponent, uint32_t* sizeError);

void raiseFixedPoint(const QrtExponentiation* control, const uint8_t* exponent, const uint8_t* base,
                     uint8_t* result, uint32_t* sizeError);

// One more size error where the statement has such a phrase, else the message.
void sizeErrorOrMessage(uint32_t* sizeError, int32_t message);

}  // namespace qrt::decimal
