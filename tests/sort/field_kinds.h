// The types of fields as tests see them: random values, their order by plain decoding.
#pragma once

#include <string_view>

#include "sort/engine/plain_fields.h"

namespace qrt::test {

using Random = std::mt19937;

inline size_t below(Random& random, size_t limit) {
  return random() % limit;
}

using sort::plain::compareValues, sort::plain::Decimal, sort::plain::decodeDecimal, sort::plain::decodeFixed,
    sort::plain::isNegativeZone, sort::plain::modified, sort::plain::native, sort::plain::plainDecimal,
    sort::plain::sign, sort::plain::visitNative;

// Each of the letters once in `odds` times.
inline std::string someOf(std::string_view letters, size_t odds, Random& random) {
  std::string some;
  for (const char letter : letters)
    if (below(random, odds) == 0) some += letter;
  return some;
}

// A random value of few different ones, so that keys are often equal.
inline std::string randomValue(Random& random, std::string_view keyword, size_t length) {
  std::string bytes(length, 0);
  const auto pick = [&](std::string_view from) { return from[below(random, from.size())]; };
  const auto put = [&](auto value) { memcpy(bytes.data(), &value, std::min(length, sizeof value)); };
  if (keyword == "float")
    return put(float(int(below(random, 7)) - 3) * 0.5F * (below(random, 2) ? 1 : -1)), bytes;
  if (keyword == "double")
    return put(double(int(below(random, 7)) - 3) * 1e200 * (below(random, 2) ? 1 : -1)), bytes;
  if (keyword == "extended") {
    const long double value = (int(below(random, 7)) - 3) * 1e3000L * (below(random, 2) ? 1 : -1);
    memcpy(bytes.data(), &value, 10);
    return bytes;
  }
  if (keyword == "char" || keyword == "bin") {
    for (char& byte : bytes) byte = pick(std::string_view("aAb Z\t.5\0\1\xFF\xFE\x80~", 14));
    if (length > 0) bytes[0] = pick("aAbZ");
    return bytes;
  }
  const bool isZoned = keyword == "zoned" || keyword.starts_with("ext");
  if (isZoned || keyword == "packed") {
    const size_t zeros = below(random, length + 1);  // leading ones
    for (size_t at = 0; at < length; ++at) {
      const size_t digits = at < zeros ? 0 : below(random, 3) * 0x10 + below(random, 3);
      bytes[at] = static_cast<char>(isZoned ? (below(random, 2) ? 0xF0 : 0x30) | (digits & 0xF) : digits);
    }
    if (length == 0) return bytes;
    char& last = keyword.starts_with("extl") ? bytes.front() : bytes.back();
    const size_t nibble = static_cast<uint8_t>(pick("\x3\x4\x7\xA\xB\xC\xD\xE\xF"));
    if (keyword == "extlss" || keyword == "exttss")
      last = pick("+-");
    else if (isZoned)
      last = static_cast<char>((last & 0xF) | nibble << 4);
    else
      last = static_cast<char>((last & 0xF0) | nibble);
    return bytes;
  }
  for (char& byte : bytes) byte = pick(std::string_view("\0\0\0\1\x80\xFF\x7F", 7));
  return bytes;
}

struct Kind {
  const char* keyword;
  size_t longest;  // a length to give, or 0 for a type that has its own
  size_t size;     // of that type
};

inline constexpr Kind kinds[] = {
    {"int", 0, 4},     {"uint", 0, 4},    {"short", 0, 2},  {"ushort", 0, 2},    {"long", 0, 4},
    {"ulong", 0, 4},   {"float", 0, 4},   {"double", 0, 8}, {"extended", 0, 16}, {"fixed", 8, 0},
    {"packed", 20, 0}, {"packed", 8, 0},  {"zoned", 40, 0}, {"zoned", 9, 0},     {"extlss", 19, 0},
    {"exttss", 12, 0}, {"extlns", 18, 0}, {"exttns", 5, 0}, {"scint", 0, 8},     {"scuint", 0, 8},
    {"bin", 4, 0},     {"char", 6, 0},    {"char", 30, 0},  {"kx70float", 0, 4}, {"kx70double", 0, 8},
};

}  // namespace qrt::test
