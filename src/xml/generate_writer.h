// The output of XML GENERATE, over the unit of the document: bounded writes, literals, escapes, hexadecimal
// digits.
#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

#include "frame/unaligned.h"
#include "qrtrlib.h"
#include "xml/classes.h"

namespace qrt::xml {

// What a text holds beside ordinary characters.
enum Traits : uint8_t { noTraits = 0, holdsMarkup = 1, holdsIllegal = 2, holdsPair = 4 };

// Text in the form of the document.
template <typename Unit>
struct Text {
  const Unit* units;
  int32_t length;
};

// The ends of a text of `length` bytes, at least one `Part`, which meet.
template <typename Part>
void copyEnds(uint8_t* to, const uint8_t* from, uint32_t length) {
  memcpy(to, from, sizeof(Part));
  memcpy(to + length - sizeof(Part), from + length - sizeof(Part), sizeof(Part));
}

// memcpy() for texts that are short as a rule.
inline void copyText(uint8_t* to, const uint8_t* from, uint32_t length) {
  struct Sixteen {
    uint64_t halves[2];
  };
  if (length > 32)
    memcpy(to, from, length);
  else if (length >= 16)
    copyEnds<Sixteen>(to, from, length);
  else if (length >= 8)
    copyEnds<uint64_t>(to, from, length);
  else if (length >= 4)
    copyEnds<uint32_t>(to, from, length);
  else
    for (uint32_t at = 0; at < length; ++at) to[at] = from[at];
}

template <typename Unit>
struct Writer {
  static constexpr bool isWide = sizeof(Unit) == sizeof(char16_t);

  uint8_t* output;
  uint32_t room, written;  // units
  int32_t result;          // 0, or why writing ended
  Unit ascii[128];         // the characters of ASCII
  uint8_t traits[256];     // Traits of the first units

  // Nothing is written from now on.
  void fail(int32_t code) {
    if (result == 0) result = code;
    room = written;
  }

  // Whether that much fits; if not, writing ends.
  bool hasRoom(uint64_t length) {
    if (length <= room - written) [[likely]]
      return true;
    fail(QRT_XGF_FULL);
    return false;
  }

  // False, and nothing written, when it doesn't.
  bool putIfItFits(const Unit* text, uint32_t length) {
    if (length > room - written) return false;
    copyText(output + written * sizeof(Unit), reinterpret_cast<const uint8_t*>(text), length * sizeof(Unit));
    written += length;
    return true;
  }

  void put(const Unit* text, uint32_t length) {
    if (!putIfItFits(text, length)) fail(QRT_XGF_FULL);
  }
  void put(Text<Unit> text) { put(text.units, static_cast<uint32_t>(text.length)); }
  void put(std::string_view literal) {
    if (!hasRoom(literal.size())) return;
    for (const char character : literal) putOne(ascii[static_cast<uint8_t>(character)]);
  }

  // The digits of values as they stand in storage, highest first.
  template <typename Value>
  void putHexadecimal(const void* values, int32_t count) {
    constexpr uint32_t digits = sizeof(Value) * 2;
    if (!hasRoom(uint64_t{digits} * static_cast<uint32_t>(count))) return;
    const auto* const start = static_cast<const Value*>(values);
    for (int32_t at = 0; at < count; ++at) putDigits(frame::load(start + at), digits);
  }

  uint8_t traitsOf(Text<Unit> text) const {
    uint8_t all = noTraits;
    if constexpr (isWide) {
      for (int32_t at = 0; at < text.length; ++at) {
        const char16_t unit = text.units[at];
        if (unit < 0x100) {
          all |= traits[unit];
        } else if (lexClasses[unit] == illegal) {
          const bool pair = isPair(text, at);
          all |= pair ? holdsPair : holdsIllegal;
          at += pair;
        }
      }
    } else {
      for (int32_t at = 0; at < text.length; ++at) all |= traits[text.units[at]];
    }
    return all;
  }

  // Writes text of these traits, markup as entities and a pair of surrogates as a reference.
  void putEscaped(Text<Unit> text, uint8_t textTraits) {
    if (!(textTraits & (holdsMarkup | holdsPair))) return put(text);
    int32_t run = 0;
    for (int32_t at = 0; at < text.length; ++at) {
      const Unit unit = text.units[at];
      const bool pair = isPair(text, at);
      if (!pair && (unit > 0xFF || !(traits[unit] & holdsMarkup))) continue;
      put(text.units + run, static_cast<uint32_t>(at - run));
      if (pair)
        putReference(unit, text.units[++at]);
      else
        put(entityOf(unit));
      run = at + 1;
    }
    put(text.units + run, static_cast<uint32_t>(text.length - run));
  }

 private:
  void putOne(Unit unit) { frame::storeAs(output + written++ * sizeof(Unit), unit); }

  void putDigits(uint32_t value, uint32_t digits) {
    while (digits-- > 0) putOne(ascii[static_cast<uint8_t>("0123456789ABCDEF"[value >> 4 * digits & 0xF])]);
  }

  static constexpr bool isPair(Text<Unit> text, int32_t at) {
    return isWide && (text.units[at] & 0xFC00) == 0xD800 && at + 1 < text.length &&
           (text.units[at + 1] & 0xFC00) == 0xDC00;
  }

  void putReference(Unit high, Unit low) {
    const uint32_t point = (high - 0xD800u) * 0x400 + (low - 0xDC00u) + 0x10000;
    const uint32_t digits = point >> 20 != 0 ? 6 : 5;
    put("&#x");
    if (hasRoom(digits)) putDigits(point, digits);
    put(";");
  }

  std::string_view entityOf(Unit unit) const {
    if (unit == ascii[uint8_t{'<'}]) return "&lt;";
    if (unit == ascii[uint8_t{'>'}]) return "&gt;";
    if (unit == ascii[uint8_t{'&'}]) return "&amp;";
    return unit == ascii[uint8_t{'\''}] ? "&apos;" : "&quot;";
  }
};

}  // namespace qrt::xml
