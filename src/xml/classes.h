// Classes of characters in XML 1.0, fifth edition, with NEL as white space: for names and for markup.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace qrt::xml {

// What a character is to a name. Letters, underscore and colon start one.
enum NameClass : uint8_t { notInName, letter, underscore, colon, digit, hyphenOrPoint, otherInName };

constexpr bool startsName(uint8_t nameClass) {
  return nameClass >= letter && nameClass <= colon;
}

// What a character is to markup.
enum LexClass : uint8_t {
  ordinary,
  lessThan,
  ampersand,
  closingBracket,
  questionMark,
  exclamationMark,
  slash,
  greaterThan,
  whiteSpace,
  illegal = 0xFF
};

namespace ranges {

struct Range {
  uint32_t first, last;
};

constexpr Range letters[] = {{'A', 'Z'},       {'a', 'z'},       {0xC0, 0xD6},     {0xD8, 0xF6},
                             {0xF8, 0x2FF},    {0x370, 0x37D},   {0x37F, 0x1FFF},  {0x200C, 0x200D},
                             {0x2070, 0x218F}, {0x2C00, 0x2FEF}, {0x3001, 0xD7FF}, {0xF900, 0xFDCF},
                             {0xFDF0, 0xFFFD}};
constexpr Range others[] = {{0xB7, 0xB7}, {0x300, 0x36F}, {0x203F, 0x2040}};
constexpr Range illegals[] = {{0, 8}, {0xB, 0xC}, {0xE, 0x1F}, {0xD800, 0xDFFF}, {0xFFFE, 0xFFFF}};

template <typename Table, std::size_t count>
constexpr void mark(Table& table, const Range (&list)[count], uint8_t value) {
  for (const Range& range : list)
    for (uint32_t unit = range.first; unit <= range.last; ++unit) table[unit] = value;
}

}  // namespace ranges

using UnitTable = std::array<uint8_t, 65536>;

constexpr UnitTable makeNameClasses() {
  UnitTable table{};
  ranges::mark(table, ranges::letters, letter);
  ranges::mark(table, ranges::others, otherInName);
  for (uint32_t unit = '0'; unit <= '9'; ++unit) table[unit] = digit;
  table['_'] = underscore;
  table[':'] = colon;
  table['-'] = table['.'] = hyphenOrPoint;
  return table;
}

constexpr UnitTable makeLexClasses() {
  UnitTable table{};
  ranges::mark(table, ranges::illegals, illegal);
  table['<'] = lessThan;
  table['&'] = ampersand;
  table[']'] = closingBracket;
  table['?'] = questionMark;
  table['!'] = exclamationMark;
  table['/'] = slash;
  table['>'] = greaterThan;
  table['\t'] = table['\n'] = table['\r'] = table[' '] = table[0x85] = whiteSpace;
  return table;
}

// By UTF-16 unit. In text the units of surrogates are ordinary; a reference to one is illegal.
extern const UnitTable nameClasses, lexClasses;

}  // namespace qrt::xml
