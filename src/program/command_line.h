// The words of a command line.
#pragma once

#include <string.h>

#include <iterator>

namespace qrt::program {

// Words are parted by runs of blanks outside double quotes. The quotes go from the first word, which names
// the program, and stay in the others. A run of blanks at either end leaves an empty word there.
struct CommandLine {
  char text[512];
  char* words[20];  // ended by a null

  // False for a line that is longer, or has more words, than there is room for.
  bool split(const char* line);
};

inline bool CommandLine::split(const char* line) {
  const size_t length = strnlen(line, sizeof(text));
  if (length == sizeof(text)) return false;
  size_t count = 0;
  char* write = words[count++] = text;
  bool quoted = false;
  for (const char *read = line, *const end = line + length; read < end; ++read) {
    if (*read == '"') quoted = !quoted;
    if (*read == ' ' && !quoted) {
      if (read[1] == ' ') continue;
      if (count == std::size(words) - 1) return false;
      *write++ = 0;
      words[count++] = write;
    } else if (*read != '"' || count > 1) {
      *write++ = *read;
    }
  }
  *write = 0;
  words[count] = nullptr;
  return true;
}

}  // namespace qrt::program
