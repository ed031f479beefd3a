// The types of fields as tests see them: random values, and their order by plain decoding.
#pragma once

#include <math.h>

#include <string_view>

namespace qrt::test {

using Random = std::mt19937;

inline size_t below(Random& random, size_t limit) {
  return random() % limit;
}

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
