// The checks of decimal operands: each bad byte is reported, and the operation goes on when the report
// returns.
#pragma once

#include <cstdint>

#include "decimal/tables.h"
#include "frame/message.h"
#include "qrtrlib.h"

namespace qrt::decimal {

// The value of two digits; above 99, and reported, when they aren't digits.
inline uint8_t checkedPair(uint8_t byte) {
  const uint8_t value = bcd_digits_checked[byte];
  if (value >= invalidPair) [[unlikely]]
    qrtWriteERRmsg(frame::message::invalidDigit, 0);
  return value;
}

// The units digit of a last byte with its sign nibble; 10, and reported, when one of them isn't that.
inline uint8_t checkedUnits(uint8_t lastByte) {
  const uint8_t tenfold = bcd_sign_checked[lastByte];
  if (tenfold >= invalidPair) [[unlikely]]
    qrtWriteERRmsg((lastByte & 15) < 10 ? frame::message::invalidSign : frame::message::invalidDigit, 0);
  return tenfold / 10;
}

// A separate sign byte as it stands, reported when it is neither "+" nor "-".
inline uint8_t checkedSeparateSign(uint8_t sign) {
  if (sign != '+' && sign != '-') [[unlikely]]
    qrtWriteERRmsg(frame::message::invalidSeparateSign, 0);
  return sign;
}

}  // namespace qrt::decimal
