// Single-byte code pages as the scanner reads them.
#pragma once

#include <cstdint>

#include "xml/classes.h"

namespace qrt::xml {

// The characters that the scanner compares with, by their place in CodePageBlock::punct.
enum Punct : uint8_t {
  openBracketAt,
  closeBracketAt,
  lessThanAt,
  greaterThanAt,
  apostropheAt,
  questionMarkAt,
  exclamationMarkAt,
  quoteAt,
  carriageReturnAt,
  lineFeedAt,
  nextLineAt,
  barAt,
  hyphenAt,
  ampersandAt,
  semicolonAt,
  numberSignAt,
  equalsAt,
  blankAt,
  tabAt,
  punctCount
};
inline constexpr char punctuation[punctCount + 1] = "[]<>'?!\"\r\n\x85|-&;#= \t";

struct CodePageBlock {
  uint8_t nameClass[256];
  uint8_t lexClass[256];
  uint8_t punct[punctCount];
  uint8_t cdataWord[7];  // the letters of "[CDATA["
};
static_assert(sizeof(CodePageBlock) == 538);

enum class Family : uint8_t { ascii, ebcdic };

// The block of a page: a constant one, or the family's own, which is made anew for each parse that needs it.
// Null when it can't be made.
const CodePageBlock* blockOf(int32_t ccsid, Family family);

// Letters and digits, a to z, A to Z, 0 to 9, of a family. EBCDIC pages have them in the same places.
const uint8_t* lettersOf(Family family);

// What a caller's CCSID is, by the bytes in which its converter writes blank and the ideographic space.
enum CallerClass : int8_t {
  noConverter = 0,
  asciiSingle = 1,
  asciiDouble = -1,
  ebcdicSingle = 2,
  ebcdicMixed = -2,
  utf16Little = 3,
  utf16Big = -3,
  utf8 = 4
};
CallerClass callerClassOf(int32_t ccsid);

}  // namespace qrt::xml
