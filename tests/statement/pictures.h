// Records laid out as a compiler does, and tables of cases as one text.
#pragma once

#include "support/guards.h"

namespace qrt::test {

inline const uint8_t* bytes(std::string_view text) {
  return reinterpret_cast<const uint8_t*>(text.data());
}

// A record of any kind: a 16-bit number, then `rest`.
struct Record {
  Record(int number, std::string_view rest)
      : content{static_cast<char>(number), static_cast<char>(number >> 8)} {
    content += rest;
  }
  explicit Record(std::string_view text) : Record(static_cast<int>(text.size()), text) {}

  template <typename Kind>
  operator const Kind*() const {
    return reinterpret_cast<const Kind*>(content.data());
  }

  std::string content;
};

// `zeroRule` makes the picture's length negative.
inline Record editPicture(std::string_view picture, int kind, bool zeroRule = false, char point = '.',
                          char currency = '$') {
  const int length = static_cast<int>(picture.size());
  return {zeroRule ? -length : length, std::string{point, currency, static_cast<char>(kind)} += picture};
}

// The parts of a text between separators.
inline std::vector<std::string> split(std::string_view text, std::string_view separator) {
  std::vector<std::string> parts;
  for (size_t end; (end = text.find(separator)) != text.npos; text.remove_prefix(end + separator.size()))
    parts.emplace_back(text.substr(0, end));
  parts.emplace_back(text);
  return parts;
}

}  // namespace qrt::test
