// References to characters and entities, in content and in attribute values.
#pragma once

#include "xml/scan.h"

namespace qrt::xml {

// At the character behind "&#".
template <typename Text>
void Scan<Text>::numericReference(bool inAttribute) {
  constexpr uint32_t highestCharacter = 0x10FFFF;
  bool hexadecimal = look() == letterOf('x');
  if (hexadecimal) step();
  uint32_t value = 0;
  bool tooHigh = false;
  for (; !isPunct(semicolonAt); step()) {
    const uint32_t character = peek();
    uint32_t figure = 16;
    const uint32_t zero = isSingleByte ? parser.letters[52] : uint32_t{'0'};
    if (character >= zero && character < zero + 10) figure = character - zero;
    if (hexadecimal && figure == 16)
      for (uint32_t place = 0; place < 6; ++place)
        if (character == letterOf("abcdef"[place]) || character == letterOf("ABCDEF"[place]))
          figure = 10 + place;
    if (figure == 16) {
      const Unit* const bad = at;
      warn(hexadecimal ? 13 : 14);
      tell(inAttribute ? attributeText : contentText, bad, bad + width());
      continue;
    }
    if (!tooHigh) value = value * (hexadecimal ? 16 : 10) + figure;
    tooHigh |= value > highestCharacter;
  }
  if (tooHigh || (value <= 0xFFFF && lexClasses[value] == illegal)) {
    if (tooHigh) value = highestCharacter;
    warn(16);
  }
  step();
  tellCharacter(inAttribute ? attributeReference : contentReference, value);
}

// At the ampersand.
template <typename Text>
void Scan<Text>::reference(bool inAttribute) {
  parser.scanState = inAttribute ? atReferenceInAttribute : atReferenceInContent;
  step();
  if (isPunct(numberSignAt)) {
    step();
    return numericReference(inAttribute);
  }
  if (!startsNameHere()) fatal(141);
  const Unit* const name = at;
  for (; !isPunct(semicolonAt); step())
    if (classOf(peek()) == notInName) warn(17);
  const Unit* const nameEnd = at;
  step();
  static constexpr struct {
    const char* name;
    Punct character;
  } entities[] = {{"lt", lessThanAt},
                  {"gt", greaterThanAt},
                  {"quot", quoteAt},
                  {"amp", ampersandAt},
                  {"apos", apostropheAt}};
  for (const auto& entity : entities) {
    const auto length = static_cast<ptrdiff_t>(strlen(entity.name));
    if (nameEnd - name != length) continue;
    ptrdiff_t same = 0;
    while (same < length && name[same] == letterOf(entity.name[same])) ++same;
    if (same == length)
      return tellCharacter(inAttribute ? attributeEntity : contentEntity, punct(entity.character));
  }
  tell(inAttribute ? unknownInAttribute : unknownInContent, name, nameEnd);
}

}  // namespace qrt::xml
