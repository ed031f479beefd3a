// Powers of ten for decimal scaling, each the nearest value of its type.
#pragma once

#include <cmath>
#include <cstdint>

namespace qrt::decimal {

inline constexpr int32_t mostScale = 31;

#define POWERS_OF_TEN(suffix)                                                                            \
  1e31##suffix, 1e30##suffix, 1e29##suffix, 1e28##suffix, 1e27##suffix, 1e26##suffix, 1e25##suffix,      \
      1e24##suffix, 1e23##suffix, 1e22##suffix, 1e21##suffix, 1e20##suffix, 1e19##suffix, 1e18##suffix,  \
      1e17##suffix, 1e16##suffix, 1e15##suffix, 1e14##suffix, 1e13##suffix, 1e12##suffix, 1e11##suffix,  \
      1e10##suffix, 1e9##suffix, 1e8##suffix, 1e7##suffix, 1e6##suffix, 1e5##suffix, 1e4##suffix,        \
      1e3##suffix, 1e2##suffix, 1e1##suffix, 1e0##suffix, 1e-1##suffix, 1e-2##suffix, 1e-3##suffix,      \
      1e-4##suffix, 1e-5##suffix, 1e-6##suffix, 1e-7##suffix, 1e-8##suffix, 1e-9##suffix, 1e-10##suffix, \
      1e-11##suffix, 1e-12##suffix, 1e-13##suffix, 1e-14##suffix, 1e-15##suffix, 1e-16##suffix,          \
      1e-17##suffix, 1e-18##suffix, 1e-19##suffix, 1e-20##suffix, 1e-21##suffix, 1e-22##suffix,          \
      1e-23##suffix, 1e-24##suffix, 1e-25##suffix, 1e-26##suffix, 1e-27##suffix, 1e-28##suffix,          \
      1e-29##suffix, 1e-30##suffix, 1e-31##suffix

// Entry scale + 31 is 10 to the -scale, for scales from -31 to 31.
inline constexpr double scalesOfDouble[] = {POWERS_OF_TEN()};
inline constexpr long double scalesOfExtended[] = {POWERS_OF_TEN(L)};
#undef POWERS_OF_TEN

static_assert(sizeof scalesOfDouble / sizeof(double) == 2 * mostScale + 1);
static_assert(sizeof scalesOfExtended / sizeof(long double) == 2 * mostScale + 1);

// 10 to a power from 0 up; the nearest value up to 10 to the 54th.
inline long double extendedPowerOfTen(int32_t exponent) {
  constexpr int32_t mostExact = 27;  // 5 to the 27th still fits a mantissa of 64 bits
  constexpr auto entry = [](int32_t power) { return scalesOfExtended[mostScale - power]; };
  if (exponent <= mostScale) return entry(exponent);
  if (exponent <= 2 * mostExact) return entry(mostExact) * entry(exponent - mostExact);
  return std::pow(10.0L, static_cast<long double>(exponent));
}

}  // namespace qrt::decimal
