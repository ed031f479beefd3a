// Elements: their tags, attributes and nesting.
#pragma once

#include "xml/scan.h"

namespace qrt::xml {

// Remembers the name of an element that has been opened.
template <typename Text>
void Scan<Text>::push(const Unit* name, const Unit* nameEnd) {
  constexpr int32_t noStorage = 500;
  if (2 * depth + 2 > parser.openCapacity) {
    const int32_t capacity = std::max(2 * parser.openCapacity, 256);
    auto* const grown =
        static_cast<uint32_t*>(_qrtCheckMalloc(static_cast<uint32_t>(capacity) * sizeof(uint32_t)));
    if (grown == nullptr) {
      parser.result = noStorage;
      unwind();
    }
    if (depth > 0) memcpy(grown, parser.openNames, static_cast<size_t>(2 * depth) * sizeof(uint32_t));
    _qrtCheckFree(parser.openNames);
    parser.openNames = grown;
    parser.openCapacity = capacity;
  }
  parser.openNames[2 * depth] = static_cast<uint32_t>(name - reinterpret_cast<const Unit*>(parser.document));
  parser.openNames[2 * depth + 1] = static_cast<uint32_t>(nameEnd - name);
  ++depth;
}

template <typename Text>
void Scan<Text>::elements() {
  parser.scanState = inRootTag;
  if (!startTag()) return;
  while (depth > 0) {
    if (contentUntilTag()) {
      parser.scanState = inTag;
      if (!startTag()) parser.scanState = inContent;
    } else {
      endTag();
      parser.scanState = inContent;
    }
  }
}

// At the first character of the name. False for an element without content.
template <typename Text>
bool Scan<Text>::startTag() {
  const ScanState state = parser.scanState;
  const Unit* const name = at;
  passName();
  const Unit* const nameEnd = at;
  const auto checkBehind = [&](int32_t nameCode, int32_t otherCode) {
    const uint32_t character = look();
    const uint8_t lex = lexOf(character);
    if (lex == slash || lex == greaterThan || startsName(classOf(character))) return;
    fatal(classOf(character) != notInName ? nameCode : otherCode);
  };
  skipWhite();
  checkBehind(125, 126);
  tell(startOfElement, name, nameEnd);
  const Unit* names[comparedAttributes];
  int32_t lengths[comparedAttributes];
  for (int32_t number = 0; startsNameHere(); ++number) {
    attribute(names, lengths, number);
    parser.scanState = atAttributeName;
    skipWhite();
    checkBehind(130, 131);
  }
  if (is(slash)) {
    parser.scanState = atEmptyClose;
    step();
    if (!is(greaterThan)) fatal(132);
    step();
    tell(endOfElement, name, nameEnd);
    parser.scanState = state;
    return false;
  }
  step();
  push(name, nameEnd);
  parser.scanState = inContent;
  return true;
}

template <typename Text>
void Scan<Text>::attribute(const Unit* (&names)[comparedAttributes], int32_t (&lengths)[comparedAttributes],
                           int32_t number) {
  parser.scanState = atAttributeName;
  const Unit* const name = at;
  passName();
  const auto length = static_cast<int32_t>(at - name);
  const Unit* const nameEnd = at;
  skipWhite();
  const bool isAssigned = isPunct(equalsAt);
  parser.scanState = atAttributeValue;
  if (!isAssigned) fatal(127);
  if (number < comparedAttributes) {
    names[number] = name;
    lengths[number] = length;
    for (int32_t earlier = 0; earlier < number; ++earlier)
      if (lengths[earlier] == length &&
          memcmp(names[earlier], name, static_cast<size_t>(length) * sizeof(Unit)) == 0) {
        warn(3);
        break;
      }
  }
  tell(attributeName, name, nameEnd);
  step();
  skipWhite();
  attributeValue();
}

template <typename Text>
void Scan<Text>::attributeValue() {
  const uint32_t quote = openQuote(128);
  const Unit* const value = at;
  const Unit* run = at;
  for (;;) {
    // The quote has lexical class ordinary, or that of no markup.
    const Unit* unit = at;
    while (unit < limit && *unit != quote && (sizeof(Unit) == 1 ? !stops[*unit] : lexOf(*unit) == ordinary))
      ++unit;
    at = unit;
    const uint32_t character = look();
    if (character == quote) break;
    switch (lexOf(character)) {
      case ampersand:
        tellRun(attributeText, run, at);
        reference(true);
        parser.scanState = atAttributeValue;
        run = at;
        break;
      case lessThan: {
        tellRun(attributeText, run, at);
        const Unit* const bad = at;
        warn(4);
        step();
        tell(attributeText, bad, at);
        run = at;
        break;
      }
      case illegal:
        warn(18);
        [[fallthrough]];
      default:
        step();
        break;
    }
  }
  if (at == value)
    tell(attributeText, value, value);
  else
    tellRun(attributeText, run, at);
  step();
}

// At the name behind "</".
template <typename Text>
void Scan<Text>::endTag() {
  parser.scanState = inTag;
  if (!startsNameHere()) fatal(133);
  const Unit* const name = at;
  passName();
  const Unit* const nameEnd = at;
  skipWhite();
  if (!is(greaterThan)) fatal(134);
  --depth;
  const Unit* const opened = reinterpret_cast<const Unit*>(parser.document) + parser.openNames[2 * depth];
  const auto length = static_cast<ptrdiff_t>(parser.openNames[2 * depth + 1]);
  if (nameEnd - name != length || memcmp(name, opened, static_cast<size_t>(length) * sizeof(Unit)) != 0)
    warn(5);
  step();
  tell(endOfElement, name, nameEnd);
}

}  // namespace qrt::xml
