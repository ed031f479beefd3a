// Conversions between floats and external floating-point items, the text form with an exponent. The inner
// functions behind the entries, with their arguments (see qrtrlib.h).
#pragma once

#include <cstdint>

#include "qrtrlib.h"

namespace qrt::decimal {

// Of a double or, as 10 bytes, a long double at any address.
template <typename Real>
void floatToExternal(const QrtExternalFloat* control, const void* value, uint8_t* destination);

int32_t externalToFloat(const QrtExternalFloatSource* control, const uint8_t* text, void* destination,
                        int32_t report);

}  // namespace qrt::decimal
