// The scanner: one walk through the document, over units of one byte, of UTF-8 or of UTF-16. Here it looks at
// characters and tells events, which are slices of the document; its parts stand in files of their own. It
// doesn't come back from a fatal error or a handler that wants no more: it jumps to the parser's buffer.
#pragma once

#include <string.h>

#include <algorithm>

#include "xml/parser.h"

namespace qrt::xml {

// `Text` names the unit and the kind.
template <typename Text>
class Scan {
  using Unit = typename Text::Unit;
  static constexpr bool isSingleByte = Text::kind == ScannerKind::singleByte;
  static constexpr bool isUtf8 = Text::kind == ScannerKind::utf8;
  static constexpr int32_t comparedAttributes = 10;

 public:
  explicit Scan(Parser& parserToRun)
      : parser(parserToRun),
        at(reinterpret_cast<const Unit*>(parser.document)),
        limit(at + parser.length + 1),
        nameClass(parser.nameClass),
        lexClass(parser.lexClass),
        isAsciiBased(!isSingleByte || parser.letters == lettersOf(Family::ascii)) {
    for (uint32_t byte = 0; byte < 256; ++byte) stops[byte] = stopsText(byte);
  }

  void document();

 private:
  Parser& parser;
  const Unit* at;
  const Unit* const limit;
  const uint8_t* const nameClass;
  const uint8_t* const lexClass;
  const bool isAsciiBased;
  bool stops[256];  // bytes that a run of text doesn't pass over
  int32_t depth = 0;

  // ---- Characters

  bool stopsText(uint32_t byte) const {
    constexpr uint32_t leadOfNoncharacters = 0xEF;
    if (isUtf8 && byte >= 0x80) return !parser.isValidUtf8 || byte >= leadOfNoncharacters;
    const uint8_t lex = isSingleByte ? lexClass[byte] : lexClasses[byte];
    return lex == illegal || lex == lessThan || lex == ampersand || lex == closingBracket;
  }

  // Units of the character at `at`, which has been looked at.
  int32_t width() const {
    if (!isUtf8) return 1;
    const uint32_t lead = *at;
    return lead < 0x80 ? 1 : lead < 0xE0 ? 2 : 3;
  }

  // The character at `at`. UTF-8 that is malformed or above U+FFFF is fatal.
  uint32_t peek() {
    const uint32_t unit = *at;
    if (!isUtf8 || unit < 0x80) return unit;
    const int32_t bytes =
        utf8Length(reinterpret_cast<const uint8_t*>(at), reinterpret_cast<const uint8_t*>(limit));
    if (bytes == 0) fatal(161);
    if (bytes == 4) fatal(162);
    if (bytes == 2) return (unit & 0x1F) << 6 | (at[1] & 0x3F);
    return (unit & 0xF) << 12 | (at[1] & 0x3F) << 6 | (at[2] & 0x3F);
  }

  // The same where there has to be one.
  uint32_t look() {
    if (at >= limit) endOfText();
    return peek();
  }

  void step() { at += width(); }

  uint8_t classOf(uint32_t character) const {
    return isSingleByte ? nameClass[character] : nameClasses[character];
  }

  uint8_t lexOf(uint32_t character) const {
    if (isSingleByte) return lexClass[character];
    if (character >= 0xD800 && character <= 0xDFFF) return ordinary;
    return lexClasses[character];
  }

  uint32_t punct(Punct which) const {
    return isSingleByte ? parser.punct[which] : static_cast<uint8_t>(punctuation[which]);
  }

  // A letter in the document's encoding.
  uint32_t letterOf(char letter) const {
    if (!isSingleByte) return static_cast<uint8_t>(letter);
    return parser.letters[letter >= 'a' ? letter - 'a' : 26 + (letter - 'A')];
  }

  bool is(uint8_t lex) { return lexOf(look()) == lex; }
  bool isPunct(Punct which) { return look() == punct(which); }
  bool startsNameHere() { return startsName(classOf(look())); }

  // Moves to the first character for which `goesOn` doesn't hold. The loop has a pointer of its own, as `at`
  // would be stored at each step.
  template <typename GoesOn>
  void passWhile(GoesOn goesOn) {
    for (;; step()) {
      const Unit* unit = at;
      while (unit < limit && (!isUtf8 || *unit < 0x80) && goesOn(*unit)) ++unit;
      at = unit;
      if (!isUtf8 || at >= limit || *at < 0x80 || !goesOn(peek())) return;
    }
  }

  void skipWhite() {
    passWhile([this](uint32_t character) { return lexOf(character) == whiteSpace; });
  }

  void passName() {
    passWhile([this](uint32_t character) { return classOf(character) != notInName; });
  }

  // Before a fixed word: a document that is too short for it ends there, whatever its last units are.
  void requireUnits(ptrdiff_t count) {
    if (limit - at >= count) return;
    at = limit;
    endOfText();
  }

  // Takes a word of letters; false at the first difference.
  bool takeWord(const char* word) {
    requireUnits(static_cast<ptrdiff_t>(strlen(word)));
    for (; *word != 0; ++word) {
      if (look() != letterOf(*word)) return false;
      step();
    }
    return true;
  }

  // ---- Telling

  int32_t placeOf(const Unit* unit) const {
    const auto place = unit - reinterpret_cast<const Unit*>(parser.documentStart) + 1;
    const auto whole = limit - reinterpret_cast<const Unit*>(parser.documentStart);
    return static_cast<int32_t>(std::min<ptrdiff_t>(place, whole));
  }

  [[noreturn]] void unwind() {
    parser.stateFlags |= isStopped;
    qrtLongJump(&parser.jump, 1);
    __builtin_unreachable();
  }

  [[noreturn, gnu::cold]] void fatal(int32_t code) {
    parser.result = code;
    tellException(parser, placeOf(at), code);
    unwind();
  }

  // The code of a document that ends in that state.
  static constexpr int32_t endCodeOf(ScanState state) {
    const bool betweenParts = state == inDeclaration || state == behindVersion || state == behindEncoding;
    return 100 + (betweenParts ? static_cast<int32_t>(inDeclaration) : static_cast<int32_t>(state));
  }

  [[noreturn, gnu::cold]] void endOfText() { fatal(endCodeOf(parser.scanState)); }

  // After a warning that is answered with 0 only exceptions and the end of the document are told.
  [[gnu::cold]] void warn(int32_t code) {
    parser.result = code;
    if (tellException(parser, placeOf(at), code) != 0) unwind();
    parser.isMuted = true;
    for (int32_t slot = 0; slot < slotCount; ++slot)
      if (slot != endOfDocument && slot != exception)
        parser.handlers[slot] = reinterpret_cast<void*>(answerNothing);
  }

  void check(int32_t answer) {
    constexpr int32_t handlerStopped = -1;
    if (answer == 0) return;
    parser.result = handlerStopped;
    unwind();
  }

  void tell(Slot slot, const Unit* from, const Unit* to) {
    const auto handler = reinterpret_cast<TextHandler>(parser.handlers[slot]);
    check(handler(parser.user, from, static_cast<int32_t>(to - from)));
  }

  void tellCharacter(Slot slot, uint32_t character) {
    check(reinterpret_cast<CharacterHandler>(parser.handlers[slot])(parser.user, character));
  }

  void tellRun(Slot slot, const Unit* from, const Unit* to) {
    if (from != to) tell(slot, from, to);
  }

  void tellInstruction(const Unit* target, const Unit* targetEnd, const Unit* data, const Unit* dataEnd) {
    const auto targetLength = static_cast<int32_t>(targetEnd - target),
               dataLength = static_cast<int32_t>(dataEnd - data);
    if (parser.isMuted) return;
    if ((parser.modeFlags & hasSplitInstruction) == 0) {
      const auto handler = reinterpret_cast<PairHandler>(parser.handlers[instruction]);
      return check(handler(parser.user, target, targetLength, data, dataLength));
    }
    check(parser.instructionTarget(parser.user, target, targetLength));
    check(parser.instructionData(parser.user, data, dataLength));
  }

  // ---- Parts: the prolog

  enum class Prolog : uint8_t { end, declaration, element };
  void declaration();
  void passEquals(int32_t code);
  uint32_t openQuote(int32_t code);
  void closeQuote(uint32_t quote, int32_t code);
  void whiteOrQuestion(int32_t code);
  Prolog prolog();
  void doctype(const Unit* start);

  // ---- Elements

  void elements();
  void push(const Unit* name, const Unit* nameEnd);
  bool startTag();
  void attribute(const Unit* (&names)[comparedAttributes], int32_t (&lengths)[comparedAttributes],
                 int32_t number);
  void attributeValue();
  void endTag();

  // ---- Content and references

  const Unit* passText();
  bool contentUntilTag();
  void cdataSection(const Unit* start);
  void commentBehindHyphen();
  void processingInstruction();
  void reference(bool inAttribute);
  void numericReference(bool inAttribute);
};

}  // namespace qrt::xml
