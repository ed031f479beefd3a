// Compiler of message catalogues: the readable source text in, the binary catalogue or a list of errors out.
// The head of qrtremsg.msg describes the source.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <string>
#include <string_view>
#include <vector>

namespace qrt::catalogue {

// Bytes of a catalogue file that a reader takes in; a larger catalogue is refused.
inline constexpr size_t largestImage = 10480;

struct SourceError {
  size_t line;  // from 1; for an entry that is continued, its first line
  std::string text;
};

struct Compilation {
  std::vector<uint8_t> image;       // the catalogue file; empty when there are errors
  std::vector<SourceError> errors;  // in the order of the lines
};

Compilation compile(std::string_view source);

}  // namespace qrt::catalogue
