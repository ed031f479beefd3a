// Arbitrary documents through the parser in every width, with every kind of answer, and through DOMPARSE: all
// text that is told lies in the document, and nothing outside of it is read.
#include <qrtrlib.h>
#include <stdlib.h>
#include <string.h>

#include <array>
#include <memory>

namespace {

struct Parse {
  const uint8_t* document;
  int32_t bytes;
  uint8_t answers;  // 0 goes on after exceptions, 1 gives the code, others stop after so many events
  int32_t events;
};

void require(bool holds) {
  if (!holds) abort();
}

// In UTF-16 the length is in units, and so less than what is told.
void checkSlice(const Parse& parse, const void* text, int32_t length) {
  const auto* const at = static_cast<const uint8_t*>(text);
  require(length >= 0 && at >= parse.document && at + length <= parse.document + parse.bytes);
}

int32_t answer(Parse& parse) {
  ++parse.events;
  return parse.answers > 1 && parse.events >= parse.answers ? 1 : 0;
}

int32_t tellText(void* user, const void* text, int32_t length) {
  auto& parse = *static_cast<Parse*>(user);
  checkSlice(parse, text, length);
  return answer(parse);
}
int32_t tellCharacter(void* user, uint32_t character) {
  require(character <= 0x10FFFF);
  return answer(*static_cast<Parse*>(user));
}
int32_t tellEnd(void* user) {
  return answer(*static_cast<Parse*>(user));
}
int32_t tellPair(void* user, const void* target, int32_t targetLength, const void* data, int32_t dataLength) {
  auto& parse = *static_cast<Parse*>(user);
  checkSlice(parse, target, targetLength);
  checkSlice(parse, data, dataLength);
  return answer(parse);
}
int32_t tellException(void* user, const void* document, int32_t place, int32_t code) {
  auto& parse = *static_cast<Parse*>(user);
  require(document == parse.document && place >= 0 && place <= parse.bytes && code != 0);
  return parse.answers == 1 ? code : answer(parse);
}

template <typename Handler>
void* address(Handler* handler) {
  return reinterpret_cast<void*>(handler);
}

void scan(Parse& parse, int32_t ccsid, bool split) {
  std::array<void*, 25> handlers;
  handlers.fill(address(tellText));
  handlers[5] = address(tellEnd);
  for (const size_t slot : {9, 10, 15, 16}) handlers[slot] = address(tellCharacter);
  if (!split) handlers[17] = address(tellPair);
  handlers[split ? 24 : 23] = address(tellException);
  void* parser;
  int32_t info;
  require(PASSXML(&parse, &parser, 1, &info, handlers.data(), parse.document, parse.bytes, ccsid,
                  split ? QRT_XML_SPLIT_TABLE : QRT_XML_SIMPLE_TABLE) == 0);
  SAXPARSE(parser);
  RLSEDOC(parser);
}

// Every link leads to a later record, and every text into the document.
void build(Parse& parse, int32_t ccsid, const char* strip) {
  void *parser, *header = nullptr, *nodes;
  int32_t info;
  QrtXmlElement* elements;
  QrtXmlAttribute* attributes;
  require(PASSXML(nullptr, &parser, 1, &info, nullptr, parse.document, parse.bytes, ccsid, 0) == 0);
  if (DOMPARSE(parser, &header, &elements, &attributes, &nodes, strip) == 0 && header != nullptr) {
    const uint16_t counts[] = {static_cast<QrtXmlDocument*>(header)->elementCount,
                               static_cast<QrtXmlDocument16*>(header)->elementCount};
    const bool wide = static_cast<QrtXmlDocument16*>(header)->root == 1;
    for (int32_t at = 0; at < counts[wide]; ++at) {
      const QrtXmlElement& element = elements[at];
      checkSlice(parse, element.name, element.nameLength);
      require(element.self == at + 1 && element.parent <= at && (element.parent == 0) == (at == 0));
      require(element.nextSibling == 0 || element.nextSibling > element.self);
      require(element.firstChild == 0 || element.firstChild == element.self + 1);
    }
  }
  RLSEDOC(parser);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  constexpr int32_t pages[] = {819, 1140, 1208, 1202, 850, 273, 943, 0, 930, 1200};
  constexpr size_t settings = 2;
  if (size < settings) return 0;
  const size_t bytes = size - settings;
  const std::unique_ptr<uint8_t[]> document(new uint8_t[bytes]);
  memcpy(document.get(), data + settings, bytes);
  Parse parse{document.get(), static_cast<int32_t>(bytes), static_cast<uint8_t>(data[1] % 32), 0};
  const int32_t ccsid = pages[data[0] % std::size(pages)];
  scan(parse, ccsid, data[0] % 2 == 0);
  build(parse, ccsid, data[0] % 3 == 0 ? "y" : "n");
  return 0;
}
