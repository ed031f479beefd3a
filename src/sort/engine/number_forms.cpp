// Digits into forms that sort as plain bytes.
#include "sort/engine/number_forms.h"

#include <string.h>

#include <algorithm>

namespace qrt::sort {

size_t decimalFormOfBytes(bool negative, const uint8_t* bytes, size_t count, uint8_t* form) {
  while (count > 0 && *bytes == 0) ++bytes, --count;
  const bool complemented = negative && count > 0;
  const uint8_t flip = complemented ? 0xFF : 0;
  form[0] = complemented ? 0 : 0xF0;
  form[1] = static_cast<uint8_t>(count ^ flip);
  for (size_t index = 0; index < count; ++index) form[2 + index] = static_cast<uint8_t>(bytes[index] ^ flip);
  return 2 + count;
}

size_t fixedForm(const uint8_t* bytes, size_t count, uint8_t* form) {
  if ((bytes[0] & 0x80) == 0) return decimalFormOfBytes(false, bytes, count, form);
  uint8_t magnitude[255];
  int32_t carry = 1;
  for (size_t index = count; index-- > 0; carry >>= 8) {
    carry += static_cast<uint8_t>(~bytes[index]);
    magnitude[index] = static_cast<uint8_t>(carry);
  }
  return decimalFormOfBytes(true, magnitude, count, form);
}

size_t decimalForm(bool negative, std::string_view digits, uint8_t* form) {
  digits.remove_prefix(std::min(digits.find_first_not_of('0'), digits.size()));
  if (digits.size() > 2 * 255) return 0;
  uint8_t pairs[255] = {};
  const size_t count = (digits.size() + 1) / 2;
  for (size_t index = 0; index < digits.size(); ++index) {
    const size_t fromRight = digits.size() - 1 - index;
    pairs[count - 1 - fromRight / 2] |= static_cast<uint8_t>((digits[index] - '0') << (fromRight % 2 * 4));
  }
  return decimalFormOfBytes(negative, pairs, count, form);
}

namespace {

constexpr bool isDigit(char character) {
  return character >= '0' && character <= '9';
}

// Packs digits in pairs of digit + 1, high nibble first.
struct PairWriter {
  uint8_t* form;
  size_t length;
  bool half = false;

  void put(char digit) {
    const int32_t nibble = digit - '0' + 1;
    if (half)
      form[length++] |= static_cast<uint8_t>(nibble);
    else
      form[length] = static_cast<uint8_t>(nibble << 4);
    half = !half;
  }
  void finish() {
    length += half;
    half = false;
  }
};

}  // namespace

size_t numericTextForm(std::string_view text, uint8_t* form) {
  size_t at = std::min(text.find_first_not_of(" \t"), text.size());
  bool negative = false;
  if (at < text.size() && (text[at] == '-' || text[at] == '+')) negative = text[at++] == '-';

  PairWriter pairs{form, 3};
  uint32_t integerDigits = 0;
  for (; at < text.size() && (isDigit(text[at]) || text[at] == ','); ++at) {
    if (text[at] == ',' || (integerDigits == 0 && text[at] == '0')) continue;
    pairs.put(text[at]);
    ++integerDigits;
  }
  pairs.finish();

  size_t end = at;  // behind the last digit of the fraction that isn't zero
  if (at < text.size() && text[at] == '.') {
    ++at;
    for (size_t look = end = at; look < text.size() && isDigit(text[look]); ++look)
      if (text[look] != '0') end = look + 1;
  }
  if (integerDigits == 0 && end <= at) {
    const uint8_t zero[] = {2, 0, 0, 0, 0};
    memcpy(form, zero, sizeof(zero));
    return sizeof(zero);
  }
  for (; at < end; ++at) pairs.put(text[at]);
  pairs.finish();
  form[0] = negative ? 1 : 2;
  form[1] = static_cast<uint8_t>(integerDigits >> 8);
  form[2] = static_cast<uint8_t>(integerDigits);
  form[pairs.length++] = 0;
  if (negative)
    for (size_t index = 1; index < pairs.length; ++index) form[index] = static_cast<uint8_t>(~form[index]);
  return pairs.length;
}

}  // namespace qrt::sort
