// Fields of records the plain way: what a range means in a line, what modifiers make of text, and the order
// of two values of each type, by decoding them.
#pragma once

#include <ctype.h>
#include <math.h>
#include <stdint.h>
#include <string.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qrt::sort::plain {

inline int sign(auto left, auto right) {
  return left < right ? -1 : left > right;
}

template <typename T>
T native(std::string_view bytes) {
  T value{};
  memcpy(&value, bytes.data(), std::min(sizeof value, bytes.size()));
  return value;
}

// A number as its sign and digits; zero is positive and has none.
struct Decimal {
  bool negative = false;
  std::string digits;

  int compare(const Decimal& other) const {
    if (negative != other.negative) return negative ? -1 : 1;
    int order = sign(digits.size(), other.digits.size());
    if (order == 0) order = sign(digits.compare(other.digits), 0);
    return negative ? -order : order;
  }
};

inline Decimal plainDecimal(bool negative, std::string digits) {
  digits.erase(0, std::min(digits.find_first_not_of('0'), digits.size()));
  return {negative && !digits.empty(), digits};
}

inline bool isNegativeZone(uint8_t nibble) {
  return nibble == 0xB || nibble == 0xD || (nibble >= 4 && nibble <= 7);
}

inline Decimal decodeDecimal(std::string_view keyword, std::string_view bytes) {
  std::string digits;
  const auto byte = [&](size_t at) { return static_cast<uint8_t>(bytes[at]); };
  const size_t last = bytes.size() - 1;
  if (keyword == "packed") {
    for (size_t at = 0; at <= last; ++at) {
      digits += static_cast<char>('0' + (byte(at) >> 4));
      if (at < last) digits += static_cast<char>('0' + (byte(at) & 0xF));
    }
    const int nibble = byte(last) & 0xF;
    return plainDecimal(nibble == 0xB || nibble == 0xD, digits);
  }
  const bool leading = keyword == "extlss" || keyword == "extlns";
  const bool separate = keyword == "extlss" || keyword == "exttss";
  const size_t signAt = leading ? 0 : last;
  for (size_t at = 0; at <= last; ++at)
    if (!separate || at != signAt) digits += static_cast<char>('0' + (byte(at) & 0xF));
  return plainDecimal(separate ? bytes[signAt] == '-' : isNegativeZone(byte(signAt) >> 4), digits);
}

inline int64_t decodeFixed(std::string_view bytes) {
  int64_t value = bytes.empty() ? 0 : static_cast<int8_t>(bytes[0]);
  for (size_t at = 1; at < bytes.size(); ++at) value = value * 256 + static_cast<uint8_t>(bytes[at]);
  return value;
}

// Sign bit of the bytes, magnitude of the value; all zeros are one.
inline std::pair<bool, long double> decodeHexadecimal(std::string_view bytes) {
  long double fraction = 0;
  for (size_t at = 1; at < bytes.size(); ++at) fraction = fraction * 256 + static_cast<uint8_t>(bytes[at]);
  const auto head = static_cast<uint8_t>(bytes[0]);
  return {fraction != 0 && head >= 0x80, ldexpl(fraction, 4 * (head & 0x7F))};
}

// Calls `visit` with a value of the type that compilers have for a type of fields; false where they have
// none.
template <typename Visitor>
bool visitNative(std::string_view keyword, Visitor visit) {
  if (keyword == "int" || keyword == "long") return visit(int32_t{}), true;
  if (keyword == "uint" || keyword == "ulong") return visit(uint32_t{}), true;
  if (keyword == "short") return visit(int16_t{}), true;
  if (keyword == "ushort") return visit(uint16_t{}), true;
  if (keyword == "float") return visit(float{}), true;
  if (keyword == "double") return visit(double{}), true;
  if (keyword == "extended") return visit(0.0L), true;
  if (keyword == "scint") return visit(int64_t{}), true;
  if (keyword == "scuint") return visit(uint64_t{}), true;
  return false;
}

inline int compareValues(std::string_view keyword, std::string_view left, std::string_view right) {
  int order;
  if (visitNative(keyword, [&]<typename T>(T) { order = sign(native<T>(left), native<T>(right)); }))
    return order;
  if (keyword == "fixed") return sign(decodeFixed(left), decodeFixed(right));
  if (keyword.starts_with("kx70")) return sign(decodeHexadecimal(left), decodeHexadecimal(right));
  if (keyword == "char" || keyword == "bin") return sign(left.compare(right), 0);
  return decodeDecimal(keyword, left).compare(decodeDecimal(keyword, right));
}

// What the modifiers of a key make of text: b, e, d, i and f; others don't count.
inline std::string modified(std::string_view modifiers, std::string text) {
  const auto has = [&](char letter) { return modifiers.find(letter) != std::string_view::npos; };
  if (has('b')) text.erase(0, std::min(text.find_first_not_of(" \t"), text.size()));
  if (has('e')) text.erase(text.find_last_not_of(" \t") + 1);
  std::string kept;
  for (const char byte : text) {
    const auto code = static_cast<uint8_t>(byte);
    const bool isWhite = byte == ' ' || byte == '\t' || byte == '\n';
    const bool isAlphanumeric = code < 0x80 && isalnum(code);
    if (has('d') ? !isWhite && !isAlphanumeric : has('i') && !isWhite && (code < ' ' || code > '~')) continue;
    kept += has('f') && byte >= 'a' && byte <= 'z' ? static_cast<char>(byte - 'a' + 'A') : byte;
  }
  return kept;
}

struct TextRange {
  int startField, startByte, endField, endByte;  // from 1; an end field of 0 is the end of the line
  std::string startModifiers, endModifiers;

  std::string spell() const {
    std::string text = std::to_string(startField) + "." + std::to_string(startByte) + startModifiers;
    if (endField == 0) return text;
    text += "," + std::to_string(endField);
    return text + (endByte != 0 ? "." + std::to_string(endByte) : "") + endModifiers;
  }
};

// What a range means in a line, worked out with indexes.
inline std::string textOfRange(const std::string& line, char separator, const TextRange& range) {
  const auto isBlankAt = [&](size_t at) { return at < line.size() && (line[at] == ' ' || line[at] == '\t'); };
  std::vector<size_t> starts{0};
  for (size_t at = 0; at < line.size();) {
    if (separator != 0) {
      at = std::min(line.find(separator, at + (starts.size() > 1)), line.size());
    } else {
      while (isBlankAt(at)) ++at;
      while (at < line.size() && !isBlankAt(at)) ++at;
    }
    if (at >= line.size()) break;
    starts.push_back(at);
  }
  const auto startOf = [&](int field) {
    return static_cast<size_t>(field - 1) < starts.size() ? starts[field - 1] : line.size();
  };
  const auto has = [](const std::string& text, char letter) {
    return text.find(letter) != std::string::npos;
  };
  const auto forward = [&](size_t at, int bytes) {
    return std::min(at + static_cast<size_t>(bytes), line.size());
  };
  size_t first = startOf(range.startField);
  if (separator != 0 && range.startField > 1) first = forward(first, 1);
  if (has(range.startModifiers, 'b'))
    while (isBlankAt(first)) ++first;
  first = forward(first, range.startByte - 1);
  size_t end = range.endField == 0 ? line.size() : startOf(range.endField + (range.endByte == 0));
  if (range.endField != 0 && range.endByte != 0) {
    if (separator != 0 && range.endField > 1) end = forward(end, 1);
    if (has(range.endModifiers, 'b'))
      while (isBlankAt(end)) ++end;
    end = forward(end, range.endByte);
  }
  return first < end ? line.substr(first, end - first) : "";
}

}  // namespace qrt::sort::plain
