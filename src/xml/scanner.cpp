// A scan of a whole document, in each width of text.
#include "xml/scan_content.h"
#include "xml/scan_elements.h"
#include "xml/scan_prolog.h"
#include "xml/scan_references.h"

namespace qrt::xml {

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
  if (parser.result != 0) unwind();
}

namespace {

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
