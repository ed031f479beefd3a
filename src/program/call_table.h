// The name in a CALL or CANCEL, and the programs that the calling unit itself contains.
#pragma once

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
uint32_t lengthInCall(const char* name, int32_t length);

// Index, from 0, of the row of that name, or -1. A row matches by as many bytes as the name has.
int32_t findRow(const QrtCallTable& table, std::string_view name);

}  // namespace qrt::program
