// Forms of numbers that sort as plain bytes, for numbers whose digits are at hand.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <string_view>

namespace qrt::sort {

inline constexpr size_t longestDecimalForm = 2 + 255;  // bytes

// The decimal form of a number given by its decimal digits ('0' to '9', leading zeros don't count): sign byte
// 0xF0 or, for negative numbers, 0; count of bytes; the digits in pairs, the last digit in the last low
// nibble. Count and pairs of a negative number are complemented; a zero is never negative. Returns the form's
// length, or 0 for more than 510 digits. `form` has room for longestDecimalForm.
size_t decimalForm(bool negative, std::string_view digits, uint8_t* form);

// The same over bytes of magnitude, big-endian, leading zero bytes ignored; at most 255 of them.
size_t decimalFormOfBytes(bool negative, const uint8_t* bytes, size_t count, uint8_t* form);

// The decimal form of a big-endian two's complement integer of 1 to 255 bytes.
size_t fixedForm(const uint8_t* bytes, size_t count, uint8_t* form);

// The form of a number as text: blanks and tabs, an optional sign, digits with commas among them, and behind
// a point the fraction; whatever follows ends it. The bytes: 2, or 1 for negative; count of integer
// digits in two bytes, big-endian; each digit + 1 in a nibble, the last nibble of an odd count 0; the
// fraction's digits likewise without its trailing zeros; 0. All but the first byte of a negative number are
// complemented. Zero is 2 0 0 0 0. Needs room for text.size() + 6 bytes; returns the form's length.
size_t numericTextForm(std::string_view text, uint8_t* form);

}  // namespace qrt::sort
