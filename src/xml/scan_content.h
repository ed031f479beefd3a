// Content: text up to the next tag, and the sections in it. Comments and processing instructions may stand in
// the prolog too.
#pragma once

#include <emmintrin.h>

#include "xml/scan.h"

namespace qrt::xml {

// The first unit from `at` on that text doesn't pass over.
template <typename Text>
const typename Text::Unit* Scan<Text>::passText() {
  const Unit* unit = at;
  if constexpr (sizeof(Unit) == 1) {
    if (isAsciiBased) {
      // DEL is a control character in the pages of the PC. It is found with the bracket, which two bits part
      // from it.
      constexpr char between = isSingleByte ? ']' ^ 0x7F : 0;
      const __m128i lt = _mm_set1_epi8('<'), amp = _mm_set1_epi8('&'), control = _mm_set1_epi8(0x1F),
                    apart = _mm_set1_epi8(between), bracket = _mm_set1_epi8(']' | between);
      for (; limit - unit >= 16; unit += 16) {
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(unit));
        __m128i found = _mm_or_si128(_mm_cmpeq_epi8(bytes, lt), _mm_cmpeq_epi8(bytes, amp));
        found = _mm_or_si128(found, _mm_cmpeq_epi8(_mm_or_si128(bytes, apart), bracket));
        found = _mm_or_si128(found, _mm_cmpeq_epi8(_mm_min_epu8(bytes, control), bytes));
        if (isUtf8) found = _mm_or_si128(found, bytes);  // high bytes are looked at one by one
        unsigned mask = static_cast<unsigned>(_mm_movemask_epi8(found));
        for (; mask != 0; mask &= mask - 1)
          if (const Unit* const stop = unit + __builtin_ctz(mask); stops[*stop]) return stop;
      }
    }
    while (unit < limit && !stops[*unit]) ++unit;
  } else {
    const auto stopsHere = [&](uint32_t character) {
      const uint8_t lex = lexOf(character);
      return lex == illegal || lex == lessThan || lex == ampersand || lex == closingBracket;
    };
    // Two more than the unit, which puts the noncharacters below the controls, and 255 at the most.
    const __m128i two = _mm_set1_epi16(2), most = _mm_set1_epi16(0xFF);
    const auto load = [&](const Unit* from) {
      const __m128i units = _mm_add_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(from)), two);
      return _mm_sub_epi16(units, _mm_subs_epu16(units, most));
    };
    const __m128i lt = _mm_set1_epi8('<' + 2), amp = _mm_set1_epi8('&' + 2), bracket = _mm_set1_epi8(']' + 2),
                  control = _mm_set1_epi8(0x1F + 2);
    for (; limit - unit >= 16; unit += 16) {
      const __m128i bytes = _mm_packus_epi16(load(unit), load(unit + 8));
      __m128i found = _mm_or_si128(_mm_cmpeq_epi8(bytes, lt), _mm_cmpeq_epi8(bytes, amp));
      found = _mm_or_si128(found, _mm_cmpeq_epi8(bytes, bracket));
      found = _mm_or_si128(found, _mm_cmpeq_epi8(_mm_min_epu8(bytes, control), bytes));
      unsigned mask = static_cast<unsigned>(_mm_movemask_epi8(found));
      for (; mask != 0; mask &= mask - 1)
        if (const Unit* const stop = unit + __builtin_ctz(mask); stopsHere(*stop)) return stop;
    }
    while (unit < limit && !stopsHere(*unit)) ++unit;
  }
  return unit;
}

// Passes content up to a tag: true at the name of an element's start, false behind "</".
template <typename Text>
bool Scan<Text>::contentUntilTag() {
  const Unit* run = at;
  for (;;) {
    at = passText();
    const uint32_t character = look();
    switch (lexOf(character)) {
      case lessThan: {
        const Unit* const start = at;
        tellRun(contentText, run, at);
        run = at;
        parser.scanState = inTag;
        step();
        const uint32_t next = look();
        const uint8_t lex = lexOf(next);
        if (startsName(classOf(next))) return true;
        if (lex == slash) {
          step();
          return false;
        }
        if (lex == questionMark) {
          processingInstruction();
        } else if (lex == exclamationMark) {
          parser.scanState = behindExclamation;
          step();
          if (isPunct(hyphenAt))
            commentBehindHyphen();
          else
            cdataSection(start);
        } else if (lex == illegal || lex == whiteSpace || lex == closingBracket || lex == lessThan ||
                   lex == ampersand) {
          warn(7);
          step();
          tell(contentText, start, at);
        } else {
          fatal(135);
        }
        parser.scanState = inContent;
        run = at;
        break;
      }
      case ampersand:
        tellRun(contentText, run, at);
        reference(false);
        parser.scanState = inContent;
        run = at;
        break;
      case closingBracket:
        if (limit - at >= 3 && lexOf(at[1]) == closingBracket && lexOf(at[2]) == greaterThan) {
          tellRun(contentText, run, at);
          run = at;
          warn(8);
          at += 3;
          tell(contentText, run, at);
          run = at;
        } else {
          step();
        }
        break;
      case illegal:
        warn(6);
        [[fallthrough]];
      default:
        step();
        break;
    }
  }
}

// At the unit behind "<!", which stands at `start`.
template <typename Text>
void Scan<Text>::cdataSection(const Unit* start) {
  parser.scanState = inCdata;
  constexpr int32_t wordLength = 7;
  requireUnits(wordLength);
  for (int32_t place = 0; place < wordLength; ++place) {
    const uint32_t wanted = isSingleByte ? parser.cdataWord[place] : static_cast<uint8_t>("[CDATA["[place]);
    if (look() != wanted) fatal(136);
    step();
  }
  tell(startOfCdata, start, at);
  const Unit* const run = at;
  for (;; step()) {
    at = passText();
    const uint8_t lex = lexOf(look());
    if (lex == illegal) warn(6);
    if (lex != closingBracket || limit - at < 3 || lexOf(at[1]) != closingBracket ||
        lexOf(at[2]) != greaterThan)
      continue;
    tellRun(contentText, run, at);
    const Unit* const marker = at;
    at += 3;
    return tell(endOfCdata, marker, at);
  }
}

// At the first hyphen of "<!--".
template <typename Text>
void Scan<Text>::commentBehindHyphen() {
  parser.scanState = inComment;
  step();
  if (!isPunct(hyphenAt)) fatal(137);
  step();
  const Unit* const text = at;
  for (;; step()) {
    const uint32_t character = look();
    if (lexOf(character) == illegal) warn(9);
    if (character != punct(hyphenAt)) continue;
    const Unit* const end = at;
    step();
    if (!isPunct(hyphenAt)) {
      at = end;
      continue;
    }
    step();
    if (is(greaterThan))
      step();
    else
      warn(10);
    return tell(comment, text, end);
  }
}

// At the question mark of "<?".
template <typename Text>
void Scan<Text>::processingInstruction() {
  parser.scanState = inInstruction;
  step();
  if (!startsNameHere()) fatal(138);
  const Unit* const target = at;
  passName();
  const Unit* const targetEnd = at;
  const Unit *data, *dataEnd;
  if (is(whiteSpace)) {
    skipWhite();
    data = at;
    for (;; step()) {
      const uint8_t lex = lexOf(look());
      if (lex == illegal) warn(11);
      if (lex != questionMark) continue;
      dataEnd = at;
      step();
      if (is(greaterThan)) break;
      at = dataEnd;
    }
  } else {
    if (!is(questionMark)) fatal(139);
    data = dataEnd = at;
    step();
    if (!is(greaterThan)) fatal(140);
  }
  const auto isLetter = [&](const Unit* unit, char small) {
    return *unit == letterOf(small) || *unit == letterOf(static_cast<char>(small - 'a' + 'A'));
  };
  if (targetEnd - target == 3 && isLetter(target, 'x') && isLetter(target + 1, 'm') &&
      isLetter(target + 2, 'l'))
    warn(12);
  step();
  tellInstruction(target, targetEnd, data, dataEnd);
}

}  // namespace qrt::xml
