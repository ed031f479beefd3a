// The scanner: one walk through the document, over units of one byte, of UTF-8 or of UTF-16. Events are
// slices of the document. It doesn't come back from a fatal error or a handler that wants no more: it jumps
// to the parser's buffer.
#include <emmintrin.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>

#include "xml/parser.h"

namespace qrt::xml {
namespace {

constexpr int32_t handlerStopped = -1;
constexpr uint32_t highestCharacter = 0x10FFFF;
constexpr int32_t comparedAttributes = 10;

[[noreturn]] void unwind(Parser& parser) {
  parser.stateFlags |= isStopped;
  qrtLongJump(&parser.jump, 1);
  __builtin_unreachable();
}

// The code of a document that ends in that state.
constexpr int32_t endCodeOf(ScanState state) {
  const bool betweenParts = state == inDeclaration || state == behindVersion || state == behindEncoding;
  return 100 + (betweenParts ? static_cast<int32_t>(inDeclaration) : static_cast<int32_t>(state));
}

// ---- The widths of text

struct SingleByteText {
  using Unit = uint8_t;
  static constexpr ScannerKind kind = ScannerKind::singleByte;
};
struct Utf8Text {
  using Unit = uint8_t;
  static constexpr ScannerKind kind = ScannerKind::utf8;
};
struct Utf16Text {
  typedef uint16_t Unit __attribute__((aligned(1)));  // national text lies anywhere
  static constexpr ScannerKind kind = ScannerKind::utf16;
};

template <typename Text>
class Scan {
  using Unit = typename Text::Unit;
  static constexpr bool isSingleByte = Text::kind == ScannerKind::singleByte;
  static constexpr bool isUtf8 = Text::kind == ScannerKind::utf8;

 public:
  explicit Scan(Parser& parserToRun)
      : parser(parserToRun),
        at(reinterpret_cast<const Unit*>(parser.document)),
        limit(at + parser.length + 1),
        nameClass(parser.nameClass),
        lexClass(parser.lexClass) {
    for (uint32_t byte = 0; byte < 256; ++byte) stops[byte] = stopsText(byte);
  }

  void document();

 private:
  Parser& parser;
  const Unit* at;
  const Unit* const limit;
  const uint8_t* const nameClass;
  const uint8_t* const lexClass;
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

  // A small letter in the document's encoding.
  uint32_t letterOf(char small) const {
    return isSingleByte ? parser.letters[small - 'a'] : static_cast<uint8_t>(small);
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

  // Takes a word of small letters; false at the first difference.
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

  [[noreturn, gnu::cold]] void fatal(int32_t code) {
    parser.result = code;
    tellException(parser, placeOf(at), code);
    unwind(parser);
  }

  [[noreturn, gnu::cold]] void endOfText() { fatal(endCodeOf(parser.scanState)); }

  // After a warning that is answered with 0 only exceptions and the end of the document are told.
  [[gnu::cold]] void warn(int32_t code) {
    parser.result = code;
    if (tellException(parser, placeOf(at), code) != 0) unwind(parser);
    parser.isMuted = true;
    for (int32_t slot = 0; slot < slotCount; ++slot)
      if (slot != endOfDocument && slot != exception)
        parser.handlers[slot] = reinterpret_cast<void*>(answerNothing);
  }

  void check(int32_t answer) {
    if (answer == 0) return;
    parser.result = handlerStopped;
    unwind(parser);
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

  // ---- Parts

  const Unit* passText();
  void declaration();
  void passEquals(int32_t code);
  uint32_t openQuote(int32_t code);
  void closeQuote(uint32_t quote, int32_t code);
  void whiteOrQuestion(int32_t code);

  enum class Prolog : uint8_t { end, declaration, element };
  Prolog prolog();
  void doctype(const Unit* start);
  void commentBehindHyphen();
  void processingInstruction();
  void reference(bool inAttribute);
  void numericReference(bool inAttribute);

  void push(const Unit* name, const Unit* nameEnd);
  void elements();
  bool startTag();
  void attribute(const Unit* (&names)[comparedAttributes], int32_t (&lengths)[comparedAttributes],
                 int32_t number);
  void attributeValue();
  bool contentUntilTag();
  void cdataSection(const Unit* start);
  void endTag();
};

// ---- The whole

template <typename Text>
void Scan<Text>::document() {
  parser.scanState = atStart;
  tell(startOfDocument, at, limit);
  declaration();
  parser.scanState = inProlog;
  Prolog found = prolog();
  if (found == Prolog::declaration) {
    doctype(at - 2);
    found = prolog();
    if (found == Prolog::declaration) fatal(123);
  }
  if (found == Prolog::end) endOfText();
  if (!startsNameHere()) fatal(124);
  elements();
  parser.scanState = behindRoot;
  found = prolog();
  if (found == Prolog::declaration) fatal(159);
  if (found == Prolog::element) fatal(160);
  check(reinterpret_cast<EndHandler>(parser.handlers[endOfDocument])(parser.user));
  if (parser.result != 0) unwind(parser);
}

// ---- The XML declaration

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

// ---- Prolog, and what may stand there

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
      const bool isD = look() == (isSingleByte ? parser.letters[26 + ('D' - 'A')] : uint32_t{'D'});
      if (isD) return Prolog::declaration;
    }
    warn(2);
    tellRun(contentText, start, at);
  }
}

template <typename Text>
void Scan<Text>::doctype(const Unit* start) {
  constexpr ptrdiff_t wordLength = 7;
  requireUnits(wordLength);
  for (const char* word = "DOCTYPE"; *word != 0; ++word) {
    const uint32_t wanted = isSingleByte ? parser.letters[26 + (*word - 'A')] : static_cast<uint8_t>(*word);
    if (look() != wanted) fatal(122);
    step();
  }
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
    } else if (character == punct(greaterThanAt) && brackets <= 0) {
      break;
    }
  }
  step();
  tell(documentType, start, at);
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
    const uint32_t capital =
        isSingleByte ? parser.letters[26 + (small - 'a')] : static_cast<uint32_t>(small - 'a' + 'A');
    return *unit == letterOf(small) || *unit == capital;
  };
  if (targetEnd - target == 3 && isLetter(target, 'x') && isLetter(target + 1, 'm') &&
      isLetter(target + 2, 'l'))
    warn(12);
  step();
  tellInstruction(target, targetEnd, data, dataEnd);
}

// ---- References

// At the character behind "&#".
template <typename Text>
void Scan<Text>::numericReference(bool inAttribute) {
  bool hexadecimal = look() == letterOf('x');
  if (hexadecimal) step();
  uint32_t value = 0;
  bool tooHigh = false;
  for (; !isPunct(semicolonAt); step()) {
    const uint32_t character = peek();
    const uint8_t* const figures = isSingleByte ? parser.letters : nullptr;
    uint32_t figure = 16;
    const uint32_t zero = isSingleByte ? figures[52] : uint32_t{'0'};
    if (character >= zero && character < zero + 10) figure = character - zero;
    if (hexadecimal && figure == 16)
      for (uint32_t letterNumber = 0; letterNumber < 6; ++letterNumber)
        if (character == letterOf(static_cast<char>('a' + letterNumber)) ||
            character == (isSingleByte ? figures[26 + letterNumber] : 'A' + letterNumber))
          figure = 10 + letterNumber;
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

// ---- Elements

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
      unwind(parser);
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

// ---- Content

// The first unit from `at` on that text doesn't pass over.
template <typename Text>
const typename Text::Unit* Scan<Text>::passText() {
  const Unit* unit = at;
  if constexpr (sizeof(Unit) == 1) {
    if (!isSingleByte || parser.letters == lettersOf(Family::ascii)) {
      const __m128i lt = _mm_set1_epi8('<'), amp = _mm_set1_epi8('&'), bracket = _mm_set1_epi8(']'),
                    control = _mm_set1_epi8(0x1F);
      for (; limit - unit >= 16; unit += 16) {
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(unit));
        __m128i found = _mm_or_si128(_mm_cmpeq_epi8(bytes, lt), _mm_cmpeq_epi8(bytes, amp));
        found = _mm_or_si128(found, _mm_cmpeq_epi8(bytes, bracket));
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

template <typename Text>
void scan(Parser& parser) {
  Scan<Text>(parser).document();
}

}  // namespace

int32_t tellException(Parser& parser, int32_t place, int32_t code) {
  const auto handler = reinterpret_cast<ExceptionHandler>(parser.handlers[exception]);
  return handler(parser.user, parser.documentStart, place, code);
}

void scanDocument(Parser& parser) {
  switch (parser.scanner) {
    case ScannerKind::singleByte:
      return scan<SingleByteText>(parser);
    case ScannerKind::utf8:
      return scan<Utf8Text>(parser);
    case ScannerKind::utf16:
      return scan<Utf16Text>(parser);
  }
}

void prepareScan(Parser& parser) {
  const bool wide = parser.scanner == ScannerKind::utf16;
  if ((parser.stateFlags & lengthIsNormal) == 0) {
    parser.length = (wide ? parser.length / 2 : parser.length) - 1;
    parser.stateFlags |= lengthIsNormal;
  }
  if ((parser.encodingFlags & hasMark) != 0 && (parser.encodingFlags & markIsSkipped) == 0) {
    const bool counts = parser.scanner != ScannerKind::singleByte;
    if (counts) {
      parser.document += wide ? 2 : 3;
      parser.length -= wide ? 1 : 3;
    }
    parser.encodingFlags |= markIsSkipped;
  }
}

void fillHandlers(Parser& parser) {
  for (void*& handler : parser.handlers)
    if (handler == nullptr) handler = reinterpret_cast<void*>(answerNothing);
}

}  // namespace qrt::xml
