// Comparison under a collating table byte by byte, as it is told: the oracle of the fast one.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>

namespace qrt::statement::plain {

inline std::string repeated(const std::string& text, size_t size) {
  std::string whole;
  while (whole.size() < size) whole += text;
  return whole.substr(0, size);
}

// A figurative constant is one of the two at most.
inline int32_t compareCollated(std::string first, bool firstIsFigurative, std::string second,
                               bool secondIsFigurative, const uint8_t* table) {
  if (firstIsFigurative) first = repeated(first, second.size());
  if (secondIsFigurative) second = repeated(second, first.size());
  const size_t size = std::max(first.size(), second.size());
  first.resize(size, ' ');
  second.resize(size, ' ');
  for (size_t at = 0; at < size; ++at) {
    const int mine = table[static_cast<uint8_t>(first[at])], other = table[static_cast<uint8_t>(second[at])];
    if (mine != other) return mine < other ? -1 : 1;
  }
  return 0;
}

}  // namespace qrt::statement::plain
