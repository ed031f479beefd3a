// The name in a CALL or CANCEL, and the programs that the calling unit itself contains.
#pragma once

#include <emmintrin.h>

#include <algorithm>
#include <bit>
#include <string_view>

#include "qrtrlib.h"

namespace qrt::program {

// The name as programs are known by, terminated: at most 160 bytes, without trailing blanks, in upper case
// where the caller asks for that.
struct ProgramName {
  static constexpr int32_t longest = 160;

  char text[longest + 1];
  uint32_t length;

  ProgramName(const char* name, int32_t nameLength, const QrtProgramBlock& caller);
};

// The length that counts of a name of `length` bytes.
inline uint32_t lengthInCall(const char* name, int32_t length) {
  length = std::min(length, ProgramName::longest);
  for (; length >= 16; length -= 16) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(name + length - 16));
    const int others = _mm_movemask_epi8(_mm_cmpeq_epi8(bytes, _mm_set1_epi8(' '))) ^ 0xFFFF;
    if (others != 0)
      return static_cast<uint32_t>(length - 16 + std::bit_width(static_cast<uint32_t>(others)));
  }
  while (length > 0 && name[length - 1] == ' ') --length;
  return length > 0 ? static_cast<uint32_t>(length) : 0;
}

// Index, from 0, of the row of that name, or -1. A row matches by as many bytes as the name has.
int32_t findRow(const QrtCallTable& table, std::string_view name);

}  // namespace qrt::program
