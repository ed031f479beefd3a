// Conversions of floats taken step by step, one bit or digit at a time: the twins of the library's own.
#pragma once

#include <errno.h>
#include <float.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <bit>
#include <cmath>
#include <string>
#include <string_view>
#include <vector>

#include "qrtrlib.h"

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

// The text of an external item, from the C library's print of the value. Needs a "C" locale.
inline std::string plainExternal(const QrtExternalFloat& control, long double value) {
  char print[128];
  snprintf(print, sizeof print, "%+.*LE", control.before + control.after - 1, value);
  std::string text = print;
  if (std::isinf(value)) text += "INITY";
  if (text[1] != 'I' && text[1] != 'N') {
    const size_t e = text.find('E');
    int exponent = atoi(text.c_str() + e + 1);
    std::string digits = text.substr(1, e - 1);
    if (digits.size() > 1) digits.erase(1, 1);
    if (control.length >= 0) digits.insert(control.before, 1, static_cast<char>(control.decimalPoint));
    if (value != 0) exponent += 1 - control.before;
    snprintf(print, sizeof print, "%+.2i", exponent);
    if (control.exponentSign == '-' && print[0] == '+') print[0] = ' ';
    text = (value == 0 ? "+" : text.substr(0, 1)) + digits + "E" + print;
  }
  if (control.mantissaSign == '-' && text[0] == '+') text[0] = ' ';
  text.resize(std::abs(control.length), ' ');
  return text;
}

// The clean number text of an external item, piece by piece; empty when there is no digit.
inline std::string plainNumberText(int16_t length, int16_t before, std::string_view text) {
  std::string number, exponent, exponentSign = "+";
  size_t at = 0, digits = 0;
  const auto isOneOf = [&](std::string_view set) { return set.find(text[at]) != set.npos; };
  const auto skipTo = [&](std::string_view set) {
    while (at < text.size() && !isOneOf(set)) ++at;
    return at < text.size();
  };
  if (!skipTo("+-0123456789.,Ee")) return "";
  if (isOneOf("+-")) number += text[at++];
  if (!skipTo("0123456789.,Ee") || isOneOf("Ee")) return "";
  bool point = false;
  for (; skipTo("0123456789.,Ee") && !isOneOf("Ee"); ++at) {
    const bool digit = !isOneOf(".,");
    const bool implied = digit && length < 0 && static_cast<int32_t>(at) >= before + 1;
    if (!point && (!digit || implied)) {
      number += '.';
      point = true;
    }
    if (digit) {
      number += text[at];
      ++digits;
    }
  }
  for (; skipTo("0123456789+-"); ++at) {
    if (isOneOf("+-")) {
      if (exponent.empty()) exponentSign = text[at];
    } else {
      exponent += text[at];
    }
  }
  if (!exponent.empty()) number += "E" + exponentSign + exponent;
  return digits == 0 ? "" : number;
}

struct PlainFloat {
  long double value;
  int32_t result;  // 1 underflow, 2 overflow
};

// The value of an external item for a target of that size.
inline PlainFloat plainExternalValue(const QrtExternalFloatSource& control, std::string_view text) {
  const std::string number = plainNumberText(control.length, control.before, text);
  errno = 0;
  const long double value = number.empty() ? 0 : strtold(number.c_str(), nullptr);
  const bool single = control.targetSize == 4, isDouble = control.targetSize == 8;
  const long double smallest = single ? 1.1754944e-38L : isDouble ? 2.2250738585072014e-308L : 0;
  const long double largest = single ? 3.4028235e38L : isDouble ? 1.79769313486232e308L : LDBL_MAX;
  const long double held = std::fabs(value);
  if (errno == ERANGE ? held < 1 : held != 0 && held < smallest) return {0, 1};
  if (errno == ERANGE || held > largest)
    return {std::copysign(single ? FLT_MAX : isDouble ? DBL_MAX : LDBL_MAX, value), 2};
  return {single ? static_cast<float>(value) : isDouble ? static_cast<double>(value) : value, 0};
}

// The value as it is stored, in an area of 16 bytes that starts as 0xEE.
inline std::string plainStored(const PlainFloat& read, int32_t targetSize) {
  const auto single = static_cast<float>(read.value);
  const auto wide = static_cast<double>(read.value);
  std::string area(16, targetSize == 4 || targetSize == 8 ? '\xEE' : '\0');
  if (targetSize == 4)
    memcpy(area.data(), &single, 4);
  else if (targetSize == 8)
    memcpy(area.data(), &wide, 8);
  else
    memcpy(area.data(), &read.value, 10);
  return area;
}

template <typename Float>
Float powerOfTen(Float (*parse)(const char*, char**), int32_t exponent) {
  return parse(("1e" + std::to_string(exponent)).c_str(), nullptr);
}

// The items' digits in the pairs that their bytes hold.
template <typename Float>
Float plainPackedValue(const std::string& digits, bool (*counts)(bool odd, size_t pairsBefore)) {
  const bool odd = digits.size() % 2 != 0;
  Float value = odd ? 0 : Float(digits[0] - '0');
  size_t pairs = 0;
  for (size_t at = !odd; at + 1 < digits.size(); at += 2) {
    const int pair = 10 * (digits[at] - '0') + (digits[at + 1] - '0');
    if (odd && pairs == 0 && pair == 0) continue;
    value = value * 100;
    if (counts(odd, pairs++)) value = value + Float(pair);
  }
  return value * 10 + (counts(odd, pairs) ? Float(digits.back() - '0') : Float(0));
}

// A value as a packed item, by the rules as they read.
inline std::vector<uint8_t> plainPacked(long double value, int32_t digits, int32_t scale) {
  const int32_t bytes = digits / 2 + 1, last = bytes - 1;
  std::vector<uint8_t> field(bytes, 0);
  long double x = fabsl(value);
  if (!(x >= 1e-19L) || x > powerOfTen(strtold, digits + 19)) return field.back() = 0x0C, field;
  x *= powerOfTen(strtold, scale == 0 ? 0 : -scale);
  int32_t first = bytes;
  for (int32_t at = last, left = digits; at >= 0; --at) {
    const int32_t taken = at == last || left == 1 ? 1 : 2;
    const long double power = taken == 1 ? 10 : 100;
    const auto part = static_cast<int32_t>(fmodl(x, power));
    field[at] = static_cast<uint8_t>(at == last ? part << 4 : part / 10 << 4 | part % 10);
    if (field[at] != 0) first = at;
    x /= power;
    left -= taken;
  }
  uint8_t sign = value < 0 ? 0xD : 0xC;
  if (first == bytes) return field.back() = 0x0C, field;
  const int32_t excess = x > 0 ? static_cast<int32_t>(log10l(x)) : 0;
  if (last - first > 10 || excess > 0) {
    int32_t keep = first + 9;
    if (excess > 0) keep -= excess / 2 + 2;
    for (int32_t at = last; at >= 0 && at >= keep; --at) field[at] = 0;
    if (keep == first) sign = 0xC;
  }
  field.back() |= sign;
  return field;
}

}  // namespace qrt::decimal
