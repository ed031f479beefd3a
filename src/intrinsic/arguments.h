// Numbers of the messages about arguments of numeric functions. The first value of each is the function's
// name.
#pragma once

#include <cstdint>

namespace qrt::intrinsic {

inline constexpr int32_t lowDiscountRate = 100;
inline constexpr int32_t negativeSeed = 163;
inline constexpr int32_t aboveLimit = 176;  // with the limit, or the decimal text of a seed
inline constexpr int32_t zeroDivisor = 177;
inline constexpr int32_t notPositive = 178;
inline constexpr int32_t belowLimit = 179;  // with the limit
inline constexpr int32_t fractionalSeed = 180;

}  // namespace qrt::intrinsic
