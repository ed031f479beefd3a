// Conversions of floats taken step by step, one bit at a time: the twins of the library's own.
#pragma once

#include <stdint.h>
#include <string.h>

#include <bit>
#include <cmath>

namespace qrt::decimal {

// The value of a hexadecimal float with `digits` hexadecimal digits of fraction, and no cut at all.
inline long double plainHexValue(uint64_t item, int digits) {
  const auto fraction = static_cast<long double>(item & ((1ull << 4 * digits) - 1));
  const int exponent = static_cast<int>(item >> 4 * digits & 127) - 64;
  const bool negative = (item >> (4 * digits + 7) & 1) != 0;
  return std::ldexp(negative ? -fraction : fraction, 4 * (exponent - digits));
}

// A Hex8 item to a double.
inline double plainHex8ToIeee(uint64_t item) {
  if ((item >> 32 & 0x7FFFFFFF) == 0) return 0;
  uint64_t fraction = item & 0x00FFFFFFFFFFFFFF;
  if (fraction == 0) return 0;
  int32_t e = (static_cast<int32_t>(item >> 56 & 127) - 64) * 4;
  for (; (fraction >> 55 & 1) == 0; --e) fraction <<= 1;
  fraction <<= 1;
  const uint64_t field = static_cast<uint64_t>(e + 0x3FE) << 52;
  return std::bit_cast<double>((item & 1ull << 63) | field | (fraction >> 4 & 0x000FFFFFFFFFFFFF));
}

// A double to a Hex8 item. 0, or 53 or 54 with the item left as it is.
inline int32_t plainIeeeToHex8(double value, uint64_t& item) {
  const auto bits = std::bit_cast<uint64_t>(value);
  if ((bits >> 32 & 0x7FFFFFFF) == 0) {
    item = 0;
    return 0;
  }
  if (std::isinf(value)) return 53;
  if (std::isnan(value)) return 54;
  int32_t e = static_cast<int32_t>(bits >> 52 & 0x7FF) - 1023;
  uint64_t work = 1ull << 56 | (bits & 0x000FFFFFFFFFFFFF) << 4;
  if (e >= 0) {
    work <<= e % 4;
    e /= 4;
  } else {
    work >>= -e % 4;
    e = -(-e / 4);
  }
  if ((work >> 56 & 15) != 0) {
    work >>= 4;
    ++e;
  }
  e += 64;
  if (e > 127) return 53;
  item = bits & 1ull << 63;
  if (e >= 0) item |= static_cast<uint64_t>(e) << 56 | work;
  return 0;
}

}  // namespace qrt::decimal
