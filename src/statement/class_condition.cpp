// Class conditions. The rules for bytes and for UTF-16 units are the same; a half unit at the end of a
// national item is in no class.
#include "statement/class_condition.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace qrt::statement {
namespace {

constexpr bool isDigit(uint32_t character) {
  return character >= '0' && character <= '9';
}
constexpr bool isUpperOrSpace(uint32_t character) {
  return character == ' ' || (character >= 'A' && character <= 'Z');
}
constexpr bool isLowerOrSpace(uint32_t character) {
  return character == ' ' || (character >= 'a' && character <= 'z');
}

// As in the tables that programs pass: not 0 for a byte that isn't in the class.
using ClassTable = std::array<uint8_t, 256>;

template <typename IsMember>
constexpr ClassTable membersBy(IsMember isMember) {
  ClassTable table{};
  for (uint32_t byte = 0; byte < table.size(); ++byte) table[byte] = !isMember(byte);
  return table;
}

constexpr ClassTable packedDigits = membersBy([](uint32_t byte) { return byte >> 4 <= 9 && byte % 16 <= 9; });
constexpr ClassTable zonedDigits = membersBy(isDigit);
constexpr ClassTable upper = membersBy(isUpperOrSpace);
constexpr ClassTable lower = membersBy(isLowerOrSpace);
constexpr ClassTable alphabetic =
    membersBy([](uint32_t byte) { return isUpperOrSpace(byte) || isLowerOrSpace(byte); });

// Characters of one width at any address.
template <typename Character>
struct Text {
  const uint8_t* bytes;
  uint32_t size;  // characters

  uint32_t operator[](uint32_t at) const {
    Character character;
    memcpy(&character, bytes + at * sizeof character, sizeof character);
    return character;
  }
  Text without(bool first) const { return {bytes + (first ? sizeof(Character) : 0), size - 1}; }

  bool allIn(const uint8_t* table) const {
    for (uint32_t at = 0; at < size; ++at) {
      const uint32_t character = (*this)[at];
      if (character > 0xFF || table[character] != 0) return false;
    }
    return true;
  }
  bool allZeros() const {
    for (uint32_t at = 0; at < size; ++at)
      if ((*this)[at] != '0') return false;
    return true;
  }
};

Text<uint8_t> bytesOf(const uint8_t* item, int32_t length) {
  return {item, static_cast<uint32_t>(std::max(length, 0))};
}

int32_t nationalIn(const void* item, int32_t length, const ClassTable& table) {
  return length % 2 == 0 &&
         Text<uint16_t>{static_cast<const uint8_t*>(item), static_cast<uint32_t>(std::max(length, 0)) / 2}
             .allIn(table.data());
}

enum class SignForm : uint8_t {
  none,
  leadingOverpunch,
  trailingOverpunch,
  leadingSeparate,
  trailingSeparate
};

struct NumericTest {
  SignForm form;
  bool strict;

  explicit NumericTest(uint32_t flags) : form(static_cast<SignForm>(flags)), strict((flags & 0xFF00) != 0) {}
  bool leading() const { return form == SignForm::leadingOverpunch || form == SignForm::leadingSeparate; }
  bool overpunch() const { return form == SignForm::leadingOverpunch || form == SignForm::trailingOverpunch; }
  bool separate() const { return form == SignForm::leadingSeparate || form == SignForm::trailingSeparate; }
};

template <typename Character>
bool isSeparateNumeric(NumericTest test, Text<Character> item) {
  if (item.size == 0) return false;
  const uint32_t sign = item[test.leading() ? 0 : item.size - 1];
  const Text<Character> digits = item.without(test.leading());
  if (sign != '+' && sign != '-') return false;
  return digits.allIn(zonedDigits.data()) && !(test.strict && sign == '-' && digits.allZeros());
}

bool isOverpunchNumeric(NumericTest test, Text<uint8_t> item) {
  if (item.size == 0) return false;
  const uint32_t sign = item[test.leading() ? 0 : item.size - 1], zone = sign >> 4, digit = sign & 0x0F;
  const Text<uint8_t> digits = item.without(test.leading());
  if (digit > 9 || !digits.allIn(zonedDigits.data())) return false;
  if (!test.strict) return true;
  return zone == 0x3 || (zone == 0x7 && !(digit == 0 && digits.allZeros()));
}

}  // namespace

int32_t isPackedDecimal(uint32_t flags, const uint8_t* item, int32_t length) {
  if (length < 1) return 0;
  const Text<uint8_t> pairs = bytesOf(item, length - 1);
  const uint8_t last = item[length - 1], digit = last >> 4, sign = last & 0x0F;
  if (digit > 9 || sign < 0xA || !pairs.allIn(packedDigits.data())) return 0;
  if (!NumericTest(flags).strict || sign == 0xC) return 1;
  return sign == 0xD &&
         (digit != 0 || std::any_of(item, item + length - 1, [](uint8_t pair) { return pair != 0; }));
}

int32_t isZonedDecimal(uint32_t flags, const uint8_t* item, int32_t length) {
  const NumericTest test(flags);
  const Text<uint8_t> text = bytesOf(item, length);
  if (test.separate()) return isSeparateNumeric(test, text);
  if (test.overpunch()) return isOverpunchNumeric(test, text);
  return text.allIn(zonedDigits.data());
}

int32_t isAlphabetic(const uint8_t* item, int32_t length) {
  return bytesOf(item, length).allIn(alphabetic.data());
}

int32_t isUpper(const uint8_t* item, int32_t length) {
  return bytesOf(item, length).allIn(upper.data());
}

int32_t isLower(const uint8_t* item, int32_t length) {
  return bytesOf(item, length).allIn(lower.data());
}

int32_t isOfUserClass(const uint8_t* item, int32_t length, const uint8_t* table) {
  return bytesOf(item, length).allIn(table);
}

int32_t isNationalNumeric(const void* item, int32_t length) {
  return nationalIn(item, length, zonedDigits);
}

int32_t isNationalSignedNumeric(uint32_t flags, const void* item, int32_t length) {
  const NumericTest test(flags);
  if (!test.separate()) return isNationalNumeric(item, length);
  if (length < 0 || length % 2 != 0) return 0;
  return isSeparateNumeric(
      test, Text<uint16_t>{static_cast<const uint8_t*>(item), static_cast<uint32_t>(length) / 2});
}

int32_t isNationalAlphabetic(const void* item, int32_t length) {
  return nationalIn(item, length, alphabetic);
}

int32_t isNationalUpper(const void* item, int32_t length) {
  return nationalIn(item, length, upper);
}

int32_t isNationalLower(const void* item, int32_t length) {
  return nationalIn(item, length, lower);
}

}  // namespace qrt::statement
