// XML PARSE: the events of a parse as the registers of a program.
#include "xml/statement.h"

#include <string.h>

#include <array>

#include "frame/guard.h"
#include "frame/message.h"

namespace qrt::xml {
namespace {

constexpr int32_t alreadyParsing = 242, leftOtherwise = 243;  // messages
constexpr int32_t utf16Ccsid = 1202, ebcdicOfRun = 1140;

constexpr size_t eventLength = 30, eventCount = 25;
using EventName = char[eventLength + 1];
constexpr EventName eventNames[eventCount] = {
    "ATTRIBUTE-CHARACTER           ", "ATTRIBUTE-CHARACTERS          ", "ATTRIBUTE-NAME                ",
    "ATTRIBUTE-NATIONAL-CHARACTER  ", "COMMENT                       ", "CONTENT-CHARACTER             ",
    "CONTENT-CHARACTERS            ", "CONTENT-NATIONAL-CHARACTER    ", "DOCUMENT-TYPE-DECLARATION     ",
    "ENCODING-DECLARATION          ", "END-OF-CDATA-SECTION          ", "END-OF-DOCUMENT               ",
    "END-OF-ELEMENT                ", "EXCEPTION                     ", "PROCESSING-INSTRUCTION-DATA   ",
    "PROCESSING-INSTRUCTION-TARGET ", "STANDALONE-DECLARATION        ", "START-OF-CDATA-SECTION        ",
    "START-OF-DOCUMENT             ", "START-OF-ELEMENT              ", "UNKNOWN-REFERENCE-IN-CONTENT  ",
    "UNKNOWN-REFERENCE-IN-ATTRIBUTE", "VERSION-INFORMATION           ", "Start of namespace prefix:    ",
    "End of namespace prefix:      ",
};
static_assert(sizeof(eventNames) == 775);

void setLengths(QrtXmlParseBlock& block, int32_t textBytes, int32_t ntextBytes) {
  *block.textLengthRegister = block.textLength = textBytes;
  *block.ntextLengthRegister = block.ntextLength = ntextBytes;
}

// Text of a wide document, which is UTF-16, goes to XML-NTEXT.
template <bool isWide>
void setLength(QrtXmlParseBlock& block, int32_t units) {
  setLengths(block, isWide ? 0 : units, isWide ? 2 * units : 0);
}

// The procedure's exit clears the cell of the text. That is looked at ahead of the next event and at the end:
// to load the cell while the exit's store is on its way costs an eighth of the whole parse.
void checkExit(const QrtXmlParseBlock& block) {
  if (*block.textRegister != nullptr) [[unlikely]]
    qrtWriteERRmsg(leftOtherwise, 0);
}

// Calls the processing procedure; what it leaves in XML-CODE is the answer.
template <int32_t event>
[[gnu::always_inline]] inline int32_t deliver(QrtXmlParseBlock& block, const void* text, int32_t code = 0) {
  checkExit(block);
  *block.textRegister = text;
  memcpy(block.eventRegister, block.eventNames + event * sizeof(EventName), eventLength);
  *block.codeRegister = block.code = code;
  block.procedure(block.procedureArgument);
  return *block.codeRegister;
}

template <bool isWide, int32_t event>
int32_t tellText(void* user, const void* text, int32_t length) {
  auto& block = *static_cast<QrtXmlParseBlock*>(user);
  setLength<isWide>(block, length);
  return deliver<event>(block, text);
}

template <bool isWide, int32_t event>
int32_t tellCharacter(void* user, uint32_t character) {
  auto& block = *static_cast<QrtXmlParseBlock*>(user);
  const auto unit = static_cast<uint16_t>(character);
  setLength<isWide>(block, 1);
  return deliver<event>(block, &unit);
}

// A code point is national text in every document.
template <int32_t event>
int32_t tellReference(void* user, uint32_t codePoint) {
  auto& block = *static_cast<QrtXmlParseBlock*>(user);
  const bool isPair = codePoint > 0xFFFF;
  const auto high = static_cast<uint16_t>(((codePoint - 0x10000) >> 10) + 0xD800);
  const auto low = static_cast<uint16_t>((codePoint & 0x3FF) + 0xDC00);
  const uint16_t units[] = {isPair ? high : static_cast<uint16_t>(codePoint), low};
  setLengths(block, 0, isPair ? 4 : 2);
  return deliver<event>(block, units);
}

int32_t tellEnd(void* user) {
  constexpr int32_t endOfDocumentEvent = 11;
  auto& block = *static_cast<QrtXmlParseBlock*>(user);
  setLengths(block, 0, 0);
  return deliver<endOfDocumentEvent>(block, nullptr);
}

template <bool isWide>
int32_t tellException(void* user, const void* document, int32_t place, int32_t code) {
  constexpr int32_t exceptionEvent = 13;
  auto& block = *static_cast<QrtXmlParseBlock*>(user);
  setLength<isWide>(block, place);
  return deliver<exceptionEvent>(block, document, code);
}

template <typename Handler>
void* address(Handler* handler) {
  return reinterpret_cast<void*>(handler);
}

// In the order of a table with split instructions.
template <bool isWide>
std::array<void*, 25> handlersOfStatement() {
  return {address(tellText<isWide, 18>),
          address(tellText<isWide, 22>),
          address(tellText<isWide, 9>),
          address(tellText<isWide, 16>),
          address(tellText<isWide, 8>),
          address(tellEnd),
          address(tellText<isWide, 19>),
          address(tellText<isWide, 2>),
          address(tellText<isWide, 1>),
          address(tellCharacter<isWide, 0>),
          address(tellReference<3>),
          address(tellText<isWide, 12>),
          address(tellText<isWide, 17>),
          address(tellText<isWide, 10>),
          address(tellText<isWide, 6>),
          address(tellCharacter<isWide, 5>),
          address(tellReference<7>),
          address(tellText<isWide, 15>),
          address(tellText<isWide, 14>),
          address(tellText<isWide, 4>),
          address(tellText<isWide, 21>),
          address(tellText<isWide, 20>),
          nullptr,
          nullptr,
          address(tellException<isWide>)};
}

// The CCSID that 0 and 1140 stand for.
int32_t resolveCcsid(int32_t ccsid) {
  if (ccsid != 0 && ccsid != ebcdicOfRun) return ccsid;
  char locale[22], ebcdic[18];
  qrtGetLocaleCP(locale, ebcdic);
  const char* const point = strchr(locale, '.');
  const char* const page = ccsid == ebcdicOfRun ? ebcdic : point != nullptr ? point + 1 : locale;
  qrtGetCCSID(page, &ccsid);
  return ccsid;
}

// The registers as they stand outside of a parse.
void leave(QrtXmlParseBlock& block) {
  *block.textRegister = block.textRegister;
  setLengths(block, 0, 0);
  block.eventNames = nullptr;
}

int32_t runParse(QrtXmlParseBlock& block) {
  constexpr int32_t mustNotBeReleased = 560;
  const std::array<void*, 25> handlers =
      block.ccsid == utf16Ccsid ? handlersOfStatement<true>() : handlersOfStatement<false>();
  void* parser;
  int32_t info;
  const int32_t failure = PASSXML(&block, &parser, 1, &info, handlers.data(), block.document,
                                  block.documentLength, block.ccsid, QRT_XML_SPLIT_TABLE);
  if (failure != 0) return failure;
  *block.textRegister = nullptr;
  int32_t code = 0;
  frame::underNestedGuard(
      [&] {
        code = SAXPARSE(parser);
        checkExit(block);
      },
      [&] {
        RLSEDOC(parser);
        leave(block);
      });
  if (code == mustNotBeReleased) return code;
  const int32_t released = RLSEDOC(parser);
  return code != 0 ? code : released;
}

}  // namespace

int32_t parseStatement(QrtXmlParseBlock* statement) {
  QrtXmlParseBlock& block = *statement;
  if (*block.textRegister != block.textRegister) {
    qrtWriteERRmsg(alreadyParsing, 0);
    return block.code;
  }
  block.textLength = block.ntextLength = block.code = 0;
  char names[sizeof(eventNames)];
  memcpy(names, eventNames, sizeof(names));
  if ((block.flags & QRT_XML_EBCDIC_EVENTS) != 0) {
    int32_t room = sizeof(names);
    qrtUniAtoE(eventNames, sizeof(eventNames), names, &room);
  }
  block.eventNames = names;
  block.ccsid = resolveCcsid(block.ccsid);
  block.code = runParse(block);
  *block.codeRegister = block.code;
  *block.returnRegister = block.code == 0 ? 0 : 2;
  leave(block);
  return block.code;
}

}  // namespace qrt::xml
