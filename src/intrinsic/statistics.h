// MEDIAN, PRESENT-VALUE, VARIANCE and STANDARD-DEVIATION. The inner functions behind the entries of these
// names, with their arguments (see qrtrlib.h). Real is double, or long double for arrays of slots of 16 bytes
// with an extended value in the first 10; nothing needs an alignment. All arithmetic is extended, and rounded
// once for a double.
#pragma once

#include <cstdint>

namespace qrt::intrinsic {

// Reorders the array.
void medianOfExtended(int32_t count, void* result, void* array);

// Leaves the array as it is. Message 907: there is no memory for a copy; the result is left as it was.
void medianOfDoubles(int32_t count, void* result, const void* array);

template <typename Real>
void presentValue(int32_t count, void* result, const void* array);
template <typename Real>
void variance(int32_t count, void* result, long double mean, const void* array);
template <typename Real>
void standardDeviation(int32_t count, void* result, long double mean, const void* array);

}  // namespace qrt::intrinsic
