// Reading and conversion of constants.
#include "sort/engine/constants.h"

#include <math.h>
#include <string.h>

#include <algorithm>
#include <charconv>
#include <utility>

#include "sort/engine/number_forms.h"
#include "sort/engine/words.h"

namespace qrt::sort {
namespace {

constexpr bool isDigit(char character) {
  return character >= '0' && character <= '9';
}

int32_t hexValue(char character) {
  if (isDigit(character)) return character - '0';
  const char lower = static_cast<char>(character | 0x20);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

// The letter behind the 0 of a constant like 0x12, in lower case; 0 for other tokens.
char kindLetter(std::string_view token) {
  if (token.size() < 2 || token[0] != '0') return 0;
  const char letter = static_cast<char>(token[1] | 0x20);
  return letter >= 'a' && letter <= 'z' ? letter : '\0';
}

// A spelled number in parts. `isNumber` is false for any other spelling.
struct Number {
  bool isNumber = false;
  bool negative = false;
  std::string_view integer, fraction;
};

std::string_view takeDigits(std::string_view& text) {
  const auto end = std::find_if_not(text.begin(), text.end(), isDigit);
  const std::string_view digits = text.substr(0, static_cast<size_t>(end - text.begin()));
  text.remove_prefix(digits.size());
  return digits;
}

void takeSign(std::string_view& text, bool& negative) {
  if (!text.starts_with('-') && !text.starts_with('+')) return;
  negative = text[0] == '-';
  text.remove_prefix(1);
}

Number readDecimal(std::string_view text) {
  Number number;
  takeSign(text, number.negative);
  number.integer = takeDigits(text);
  if (text.starts_with('.')) {
    text.remove_prefix(1);
    number.fraction = takeDigits(text);
  }
  number.isNumber = text.empty() && number.integer.size() + number.fraction.size() > 0;
  return number;
}

bool isFloat(std::string_view text) {
  const size_t exponent = text.find_first_of("eE");
  if (exponent != text.npos) {
    std::string_view digits = text.substr(exponent + 1);
    bool negative;
    takeSign(digits, negative);
    if (digits.empty() || !takeDigits(digits).size() || !digits.empty()) return false;
  }
  return readDecimal(text.substr(0, exponent)).isNumber;
}

struct Storage {
  SessionMemory& memory;
  Constant& constant;

  ConstantFault store(const void* bytes, size_t count) {
    constant.bytes = reinterpret_cast<uint8_t*>(memory.copy({static_cast<const char*>(bytes), count}));
    constant.length = static_cast<int32_t>(count);
    return constant.bytes == nullptr ? ConstantFault::noMemory : ConstantFault::none;
  }

  template <typename Value>
  ConstantFault storeValue(Value value) {
    return store(&value, sizeof(value));
  }
};

// Room for bytes that a text of `length` characters stands for, `repeat` times.
uint8_t* makeRoom(SessionMemory& memory, size_t length, int32_t repeat, ConstantFault& fault) {
  if (length * static_cast<uint64_t>(repeat) > mostConstantBytes) {
    fault = ConstantFault::invalid;
    return nullptr;
  }
  auto* const room = static_cast<uint8_t*>(memory.allocateBuffer(length * static_cast<size_t>(repeat) + 1));
  fault = room == nullptr ? ConstantFault::noMemory : ConstantFault::none;
  return room;
}

void repeatBytes(uint8_t* bytes, int32_t length, int32_t repeat, Constant& constant) {
  for (int32_t copy = 1; copy < repeat; ++copy)
    memcpy(bytes + static_cast<size_t>(copy) * static_cast<size_t>(length), bytes,
           static_cast<size_t>(length));
  constant.bytes = bytes;
  constant.length = length * repeat;
}

ConstantFault readText(SessionMemory& memory, std::string_view quoted, int32_t repeat, Constant& constant) {
  constant.type = FieldType::charConstant;
  if (quotedLength(quoted) != quoted.size()) return ConstantFault::invalid;
  ConstantFault fault;
  uint8_t* const bytes = makeRoom(memory, quoted.size(), repeat, fault);
  if (bytes == nullptr) return fault;
  const size_t length = unescape(quoted.substr(1, quoted.size() - 2), reinterpret_cast<char*>(bytes));
  repeatBytes(bytes, static_cast<int32_t>(length), repeat, constant);
  return ConstantFault::none;
}

ConstantFault readHex(SessionMemory& memory, std::string_view digits, int32_t repeat, Constant& constant) {
  constant.type = FieldType::hexConstant;
  if (digits.empty() || digits.size() % 2 != 0) return ConstantFault::invalid;
  ConstantFault fault;
  uint8_t* const bytes = makeRoom(memory, digits.size() / 2, repeat, fault);
  if (bytes == nullptr) return fault;
  for (size_t index = 0; index < digits.size(); index += 2) {
    const int32_t high = hexValue(digits[index]), low = hexValue(digits[index + 1]);
    if (high < 0 || low < 0) return ConstantFault::invalid;
    bytes[index / 2] = static_cast<uint8_t>(high << 4 | low);
  }
  repeatBytes(bytes, static_cast<int32_t>(digits.size() / 2), repeat, constant);
  return ConstantFault::none;
}

ConstantFault readBits(SessionMemory& memory, std::string_view digits, int32_t repeat, Constant& constant) {
  constant.type = FieldType::bitConstant;
  if (digits.empty() || digits.find_first_not_of("01") != digits.npos) return ConstantFault::invalid;
  ConstantFault fault;
  uint8_t* const bytes = makeRoom(memory, digits.size(), repeat, fault);
  if (bytes == nullptr) return fault;
  constant.bits = static_cast<int32_t>(digits.size()) * repeat;
  constant.length = (constant.bits + 7) / 8;
  constant.bytes = bytes;
  memset(bytes, 0, static_cast<size_t>(constant.length));
  for (int32_t bit = 0; bit < constant.bits; ++bit)
    if (digits[static_cast<size_t>(bit) % digits.size()] == '1')
      bytes[bit / 8] |= static_cast<uint8_t>(0x80 >> bit % 8);
  return ConstantFault::none;
}

// Keeps the digits of a number whose spelling was found valid or not.
ConstantFault keepDigits(SessionMemory& memory, std::string_view digits, bool valid, FieldType type,
                         Constant& constant) {
  constant.type = type;
  if (!valid) return ConstantFault::invalid;
  constant.digits = memory.copy(digits);
  return constant.digits == nullptr ? ConstantFault::noMemory : ConstantFault::none;
}

// The whole number of a decimal constant within the limits of `Value`.
template <typename Value>
ConstantFault storeInteger(Storage storage) {
  const Number number = readDecimal(storage.constant.digits);
  if (!number.fraction.empty()) return ConstantFault::invalid;
  int64_t value = 0;
  for (const char digit : number.integer)
    value = std::min<int64_t>(value * 10 + (digit - '0'), int64_t{1} << 40);
  if (number.negative) value = -value;
  if (!std::in_range<Value>(value)) return ConstantFault::invalid;
  return storage.storeValue(static_cast<Value>(value));
}

template <typename Value>
bool parseFloat(const char* digits, Value& value) {
  digits += *digits == '+';
  const auto [end, fault] = std::from_chars(digits, digits + strlen(digits), value);
  return fault == std::errc{} && *end == 0 && isfinite(value);
}

template <typename Value>
ConstantFault storeFloat(Storage storage) {
  Value value;
  return parseFloat(storage.constant.digits, value) ? storage.storeValue(value) : ConstantFault::invalid;
}

ConstantFault storeExtended(Storage storage) {
  long double value;
  if (!parseFloat(storage.constant.digits, value)) return ConstantFault::invalid;
  uint8_t slot[16] = {};
  memcpy(slot, &value, 10);
  return storage.store(slot, sizeof(slot));
}

// Digits into a two's complement number of `length` bytes.
ConstantFault storeFixed(Storage storage, int32_t length) {
  const Number number = readDecimal(storage.constant.digits);
  if (!number.fraction.empty()) return ConstantFault::invalid;
  uint8_t bytes[255] = {};
  for (const char digit : number.integer) {
    int32_t carry = digit - '0';
    for (int32_t index = length; index-- > 0; carry >>= 8) {
      carry += bytes[index] * 10;
      bytes[index] = static_cast<uint8_t>(carry);
    }
    if (carry != 0) return ConstantFault::invalid;
  }
  const bool isLowest = number.negative && bytes[0] == 0x80 &&
                        std::all_of(bytes + 1, bytes + length, [](uint8_t byte) { return byte == 0; });
  if ((bytes[0] & 0x80) != 0 && !isLowest) return ConstantFault::invalid;
  uint8_t form[longestDecimalForm];
  return storage.store(form, decimalFormOfBytes(number.negative, bytes, static_cast<size_t>(length), form));
}

ConstantFault storeDecimal(Storage storage) {
  constexpr size_t mostDigits = 509;
  const Number number = readDecimal(storage.constant.digits);
  if (!number.fraction.empty() || number.integer.size() > mostDigits) return ConstantFault::invalid;
  uint8_t form[longestDecimalForm];
  return storage.store(form, decimalForm(number.negative, number.integer, form));
}

ConstantFault storeNumericText(Storage storage) {
  const std::string_view digits = storage.constant.digits;
  auto* const form = static_cast<uint8_t*>(storage.memory.allocateBuffer(digits.size() + 6));
  if (form == nullptr) return ConstantFault::noMemory;
  storage.constant.bytes = form;
  storage.constant.length = static_cast<int32_t>(numericTextForm(digits, form));
  return ConstantFault::none;
}

ConstantFault convertDecimal(Storage storage, FieldType left, int32_t leftLength) {
  switch (left) {
    case FieldType::int32:
    case FieldType::long32:
      return storeInteger<int32_t>(storage);
    case FieldType::uint32:
    case FieldType::ulong32:
    case FieldType::rlength4:
    case FieldType::rlength4x:
      return storeInteger<uint32_t>(storage);
    case FieldType::int16:
      return storeInteger<int16_t>(storage);
    case FieldType::uint16:
    case FieldType::rlength2:
    case FieldType::rlength2x:
    case FieldType::flength:
      return storeInteger<uint16_t>(storage);
    case FieldType::numericText:
      return storeNumericText(storage);
    case FieldType::fixed:
      return storeFixed(storage, leftLength);
    default:
      return storeDecimal(storage);
  }
}

ConstantFault convertFloat(Storage storage, FieldType left) {
  if (left == FieldType::float32) return storeFloat<float>(storage);
  if (left == FieldType::extended) return storeExtended(storage);
  return storeFloat<double>(storage);
}

ConstantFault foldText(Storage storage) {
  const ConstantFault fault =
      storage.store(storage.constant.bytes, static_cast<size_t>(storage.constant.length));
  if (fault != ConstantFault::none) return fault;
  auto* const bytes = const_cast<uint8_t*>(storage.constant.bytes);
  for (int32_t index = 0; index < storage.constant.length; ++index)
    if (bytes[index] >= 'a' && bytes[index] <= 'z') bytes[index] = static_cast<uint8_t>(bytes[index] - 0x20);
  return ConstantFault::none;
}

}  // namespace

bool looksLikeConstant(std::string_view token) {
  return token.starts_with('"') || token == "NULL" || kindLetter(token) != 0;
}

ConstantFault readConstant(SessionMemory& memory, std::string_view token, int32_t repeat,
                           Constant& constant) {
  constant = {};
  if (token.starts_with('"')) return readText(memory, token, repeat, constant);
  if (token == "NULL") {
    constant.type = FieldType::nullConstant;
    return ConstantFault::none;
  }
  const char kind = kindLetter(token);
  const std::string_view digits = token.substr(std::min<size_t>(2, token.size()));
  switch (kind) {
    case 'x':
      return readHex(memory, digits, repeat, constant);
    case 'b':
      return readBits(memory, digits, repeat, constant);
    case 'd':
      return keepDigits(memory, digits, readDecimal(digits).isNumber, FieldType::decimalConstant, constant);
    case 'f':
      return keepDigits(memory, digits, isFloat(digits), FieldType::floatConstant, constant);
    default:
      return ConstantFault::invalid;
  }
}

ConstantFault convertForReformat(SessionMemory& memory, Constant& constant) {
  const Storage storage{memory, constant};
  if (constant.type == FieldType::decimalConstant) return storeInteger<int32_t>(storage);
  if (constant.type == FieldType::floatConstant) return storeFloat<double>(storage);
  const bool writable = constant.type == FieldType::charConstant || constant.type == FieldType::hexConstant;
  return writable ? ConstantFault::none : ConstantFault::invalid;
}

ConstantFault convertForSelect(SessionMemory& memory, const SortKey& left, int32_t leftLength,
                               Constant& constant) {
  const Storage storage{memory, constant};
  if (constant.type == FieldType::decimalConstant) return convertDecimal(storage, left.type, leftLength);
  if (constant.type == FieldType::floatConstant) return convertFloat(storage, left.type);
  if (constant.type == FieldType::charConstant && left.fold) return foldText(storage);
  return ConstantFault::none;
}

}  // namespace qrt::sort
