// What stands ahead of the root: the XML declaration, and the prolog with the document type. The prolog's
// scan serves behind the root too.
#pragma once

#include "xml/scan.h"

namespace qrt::xml {

template <typename Text>
void Scan<Text>::passEquals(int32_t code) {
  skipWhite();
  if (!isPunct(equalsAt)) fatal(code);
  step();
  skipWhite();
}

template <typename Text>
uint32_t Scan<Text>::openQuote(int32_t code) {
  const uint32_t quote = look();
  if (quote != punct(quoteAt) && quote != punct(apostropheAt)) fatal(code);
  step();
  return quote;
}

template <typename Text>
void Scan<Text>::closeQuote(uint32_t quote, int32_t code) {
  if (look() != quote) fatal(code);
  step();
}

template <typename Text>
void Scan<Text>::whiteOrQuestion(int32_t code) {
  if (!is(whiteSpace) && !is(questionMark)) fatal(code);
  skipWhite();
}

template <typename Text>
void Scan<Text>::declaration() {
  const Unit* const start = at;
  const auto begins = [&] {
    constexpr int32_t wordLength = 5;
    if (limit - at <= wordLength || lexOf(peek()) != lessThan) return false;
    step();
    if (lexOf(peek()) != questionMark) return false;
    step();
    return takeWord("xml") && is(whiteSpace);
  };
  if (!begins()) {
    at = start;
    return;
  }
  parser.scanState = atVersion;
  skipWhite();
  if (!takeWord("version")) fatal(142);
  parser.scanState = atVersionValue;
  passEquals(143);
  uint32_t quote = openQuote(144);
  const Unit* value = at;
  passName();
  const Unit* valueEnd = at;
  closeQuote(quote, 145);
  tell(versionValue, value, valueEnd);

  parser.scanState = behindVersion;
  whiteOrQuestion(146);
  if (look() == letterOf('e')) {
    if (!takeWord("encoding")) fatal(147);
    parser.scanState = atEncodingValue;
    passEquals(148);
    quote = openQuote(149);
    if (classOf(look()) != letter) warn(15);
    value = at;
    while (at < limit && classOf(peek()) != notInName && classOf(peek()) != colon &&
           classOf(peek()) != otherInName)
      step();
    valueEnd = at;
    closeQuote(quote, 150);
    tell(encodingValue, value, valueEnd);
    parser.scanState = behindEncoding;
    whiteOrQuestion(151);
  }
  if (look() == letterOf('s')) {
    if (!takeWord("standalone")) fatal(152);
    parser.scanState = atStandaloneValue;
    passEquals(153);
    quote = openQuote(154);
    value = at;
    if (!takeWord(look() == letterOf('y') ? "yes" : "no")) fatal(155);
    valueEnd = at;
    closeQuote(quote, 156);
    tell(standaloneValue, value, valueEnd);
    parser.scanState = inDeclaration;
    whiteOrQuestion(157);
  }
  if (!is(questionMark)) fatal(158);
  step();
  if (!is(greaterThan)) fatal(158);
  step();
}

// Behind it, `at` is behind "<!" of a declaration, or at the first character of an element's name.
template <typename Text>
typename Scan<Text>::Prolog Scan<Text>::prolog() {
  const ScanState state = parser.scanState;
  for (;;) {
    skipWhite();
    if (at >= limit) return Prolog::end;
    const Unit* const start = at;
    if (lexOf(peek()) != lessThan) {
      warn(1);
      step();
      tell(contentText, start, at);
      continue;
    }
    step();
    const uint32_t character = look();
    if (classOf(character) != notInName) return Prolog::element;
    if (lexOf(character) == questionMark) {
      processingInstruction();
      parser.scanState = state;
      continue;
    }
    if (lexOf(character) == exclamationMark) {
      step();
      if (isPunct(hyphenAt)) {
        commentBehindHyphen();
        parser.scanState = state;
        continue;
      }
      if (look() == letterOf('D')) return Prolog::declaration;
    }
    warn(2);
    tellRun(contentText, start, at);
  }
}

template <typename Text>
void Scan<Text>::doctype(const Unit* start) {
  if (!takeWord("DOCTYPE")) fatal(122);
  if (!is(whiteSpace)) fatal(122);
  int32_t brackets = 0;
  uint32_t quote = 0;
  for (;; step()) {
    const uint32_t character = look();
    if (quote != 0) {
      if (character == quote) quote = 0;
    } else if (character == punct(quoteAt) || character == punct(apostropheAt)) {
      quote = character;
    } else if (character == punct(openBracketAt)) {
      ++brackets;
    } else if (character == punct(closeBracketAt)) {
      --brackets;
    } else if (character == punct(greaterThanAt) && brackets == 0) {
      break;
    }
  }
  step();
  tell(documentType, start, at);
}

}  // namespace qrt::xml
