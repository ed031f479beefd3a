// Conversions among zoned items taken digit by digit: the twins of the library's own.
#pragma once

#include <stdint.h>

#include <algorithm>
#include <vector>

namespace qrt::decimal::plain {

using Item = std::vector<uint8_t>;
enum Form { TO, TS, LO, LS, US };

inline bool separate(Form form) {
  return form == TS || form == LS;
}

inline bool overpunched(Form form) {
  return form == TO || form == LO;
}

inline size_t bytesOf(Form form, int32_t digits) {
  return digits + separate(form);
}

// The digits of an item, zones included.
inline Item zonedDigitsOf(const Item& item, Form form) {
  return Item(item.begin() + (form == LS), item.end() - (form == TS));
}

inline uint8_t signByteOf(const Item& item, Form form) {
  return form == TO || form == TS ? item.back() : item.front();
}

inline bool hasMinus(const Item& item, Form form) {
  return separate(form) ? signByteOf(item, form) == '-' : overpunched(form) && signByteOf(item, form) & 0x40;
}

constexpr int32_t asItIs = -1;

// An item of these digits, whose sign byte or sign zone is that of `sign`.
inline Item zonedItem(Item digits, Form form, int32_t sign) {
  if (separate(form)) digits.insert(form == LS ? digits.begin() : digits.end(), static_cast<uint8_t>(sign));
  uint8_t& signedDigit = form == TO ? digits.back() : digits.front();
  if (overpunched(form) && sign != asItIs)
    signedDigit = static_cast<uint8_t>((signedDigit & 15) | (sign & 0xF0));
  return digits;
}

// The low-order digits with their zones, the zone cleaned off the byte that may have brought the sign, then
// the sign in the target's form. A zero is positive.
inline Item convertZoned(Form from, Form to, const Item& source, int32_t digits) {
  const Item all = zonedDigitsOf(source, from);
  const auto count = static_cast<int32_t>(all.size());
  Item result(digits, '0');
  bool nonZero = false;
  for (int32_t i = 1; i <= std::min(count, digits); ++i) {
    result[digits - i] = all[count - i];
    nonZero = nonZero || (all[count - i] & 15) != 0;
  }
  if (!separate(from)) {  // a byte that may have brought a zone is cleaned
    uint8_t& cleaned = from == LO ? result[std::max(0, digits - count)] : result.back();
    cleaned = (cleaned & 15) | 0x30;
  }
  const uint8_t sign = signByteOf(source, from);
  const bool minus = nonZero && hasMinus(source, from);
  if (separate(to)) return zonedItem(result, to, separate(from) && nonZero ? sign : minus ? '-' : '+');
  const bool copied = overpunched(from) && overpunched(to);
  return zonedItem(result, to, copied ? (nonZero ? sign : '0') : minus ? 'p' : asItIs);
}

}  // namespace qrt::decimal::plain
