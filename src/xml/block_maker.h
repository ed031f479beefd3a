// How the block of a code page follows from its mapping to Unicode. `toUnicode` gives the unit of a byte, and
// `fromUnicode` the byte of a unit, or below 0 where the page has none.
#pragma once

#include "xml/code_pages.h"

namespace qrt::xml {

template <typename ToUnicode, typename FromUnicode>
bool makeBlock(CodePageBlock& block, const UnitTable& names, const UnitTable& lexes, ToUnicode toUnicode,
               FromUnicode fromUnicode) {
  for (uint32_t byte = 0; byte < 256; ++byte) {
    const uint16_t unit = toUnicode(static_cast<uint8_t>(byte));
    block.nameClass[byte] = names[unit];
    block.lexClass[byte] = lexes[unit];
  }
  const auto put = [&](uint8_t& to, char16_t unit) {
    const int32_t byte = fromUnicode(unit);
    if (byte >= 0) to = static_cast<uint8_t>(byte);
    return byte >= 0;
  };
  for (int32_t at = 0; at < punctCount; ++at)
    if (!put(block.punct[at], static_cast<uint8_t>(punctuation[at])) && at != nextLineAt && at != barAt)
      return false;
  for (int32_t at = 0; at < 7; ++at)
    if (!put(block.cdataWord[at], static_cast<uint8_t>("[CDATA["[at]))) return false;
  return true;
}

}  // namespace qrt::xml
