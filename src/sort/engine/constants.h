// Constants of select conditions and reformat items: their spelling, and the forms in which they are used.
//
// In a reformat a constant is what is written: a text its characters, a hex constant its bytes, a decimal one
// a native 32-bit signed number, a float one a native 64-bit number. In a condition the form follows the left
// operand's type:
//
//   int, long                       native 32-bit signed           uint, ulong, rlength4(x)    32-bit
//   unsigned short                           native 16-bit signed           ushort, rlength2(x), flength
//   16-bit unsigned float, double, extended         native of that width (an extended in 16 bytes, of which
//   10 count) numeric text                    of a decimal constant the form of numericTextForm, of a float
//   one a native
//                                   double; Constant::digits holds the number as it was spelled
//   fixed                           the form of fixedForm          other decimals              of decimalForm
//   char, bin, null, date           the bytes; of a char constant folded where the left range has modifier f
#pragma once

#include <string_view>

#include "sort/engine/options.h"

namespace qrt::sort {

// Whether a token is spelled like a constant, not like a range.
bool looksLikeConstant(std::string_view token);

// Bytes that the repetitions of a constant may come to.
inline constexpr int32_t mostConstantBytes = 1 << 24;

enum class ConstantFault : uint8_t { none, invalid, noMemory };

// Reads a constant, `repeat` times. Decimal and float constants are checked and keep their digits; bytes are
// theirs only after one of the conversions below.
ConstantFault readConstant(SessionMemory& memory, std::string_view token, int32_t repeat, Constant& constant);

ConstantFault convertForReformat(SessionMemory& memory, Constant& constant);

// `left` is a settled range whose type the constant's type may be compared to; `leftLength` the bytes of its
// field. Invalid for a number beyond the left type.
ConstantFault convertForSelect(SessionMemory& memory, const SortKey& left, int32_t leftLength,
                               Constant& constant);

}  // namespace qrt::sort
