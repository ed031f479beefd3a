// The parser object: a document, the tables it is read with, and the handlers that its events go to.
#pragma once

#include <cstddef>
#include <cstdint>

#include "qrtrlib.h"
#include "xml/code_pages.h"

namespace qrt::xml {

// Where the scan stands: what an early end of the document is told by.
enum ScanState : uint8_t {
  atStart = 0,
  inDeclaration = 1,
  inProlog = 2,
  atVersion = 3,
  atVersionValue = 4,
  behindVersion = 5,
  atEncodingValue = 6,
  behindEncoding = 7,
  atStandaloneValue = 8,
  atAttributeName = 9,
  atAttributeValue = 10,
  atReferenceInAttribute = 11,
  atEmptyClose = 12,
  inRootTag = 13,
  inTag = 14,
  inContent = 15,
  inInstruction = 16,
  behindExclamation = 17,
  inComment = 18,
  inCdata = 19,
  atReferenceInContent = 20,
  behindRoot = 21,
};

// Events, by their place among the handlers.
enum Slot : uint8_t {
  startOfDocument,
  versionValue,
  encodingValue,
  standaloneValue,
  documentType,
  endOfDocument,
  startOfElement,
  attributeName,
  attributeText,
  attributeEntity,
  attributeReference,
  endOfElement,
  startOfCdata,
  endOfCdata,
  contentText,
  contentEntity,
  contentReference,
  instruction,
  comment,
  unknownInAttribute,
  unknownInContent,
  reserved21,
  reserved22,
  exception,
  slotCount
};

using TextHandler = int32_t (*)(void* user, const void* text, int32_t length);
using PairHandler = int32_t (*)(void* user, const void* target, int32_t targetLength, const void* data,
                                int32_t dataLength);
using CharacterHandler = int32_t (*)(void* user, uint32_t character);
using EndHandler = int32_t (*)(void* user);
using ExceptionHandler = int32_t (*)(void* user, const void* document, int32_t place, int32_t code);

enum class ScannerKind : uint8_t { singleByte, utf8, utf16 };

// First bytes of a document, as they were told apart.
enum Detected : uint8_t {
  asciiPlain = 0,      // 7-bit text
  asciiDeclared = 1,   // begins "<?", and isn't UTF-8
  asciiOther = 2,      // isn't UTF-8
  ebcdicDeclared = 3,  // begins "<?"
  ebcdicOther = 4,
  utf8Text = 5,
  utf16BigText = 6,
  utf16LittleText = 7,
  ucs4Text = 8,
  unknownText = 9,
};

// Bits of Parser::encodingFlags.
inline constexpr uint8_t isEbcdicText = 0x04, isAsciiText = 0x08, isUtfText = 0x10, isUnknownText = 0x20,
                         hasMark = 0x40, markIsSkipped = 0x80, hasMismatch = 0x02;
// Bits of Parser::stateFlags.
inline constexpr uint8_t lengthIsNormal = 0x01, handlersAreSet = 0x02, isntOwner = 0x04, isStopped = 0x40,
                         handlerIsMissing = 0x80;
// Bit of Parser::modeFlags: a table of 25 handlers.
inline constexpr uint8_t hasSplitInstruction = 0x80;

struct DomTables;

// Zero-filled when it is made. A DOM parse hands it out as the document, whose header it starts with.
struct Parser {
  union {
    QrtXmlDocument header;
    QrtXmlDocument16 wideHeader;
  };
  const uint8_t* nameClass;  // of a byte; of a single-byte page
  const uint8_t* lexClass;
  const uint8_t* document;
  const uint8_t* cdataWord;
  const uint8_t* punct;
  const uint8_t* letters;
  uint8_t modeFlags;
  uint8_t stateFlags;
  uint8_t encodingFlags;
  Detected detected;
  ScannerKind scanner;
  uint8_t dom;
  ScanState scanState;
  bool isValidUtf8;  // the document was found to be, so that it needs no test any more
  bool isMuted;      // a warning was given: only exceptions and the end are told
  int32_t ccsid;
  int32_t length;  // bytes as passed; normalised: index of the last unit
  int32_t result;  // last exception code
  const uint8_t* documentStart;
  void* handlers[slotCount];
  TextHandler instructionTarget;
  TextHandler instructionData;
  void* user;
  QrtJumpBuffer jump;
  uint32_t* openNames;  // places and lengths of the names of open elements; grows
  int32_t openCapacity;
  DomTables* tables;
};
static_assert(sizeof(Parser) <= 892);

// Tells slot 23; returns its answer. `place` counts from the document as it was passed, 1 for its first unit.
int32_t tellException(Parser& parser, int32_t place, int32_t code);

// Settles how the document is read. 0, or the code that ends the parse.
int32_t settleEncoding(Parser& parser);

// Scans the document to its end, or unwinds to the jump buffer with the stop flag.
void scanDocument(Parser& parser);

// Length, mark and state of a parse that is about to begin.
void prepareScan(Parser& parser);

inline int32_t answerNothing(void*, const void*, int32_t) {
  return 0;
}

// Replaces null handlers by one that does nothing.
void fillHandlers(Parser& parser);

// How many bytes of well-formed UTF-8 stand at `at`; 0 for none.
int32_t utf8Length(const uint8_t* at, const uint8_t* limit);

}  // namespace qrt::xml
