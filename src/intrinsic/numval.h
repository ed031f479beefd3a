// NUMVAL and NUMVAL-C. The inner functions behind the entries of these names, with their arguments (see
// qrtrlib.h), for text of `unit` bytes a character, 1 or 2, and a double or long double as the result.
#pragma once

#include <cstddef>
#include <cstdint>

#include "qrtrlib.h"

namespace qrt::intrinsic {

template <size_t unit, typename Float>
void numval(const QrtNumvalControl* control, int32_t length, const void* string, void* result);

template <size_t unit, typename Float>
void numvalC(const QrtNumvalControl* control, int32_t length, const void* string, int32_t currencyLength,
             const void* currency, void* result);

}  // namespace qrt::intrinsic
