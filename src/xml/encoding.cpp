// In what encoding a document is: by its first bytes, its declaration and the caller's word.
#include <emmintrin.h>
#include <string.h>

#include <algorithm>
#include <array>
#include <span>
#include <string_view>

#include "xml/parser.h"

namespace qrt::xml {
namespace {

constexpr int32_t utf16Ccsid = 1202, utf8Ccsid = 1208, windowsCcsid = 1252;

// ---- The first bytes

constexpr bool isAsciiBlank(uint8_t byte) {
  return byte == 0x09 || byte == 0x0A || byte == 0x0D || byte == 0x20 || byte == 0x85;
}

constexpr bool isBlankOrTag(uint8_t byte) {
  return isAsciiBlank(byte) || byte == 0x3C;
}

// Text of the ASCII family, before its bytes are looked at.
constexpr Detected someAscii = asciiPlain;

Detected classify(const uint8_t* bytes, bool& mark) {
  const uint8_t first = bytes[0], second = bytes[1], third = bytes[2], fourth = bytes[3];
  mark = false;
  if (first == 0x4C) return second == 0x6F ? ebcdicDeclared : ebcdicOther;
  if (first == 0x05 || first == 0x15 || first == 0x25 || first == 0x40) return ebcdicOther;
  if (first == 0x3C && second != 0) return someAscii;
  if (first == 0xC2 && second == 0x85) return utf8Text;
  if (isAsciiBlank(first) && second == 0x85) return asciiOther;
  if (isAsciiBlank(first) && isBlankOrTag(second)) return someAscii;
  if (first == 0xEF && second == 0xBB && third == 0xBF) {
    mark = true;
    return utf8Text;
  }
  if (first == 0 && isBlankOrTag(second)) return utf16BigText;
  if (first == 0xFE && second == 0xFF && third == 0 && isBlankOrTag(fourth)) return utf16BigText;
  if (isBlankOrTag(first) && second == 0 && third != 0 && fourth == 0) return utf16LittleText;
  if (first == 0xFF && second == 0xFE && isBlankOrTag(third) && fourth == 0) {
    mark = true;
    return utf16LittleText;
  }
  const bool ucs4 = (first == 0 && second == 0 && third == 0 && isBlankOrTag(fourth)) ||
                    (first == 0 && second == 0 && third == 0xFE && fourth == 0xFF) ||
                    (isBlankOrTag(first) && second == 0 && third == 0 && fourth == 0) ||
                    (first == 0xFF && second == 0xFE && third == 0 && fourth == 0);
  return ucs4 ? ucs4Text : unknownText;
}

Detected detect(const uint8_t* bytes, int32_t length, bool& mark) {
  constexpr int32_t shortest = 4;
  mark = false;
  if (length < shortest) return unknownText;
  const uint8_t* const behind =
      std::find_if(bytes, bytes + length, [](uint8_t byte) { return byte != '\r'; });
  const bool isUnitOfUtf16 = behind == bytes + 1 && *behind == 0;
  if (behind == bytes || isUnitOfUtf16) return classify(bytes, mark);
  uint8_t next[shortest] = {' ', ' ', ' ', ' '};
  memcpy(next, behind, static_cast<size_t>(std::min<ptrdiff_t>(shortest, bytes + length - behind)));
  const Detected detected = classify(next, mark);
  mark = false;  // which stands at the start only
  return detected;
}

// ---- UTF-8

constexpr bool isContinuation(uint8_t byte) {
  return (byte & 0xC0) == 0x80;
}

// The end of the 7-bit text at `at`.
const uint8_t* skipAscii(const uint8_t* at, const uint8_t* limit) {
  for (; limit - at >= 16; at += 16)
    if (const int high = _mm_movemask_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(at))); high != 0)
      return at + __builtin_ctz(static_cast<unsigned>(high));
  while (at < limit && *at < 0x80) ++at;
  return at;
}

Detected kindOfAscii(const uint8_t* at, int32_t length) {
  const uint8_t *const start = at, *const limit = at + length;
  Detected kind = asciiPlain;
  for (at = skipAscii(at, limit); at < limit; at = skipAscii(at, limit)) {
    const int32_t bytes = utf8Length(at, limit);
    if (bytes == 0) return start[0] == '<' && start[1] == '?' ? asciiDeclared : asciiOther;
    kind = utf8Text;
    at += bytes;
  }
  return kind;
}

// ---- The declaration

// What a declaration says of the encoding, where it isn't a CCSID.
constexpr int32_t unknownEncoding = -1, noEncoding = -2, noDeclaration = -3;

constexpr bool isGood(int32_t declared) {
  return declared > 0;
}

// Whether a text of the family can be in that page.
bool isOfFamily(int32_t ccsid, Family family) {
  const CallerClass kind = callerClassOf(ccsid);
  if (family == Family::ebcdic) return kind == ebcdicSingle || kind == ebcdicMixed;
  return kind == asciiSingle || kind == asciiDouble || kind == utf8;
}

using CharacterTable = std::array<char, 256>;  // of the bytes of a page

// Text of a document as characters of ASCII.
struct Reader {
  const uint8_t* at;
  const uint8_t* end;
  const CharacterTable& characters;

  char look() const { return at < end ? characters[*at] : 0; }
  void skipBlanks() {
    while (look() != 0 && isAsciiBlank(static_cast<uint8_t>(look()))) ++at;
  }
  bool take(std::string_view word) {
    for (const char character : word) {
      if (look() != character) return false;
      ++at;
    }
    return true;
  }
  // Takes what stands in quotes behind a name and "="; its characters go to `value` as far as there is room.
  bool takeValue(std::string_view name, std::span<char> value, size_t& length) {
    if (!take(name)) return false;
    skipBlanks();
    if (!take("=")) return false;
    skipBlanks();
    const char quote = look();
    if (quote != '"' && quote != '\'') return false;
    ++at;
    for (length = 0; look() != 0 && look() != quote; ++at, ++length)
      if (length < value.size()) value[length] = look();
    if (look() != quote) return false;
    ++at;
    skipBlanks();
    return true;
  }
};

constexpr bool isLetter(char character) {
  return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
}

constexpr bool isNameCharacter(char character) {
  return isLetter(character) || (character >= '0' && character <= '9') || character == '.' ||
         character == '_' || character == '-';
}

// The CCSID of the encoding that a text declares.
int32_t declaredIn(Reader text) {
  char name[64];
  size_t length;
  if (!text.take("<?xml") || !isAsciiBlank(static_cast<uint8_t>(text.look()))) return noDeclaration;
  text.skipBlanks();
  if (text.look() == 'v' && !text.takeValue("version", name, length)) return noEncoding;
  if (!text.takeValue("encoding", name, length)) return noEncoding;
  if (length == 0 || length >= sizeof(name) || !isLetter(name[0]) ||
      !std::all_of(name, name + length, isNameCharacter))
    return unknownEncoding;
  name[length] = 0;
  int32_t ccsid;
  return qrtGetCCSID(name, &ccsid) == 0 && ccsid > 0 ? ccsid : unknownEncoding;
}

constexpr CharacterTable sameCharacters = [] {
  CharacterTable table{};
  for (size_t byte = 0; byte < table.size(); ++byte) table[byte] = static_cast<char>(byte);
  return table;
}();

// The characters of EBCDIC text; false when there is no converter.
bool readEbcdic(CharacterTable& characters) {
  constexpr std::string_view page = "QMC-1140", plain = "ISO-8859-1";
  char16_t units[256];
  int32_t unitBytes = sizeof(units), bytes = sizeof(characters);
  return qrtConvToUnicode(sameCharacters.data(), sizeof(sameCharacters), units, &unitBytes, page.data(),
                          static_cast<int32_t>(page.size())) == 0 &&
         qrtConvFromUnicode(units, unitBytes, characters.data(), &bytes, plain.data(),
                            static_cast<int32_t>(plain.size())) == 0;
}

int32_t declaredEncoding(const Parser& parser, Family family) {
  CharacterTable ebcdicCharacters;
  const bool isEbcdic = family == Family::ebcdic;
  if (isEbcdic && !readEbcdic(ebcdicCharacters)) return noDeclaration;
  const int32_t mark = (parser.encodingFlags & hasMark) != 0 ? 3 : 0;
  const int32_t declared = declaredIn({parser.document + mark, parser.document + parser.length,
                                       isEbcdic ? ebcdicCharacters : sameCharacters});
  return isGood(declared) && !isOfFamily(declared, family) ? unknownEncoding : declared;
}

// ---- The questions

// Ends the parse with an encoding code that has no answer.
int32_t refuse(Parser& parser, int32_t code) {
  tellException(parser, 0, code);
  parser.result = code;
  return code;
}

// Asks, and takes the default for the answer 0; any other ends the parse with the code.
int32_t ask(Parser& parser, int32_t code, int32_t byDefault, int32_t& ccsid) {
  parser.encodingFlags |= hasMismatch;
  if (tellException(parser, 0, code) != 0) {
    parser.result = code;
    return code;
  }
  ccsid = byDefault;
  return 0;
}

// A good declaration that differs from the caller: 0 takes the caller's page, the declared CCSID itself that
// one.
int32_t askForPage(Parser& parser, int32_t declared, int32_t offset, int32_t& ccsid) {
  ccsid = parser.ccsid;
  if (declared == parser.ccsid) return 0;
  parser.encodingFlags |= hasMismatch;
  const int32_t answer = tellException(parser, 0, declared);
  if (answer == 0) return 0;
  if (answer == declared) {
    ccsid = declared;
    return 0;
  }
  return parser.result = declared + offset;
}

int32_t weighEbcdic(Parser& parser, CallerClass caller, int32_t& ccsid) {
  constexpr int32_t ofEbcdic = 100000;
  if (caller == asciiSingle || caller == asciiDouble) return refuse(parser, 322);
  if (caller == utf16Little) return refuse(parser, 320);
  const int32_t declared = declaredEncoding(parser, Family::ebcdic);
  if (caller == ebcdicSingle) {
    ccsid = parser.ccsid;
    if (declared == unknownEncoding) return ask(parser, 70, parser.ccsid, ccsid);
    return isGood(declared) ? askForPage(parser, declared, ofEbcdic, ccsid) : 0;
  }
  const int32_t code = isGood(declared) ? 71 : declared == unknownEncoding ? 73 : 72;
  return ask(parser, code, parser.ccsid, ccsid);
}

// A caller with a single-byte page, or a double-byte one over UTF-8 text.
int32_t weighAsciiByCaller(Parser& parser, int32_t declared, int32_t& ccsid) {
  constexpr int32_t ofAscii = 200000;
  ccsid = parser.ccsid;
  if (declared == unknownEncoding) return ask(parser, 80, parser.ccsid, ccsid);
  if (!isGood(declared)) return 0;
  if (declared == utf8Ccsid && parser.detected == asciiDeclared) return ask(parser, 86, utf8Ccsid, ccsid);
  return askForPage(parser, declared, ofAscii, ccsid);
}

int32_t weighAsciiForUtf8(Parser& parser, int32_t declared, int32_t& ccsid) {
  ccsid = utf8Ccsid;
  const bool invalid = parser.detected == asciiDeclared || parser.detected == asciiOther;
  if (declared == utf8Ccsid && invalid) return ask(parser, 87, utf8Ccsid, ccsid);
  if (isGood(declared) && declared != utf8Ccsid && parser.detected != asciiPlain)
    return ask(parser, 89, utf8Ccsid, ccsid);
  if (!invalid) return 0;
  return ask(parser, declared == unknownEncoding ? 85 : 84, utf8Ccsid, ccsid);
}

int32_t weighAsciiByItself(Parser& parser, int32_t declared, int32_t& ccsid) {
  if (declared == utf8Ccsid && parser.detected == asciiDeclared) return ask(parser, 88, utf8Ccsid, ccsid);
  if (isGood(declared)) return ask(parser, 81, declared, ccsid);
  return ask(parser, declared == unknownEncoding ? 83 : 82, windowsCcsid, ccsid);
}

int32_t weighAscii(Parser& parser, CallerClass caller, int32_t& ccsid) {
  const bool isUtf8 = parser.detected == utf8Text;
  if (caller == ebcdicSingle || caller == ebcdicMixed) return refuse(parser, isUtf8 ? 325 : 323);
  if (caller == utf16Little) return refuse(parser, isUtf8 ? 324 : 321);
  const int32_t declared = declaredEncoding(parser, Family::ascii);
  if (caller == asciiSingle || (isUtf8 && caller == asciiDouble))
    return weighAsciiByCaller(parser, declared, ccsid);
  if (caller == utf8) return weighAsciiForUtf8(parser, declared, ccsid);
  return weighAsciiByItself(parser, declared, ccsid);
}

// ---- Tables

int32_t selectTables(Parser& parser, int32_t ccsid, Family family) {
  constexpr int32_t noBlock = 570;
  parser.letters = lettersOf(family);
  parser.scanner = ccsid == utf8Ccsid    ? ScannerKind::utf8
                   : ccsid == utf16Ccsid ? ScannerKind::utf16
                                         : ScannerKind::singleByte;
  if (parser.scanner != ScannerKind::singleByte) return 0;
  const CodePageBlock* const block = blockOf(ccsid, family);
  if (block == nullptr) return refuse(parser, noBlock);
  parser.nameClass = block->nameClass;
  parser.lexClass = block->lexClass;
  parser.punct = block->punct;
  parser.cdataWord = block->cdataWord;
  return 0;
}

uint8_t flagOf(Detected detected) {
  switch (detected) {
    case ebcdicDeclared:
    case ebcdicOther:
      return isEbcdicText;
    case asciiPlain:
    case asciiDeclared:
    case asciiOther:
      return isAsciiText;
    case unknownText:
      return isUnknownText;
    default:
      return isUtfText;
  }
}

}  // namespace

int32_t utf8Length(const uint8_t* at, const uint8_t* limit) {
  const uint8_t lead = at[0];
  const ptrdiff_t left = limit - at;
  if (lead < 0x80) return 1;
  if (lead < 0xC2 || lead > 0xF4) return 0;
  const int32_t length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  if (left < length) return 0;
  const uint8_t lowest = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  const uint8_t highest = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
  if (at[1] < lowest || at[1] > highest) return 0;
  for (int32_t index = 2; index < length; ++index)
    if (!isContinuation(at[index])) return 0;
  return length;
}

int32_t settleEncoding(Parser& parser) {
  bool mark;
  parser.encodingFlags = 0;
  parser.detected = detect(parser.document, parser.length, mark);
  const bool isSomeAscii = parser.detected == someAscii;
  const Detected text = isSomeAscii || parser.detected == utf8Text
                            ? kindOfAscii(parser.document, parser.length)
                            : parser.detected;
  if (isSomeAscii) parser.detected = text;
  parser.isValidUtf8 = text == asciiPlain || text == utf8Text;
  parser.encodingFlags = flagOf(parser.detected);
  if (mark) parser.encodingFlags |= hasMark;
  if (parser.detected == utf16BigText) return refuse(parser, 315);
  if (parser.detected == ucs4Text) return refuse(parser, 316);
  if (parser.detected == unknownText) return refuse(parser, 317);

  const CallerClass caller = callerClassOf(parser.ccsid);
  int32_t ccsid = parser.ccsid, code = 0;
  if ((parser.encodingFlags & isEbcdicText) != 0) {
    code = weighEbcdic(parser, caller, ccsid);
    return code != 0 ? code : selectTables(parser, ccsid, Family::ebcdic);
  }
  if (parser.detected == utf16LittleText) {
    if (caller != utf16Little) code = ask(parser, 92, utf16Ccsid, ccsid);
    ccsid = utf16Ccsid;
  } else {
    code = weighAscii(parser, caller, ccsid);
  }
  return code != 0 ? code : selectTables(parser, ccsid, Family::ascii);
}

}  // namespace qrt::xml
