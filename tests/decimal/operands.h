// Operands of decimal services: random packed items, their digits as text, results between guard bytes.
#pragma once

#include <qrtrlib.h>

#include <algorithm>
#include <random>

#include "decimal/reports.h"
#include "support/guards.h"

namespace qrt::test {

using Bytes = std::vector<uint8_t>;

inline std::mt19937_64 random_(20261124);

inline int32_t below(int32_t bound) {
  return static_cast<int32_t>(random_() % static_cast<uint32_t>(bound));
}

inline std::string hexadecimal(const Bytes& bytes) {
  return hexadecimal(bytes.data(), bytes.size());
}

// The bytes of a text in hexadecimal.
inline Bytes fromHexadecimal(const std::string& text) {
  Bytes bytes;
  for (size_t at = 0; at < text.size(); at += 2)
    bytes.push_back(static_cast<uint8_t>(std::stoi(text.substr(at, 2), nullptr, 16)));
  return bytes;
}

// A valid packed item: often with leading zeros, any sign nibble, now and then a digit in the spare nibble.
inline Bytes anyItem(int32_t digits) {
  const int32_t spare = digits % 2 == 0, zeros = below(3) == 0 ? below(digits + 1) : 0;
  std::string text(digits + spare, '0');
  for (int32_t at = spare + zeros; at < digits + spare; ++at) text[at] = static_cast<char>('0' + below(10));
  if (spare != 0 && below(8) == 0) text[0] = static_cast<char>('0' + below(10));
  return fromHexadecimal(text + "ABCDEF"[below(6)]);
}

inline std::string digitsOf(const Bytes& item, int32_t digits) {
  return hexadecimal(item).substr(2 * item.size() - 1 - digits, digits);
}

inline bool hasMinus(const Bytes& item) {
  return (item.back() & 15) == 0xB || (item.back() & 15) == 0xD;
}

// The low-order digits of a text as a packed item in hexadecimal, with the sign that a result gets.
inline std::string packedText(std::string digits, int32_t count, bool minus) {
  digits.insert(0, count, '0');
  digits.erase(0, digits.size() - count);
  if (digits.find_first_not_of('0') == digits.npos) minus = false;
  return (count % 2 == 0 ? "0" : "") + digits + (minus ? 'D' : 'C');
}

// What `work` stores into that many bytes, in hexadecimal.
template <typename Work>
std::string stored(size_t size, Work work) {
  return hexadecimal(itemAfter(size, work).data(), size);
}

}  // namespace qrt::test
