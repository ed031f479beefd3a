// The life of a parser: PASSXML, LOADXML, SAXPARSE, RLSEDOC.
#include <ctype.h>
#include <stdio.h>
#include <string.h>

#include <new>

#include "platform/paths.h"
#include "xml/dom.h"
#include "xml/parser.h"

namespace qrt::xml {
namespace {

constexpr int32_t simpleTableSize = 24;

// Codes of the two operations that make a parser.
struct MakeCodes {
  int32_t noStorage, badCount, badTable;
};
constexpr MakeCodes ofPassing = {500, 502, 503}, ofLoading = {520, 522, 527};

struct Request {
  void* user;
  int32_t handlerCount;
  void* const* handlers;
  int32_t ccsid;
  int32_t tableKind;
};

void takeSplitTable(Parser& parser, void* const* handlers) {
  const auto orNothing = [](void* handler) {
    return handler != nullptr ? reinterpret_cast<TextHandler>(handler) : answerNothing;
  };
  for (int32_t slot = 0; slot < instruction; ++slot) parser.handlers[slot] = handlers[slot];
  parser.instructionTarget = orNothing(handlers[instruction]);
  parser.instructionData = orNothing(handlers[instruction + 1]);
  for (int32_t slot = comment; slot < slotCount; ++slot) parser.handlers[slot] = handlers[slot + 1];
  parser.modeFlags |= hasSplitInstruction;
}

int32_t takeHandlers(Parser& parser, const Request& request, const MakeCodes& codes) {
  if (request.handlers == nullptr) return 0;
  if (request.handlerCount != 1) return codes.badCount;
  if (request.tableKind == QRT_XML_SPLIT_TABLE)
    takeSplitTable(parser, request.handlers);
  else if (request.tableKind == QRT_XML_SIMPLE_TABLE)
    memcpy(parser.handlers, request.handlers, simpleTableSize * sizeof(void*));
  else
    return codes.badTable;
  for (int32_t slot = 0; slot < slotCount; ++slot)
    if (parser.handlers[slot] == nullptr &&
        !(slot == instruction && (parser.modeFlags & hasSplitInstruction) != 0))
      parser.stateFlags |= handlerIsMissing;
  parser.stateFlags |= handlersAreSet;
  return 0;
}

// A parser without a document; 0, or a code and none.
int32_t makeParser(const Request& request, const MakeCodes& codes, Parser*& parser) {
  parser = nullptr;
  void* const block = _qrtCheckMalloc(sizeof(Parser));
  if (block == nullptr) return codes.noStorage;
  parser = new (block) Parser{};
  parser->ccsid = request.ccsid;
  parser->user = request.user;
  const int32_t failure = takeHandlers(*parser, request, codes);
  if (failure == 0) return 0;
  _qrtCheckFree(parser);
  parser = nullptr;
  return failure;
}

void takeDocument(Parser& parser, const void* document, int32_t length) {
  parser.document = parser.documentStart = static_cast<const uint8_t*>(document);
  parser.length = length;
}

// The stream of the file that a URI names; 0, 523 or 525.
int32_t openUri(const char* uri, FILE*& file) {
  constexpr char scheme[] = "file";
  constexpr size_t schemeLength = sizeof(scheme) - 1, beginning = 7;
  for (size_t at = 0; at < schemeLength; ++at)
    if (tolower(static_cast<unsigned char>(uri[at])) != scheme[at]) return 525;
  file = strlen(uri) > beginning ? platform::openStream(uri + beginning, "rb") : nullptr;
  return file != nullptr ? 0 : 523;
}

// Reads the whole file into a buffer of the parser's.
int32_t readFile(Parser& parser, FILE* file) {
  constexpr long shortest = 4;
  if (fseek(file, 0, SEEK_END) != 0) return 523;
  const long size = ftell(file);
  rewind(file);
  if (size < shortest) return 526;
  void* const buffer = _qrtCheckMalloc(static_cast<uint32_t>(size));
  if (buffer == nullptr) return 524;
  takeDocument(parser, buffer, static_cast<int32_t>(fread(buffer, 1, static_cast<size_t>(size), file)));
  return 0;
}

}  // namespace
}  // namespace qrt::xml

using qrt::xml::Parser;

int32_t PASSXML(void* user, void** handle, int32_t handlerCount, int32_t* info, void* const* handlers,
                const void* document, int32_t length, int32_t ccsid, int32_t tableKind) {
  using namespace qrt::xml;
  *info = 3;
  Parser* parser;
  const int32_t failure = makeParser({user, handlerCount, handlers, ccsid, tableKind}, ofPassing, parser);
  *handle = parser;
  if (failure != 0) return failure;
  takeDocument(*parser, document, length);
  parser->stateFlags |= isntOwner;
  return 0;
}

int32_t LOADXML(void* user, void** handle, int32_t handlerCount, int32_t* info, void* const* handlers,
                const char* uri, int32_t ccsid, int32_t tableKind) {
  using namespace qrt::xml;
  *info = 3;
  Parser* parser;
  int32_t failure = makeParser({user, handlerCount, handlers, ccsid, tableKind}, ofLoading, parser);
  *handle = parser;
  if (failure != 0) return failure;
  FILE* file = nullptr;
  failure = openUri(uri, file);
  if (failure == 0) failure = readFile(*parser, file);
  if (file != nullptr) fclose(file);
  if (failure == 0) return 0;
  RLSEDOC(parser);
  *handle = nullptr;
  return failure;
}

int32_t SAXPARSE(void* handle) {
  using namespace qrt::xml;
  constexpr int32_t noHandlers = 561;
  Parser& parser = *static_cast<Parser*>(handle);
  if ((parser.stateFlags & handlersAreSet) == 0) return noHandlers;
  parser.dom = 0;
  fillHandlers(parser);
  parser.stateFlags &= static_cast<uint8_t>(~isStopped);
  parser.result = 0;
  if (const int32_t code = settleEncoding(parser); code != 0) return code;
  if (qrtSetJump(&parser.jump) != 0) return parser.result;
  prepareScan(parser);
  scanDocument(parser);
  return parser.result;
}

int32_t RLSEDOC(void* handle) {
  using namespace qrt::xml;
  Parser& parser = *static_cast<Parser*>(handle);
  if ((parser.stateFlags & isntOwner) == 0) _qrtCheckFree(const_cast<uint8_t*>(parser.documentStart));
  freeTables(parser);
  _qrtCheckFree(parser.openNames);
  _qrtCheckFree(&parser);
  return 0;
}
