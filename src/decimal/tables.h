// Constant tables over the bytes of packed decimal data: two digits, or one digit and the sign nibble.
#pragma once

#include <array>
#include <cstdint>

namespace qrt::decimal {

inline constexpr uint8_t invalidPair = 100;  // what a table holds for a byte that isn't decimal

template <typename Rule>
constexpr std::array<uint8_t, 256> tableOfBytes(Rule rule) {
  std::array<uint8_t, 256> table{};
  for (int byte = 0; byte < 256; ++byte) table[byte] = static_cast<uint8_t>(rule(byte >> 4, byte & 15));
  return table;
}

// 10h + l; a sign nibble in l counts as 0.
inline constexpr auto bcd_pair_value =
    tableOfBytes([](int h, int l) { return h > 9 ? invalidPair : 10 * h + (l > 9 ? 0 : l); });

// 99 less the value of two digits.
inline constexpr auto bcd_pair_nines =
    tableOfBytes([](int h, int l) { return h > 9 || l > 9 ? invalidPair : 99 - (10 * h + l); });

// Two digits, checked.
inline constexpr auto bcd_digits_checked =
    tableOfBytes([](int h, int l) { return h > 9 || l > 9 ? invalidPair : 10 * h + l; });

// A digit and a sign nibble, checked; the value is ten times the digit.
inline constexpr auto bcd_sign_checked =
    tableOfBytes([](int h, int l) { return h > 9 || l <= 9 ? invalidPair : 10 * h; });

// The packed byte of i mod 100: a sum of two pairs needs no second step.
inline constexpr auto pair_value_bcd = [] {
  std::array<uint8_t, 200> table{};
  for (int i = 0; i < 200; ++i) table[i] = static_cast<uint8_t>(i % 100 / 10 * 16 + i % 10);
  return table;
}();

}  // namespace qrt::decimal
