// File names as callers write them: `\` and `/` both separate, every other byte is kept.
#pragma once

#include <limits.h>
#include <stdio.h>

#include <string_view>

namespace qrt::platform {

constexpr bool isSeparator(char character) {
  return character == '\\' || character == '/';
}

// A file name in the form that the system takes, terminated.
struct NativePath {
  char text[PATH_MAX];
  size_t length = 0;
  bool fits = true;  // false when a name is too long; the text is then not to be used

  NativePath() { text[0] = 0; }
  explicit NativePath(std::string_view name) : NativePath() { append(name); }

  void append(std::string_view part) {
    if (length + part.size() >= sizeof(text)) {
      fits = false;
      return;
    }
    for (char character : part) text[length++] = isSeparator(character) ? '/' : character;
    text[length] = 0;
  }
};

// fopen over a caller's name; null when it can't be opened.
FILE* openStream(std::string_view name, const char* mode);

}  // namespace qrt::platform
