// SEARCH ALL by normal forms: each key becomes bytes whose plain order is that of the table, and the search
// compares nothing else. The oracle of the search that compares keys as they lie.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

#include "qrtrlib.h"

namespace qrt::statement::plain {

inline constexpr std::string_view complementedOdd = "\x60\x61\x06";

inline bool isKnownType(uint8_t type) {
  constexpr std::string_view known("\x08\x09\x10\x11\x02\x20\x40\x41\x04");
  return known.find(static_cast<char>(type & 0x7F)) != known.npos;
}
inline bool isZonedType(uint8_t type) {
  return (type & 0x7E) == 0x10 || (type & 0x7F) == 0x02;
}
inline bool isNumericType(uint8_t type) {
  return isZonedType(type) || (type & 0x7F) == 0x20 || (type & 0x7E) == 0x40;
}
inline size_t unitOf(uint8_t type) {
  return (type & 0x7F) == 0x02 || (type & 0x7F) == 0x04 ? 2 : 1;
}
inline bool isMinusZone(uint8_t type, uint8_t byte) {
  return (type & 0x7F) == 0x11 ? byte >> 4 == 0xD : (byte & 0x40) != 0;
}

// `minus` is the sign of a zoned key.
inline std::string normalForm(uint8_t type, std::string key, bool minus, const uint8_t* collating,
                              bool isEntry) {
  const uint8_t kind = type & 0x7F;
  bool zero = true;
  if (isZonedType(type)) {
    for (size_t at = 0; at < key.size(); at += unitOf(type)) {
      zero = zero && (key[at] & 0x0F) == 0;
      key[at] = static_cast<char>(key[at] | 0xF0);
    }
  } else if (kind == 0x20) {
    const int sign = key.back() & 0x0F;
    minus = sign == 0xB || sign == 0xD;
    std::string shifted;
    int carried = 0x0F;
    for (const char byte : key) {
      shifted += static_cast<char>(carried << 4 | (byte >> 4 & 0x0F));
      carried = byte & 0x0F;
    }
    zero = shifted[0] == '\xF0' && shifted.find_first_not_of('\0', 1) == shifted.npos;
    key = shifted;
  } else if (kind == 0x40 || kind == 0x41) {
    if (kind == 0x40) std::reverse(key.begin(), key.end());
    key[0] = static_cast<char>(key[0] ^ 0x80);
  } else if (collating != nullptr && (kind == 0x08 || (!isKnownType(type) && (type & 1) == 0 && isEntry))) {
    for (char& byte : key) byte = static_cast<char>(collating[static_cast<uint8_t>(byte)]);
  }
  const bool descends = isKnownType(type)
                            ? (type & 0x80) == 0
                            : complementedOdd.find(static_cast<char>(type)) != std::string::npos;
  if ((minus && !zero) != descends)
    for (char& byte : key) byte = static_cast<char>(~byte);
  return key;
}

inline std::string normalEntryKey(const QrtSearchKey& key, const uint8_t* entry, const uint8_t* collating) {
  const std::string bytes(reinterpret_cast<const char*>(entry) + key.offset, key.length);
  const bool minus =
      isZonedType(key.type) &&
      isMinusZone(key.type,
                  static_cast<uint8_t>(bytes[(bytes.size() - 1) / unitOf(key.type) * unitOf(key.type)]));
  return normalForm(key.type, bytes, minus, collating, true);
}

// The normal form of an argument, empty when no entry can match.
inline std::string normalArgument(const QrtSearchKey& key, std::string whole, uint8_t flags,
                                  const uint8_t* collating) {
  const uint8_t type = key.type;
  const size_t unit = unitOf(type);
  bool minus = false;
  if (isZonedType(type) || (!isNumericType(type) && flags >> 6 == 1)) {
    const size_t sign = (flags & 0x20) != 0 ? 0 : whole.size() - unit;
    const auto byte = static_cast<uint8_t>(whole[sign]);
    if ((flags & 0x10) != 0) {
      minus = byte == ((type & 0x7F) == 0x11 ? 0x60 : '-');
      whole.erase(sign, unit);
    } else {
      minus = isMinusZone(type, byte);
      whole[sign] = static_cast<char>((type & 1) != 0 ? byte | 0xF0 : 0x30 | (byte & 0x0F));
    }
    minus = minus && isZonedType(type);
  }
  const size_t excessSize = whole.size() - key.length;
  const bool leads = isNumericType(type) && (type & 0x7F) != 0x40;
  const std::string excess = leads ? whole.substr(0, excessSize) : whole.substr(key.length);
  const std::string kept = leads ? whole.substr(excessSize) : whole.substr(0, key.length);

  std::string padding((type & 1) != 0 ? "\x40" : " ");
  if (unit == 2) padding = {isZonedType(type) ? '0' : ' ', '\0'};
  if ((type & 0x7E) == 0x10) padding = (type & 1) != 0 ? "\xF0" : "0";
  if ((type & 0x7F) == 0x20) padding.assign(1, '\0');
  if ((type & 0x7E) == 0x40) padding.assign(1, (leads ? kept[0] : kept.back()) < 0 ? '\xFF' : '\0');
  for (size_t at = 0; at < excess.size(); ++at) {
    const auto byte = static_cast<uint8_t>(excess[at]),
               pad = static_cast<uint8_t>(padding[at % padding.size()]);
    const bool collates = collating != nullptr && (type & 0x7F) != 0x04;
    if (byte != pad && !(collates && collating[byte] == collating[pad])) return "";
  }
  return normalForm(type, kept, minus, collating, false);
}

}  // namespace qrt::statement::plain
