// DOMPARSE: handlers of the scanner's events that build element, attribute and node records, linked by 16-bit
// indexes.
#include "xml/dom.h"

#include <string.h>

#include <algorithm>
#include <new>
#include <type_traits>

namespace qrt::xml {
namespace {

constexpr int32_t deepest = 129;  // open elements
constexpr int32_t tooDeep = 115;
constexpr int32_t badStrip = 541;
constexpr uint32_t mostRecords = 65535;

// A table of one block, and of all that indexes can tell once that is full: pages that are never reached cost
// nothing, moves do. Record 0 is never used.
template <typename Record>
struct Table {
  Record* records;
  uint32_t used;  // record 0 included
  uint32_t capacity;

  // Room for one more record; false when there is none.
  bool makeRoom() { return used < capacity || (used <= mostRecords && enlarge(mostRecords + 1)); }

  bool enlarge(uint32_t larger) {
    auto* const grown = static_cast<Record*>(_qrtCheckMalloc(larger * sizeof(Record)));
    if (grown == nullptr) return false;
    if (used != 0) memcpy(grown, records, used * sizeof(Record));
    _qrtCheckFree(records);
    records = grown;
    capacity = larger;
    return true;
  }
};

}  // namespace

struct DomTables {
  Table<QrtXmlElement> elements;
  Table<QrtXmlAttribute> attributes;
  Table<QrtXmlNode> nodes;
  uint16_t open[deepest];         // elements
  uint16_t lastContent[deepest];  // of each
  int32_t top;
  uint16_t depth;
  bool documentLevel;  // outside of the root
  bool stripWhite;
  uint8_t lastEvent;
  uint16_t lastAttribute, lastValue, lastDocumentNode;
};

namespace {

// The two forms of nodes are of one size; these give the fields that lie elsewhere.
struct NarrowForm {
  using Unit = uint8_t;
  static QrtXmlDocument& header(Parser& parser) { return parser.header; }
  static void link(QrtXmlNode& node, uint16_t next) { node.nextNode = next; }
  static void setCharacter(QrtXmlNode& node, uint32_t character) {
    node.character = static_cast<uint8_t>(character);
  }
};

struct WideForm {
  typedef uint16_t Unit __attribute__((aligned(1)));
  static QrtXmlDocument16& header(Parser& parser) { return parser.wideHeader; }
  static QrtXmlNode16& wide(QrtXmlNode& node) { return reinterpret_cast<QrtXmlNode16&>(node); }
  static void link(QrtXmlNode& node, uint16_t next) { wide(node).nextNode = next; }
  static void setCharacter(QrtXmlNode& node, uint32_t character) {
    wide(node).character = static_cast<uint16_t>(character);
  }
};

[[noreturn]] void stop(Parser& parser, int32_t code) {
  parser.result = code;
  parser.stateFlags |= isStopped;
  qrtLongJump(&parser.jump, 1);
  __builtin_unreachable();
}

// A record at the end of the table, and its index.
template <typename Record>
uint16_t add(Parser& parser, Table<Record>& table, int32_t code) {
  if (!table.makeRoom()) stop(parser, code);
  return static_cast<uint16_t>(table.used++);
}

constexpr int32_t elementsDontGrow = 543, attributesDontGrow = 546, nodesDontGrow = 549;

template <typename Form>
struct Builder {
  static Parser& parserOf(void* user) { return *static_cast<Parser*>(user); }

  static DomTables& noted(Parser& parser, Slot event) {
    parser.tables->lastEvent = event;
    return *parser.tables;
  }

  static uint16_t addNode(Parser& parser, char kind, const void* text, int32_t length) {
    DomTables& tables = *parser.tables;
    const uint16_t index = add(parser, tables.nodes, nodesDontGrow);
    QrtXmlNode& node = tables.nodes.records[index];
    node = {};
    node.text = text;
    node.textLength = static_cast<uint16_t>(length);
    node.kind = kind;
    return index;
  }

  static uint16_t addCharacter(Parser& parser, char kind, uint32_t character) {
    const uint16_t index = addNode(parser, kind, nullptr, 0);
    Form::setCharacter(parser.tables->nodes.records[index], character);
    return index;
  }

  // Puts a node behind the last one of a chain whose first is `first`.
  static void chain(DomTables& tables, uint16_t& first, uint16_t& count, uint16_t& last, uint16_t index) {
    if (first == 0)
      first = index;
    else
      Form::link(tables.nodes.records[last], index);
    last = index;
    ++count;
  }

  static void toContent(Parser& parser, uint16_t index) {
    DomTables& tables = *parser.tables;
    if (tables.documentLevel) {
      auto& header = Form::header(parser);
      return chain(tables, header.documentNodes, header.documentNodeCount, tables.lastDocumentNode, index);
    }
    QrtXmlElement& element = tables.elements.records[tables.open[tables.top]];
    chain(tables, element.firstContent, element.contentCount, tables.lastContent[tables.top], index);
  }

  static void toValue(Parser& parser, uint16_t index) {
    DomTables& tables = *parser.tables;
    QrtXmlAttribute& attribute = tables.attributes.records[tables.lastAttribute];
    chain(tables, attribute.firstValue, attribute.valueCount, tables.lastValue, index);
  }

  // ---- Handlers

  static int32_t start(void* user, const void*, int32_t) {
    DomTables& tables = noted(parserOf(user), startOfDocument);
    tables.documentLevel = true;
    tables.top = 0;
    tables.depth = 0;
    return 0;
  }

  template <Slot slot>
  static int32_t headerText(void* user, const void* text, int32_t length) {
    Parser& parser = parserOf(user);
    noted(parser, slot);
    auto& header = Form::header(parser);
    const auto bytes = static_cast<uint16_t>(length);
    switch (slot) {
      case versionValue:
        header.version = text, header.versionLength = bytes;
        break;
      case encodingValue:
        header.encoding = text, header.encodingLength = bytes;
        break;
      case standaloneValue:
        header.standalone = text, header.standaloneLength = bytes;
        break;
      default:
        header.doctype = text, header.doctypeLength = bytes;
        break;
    }
    return 0;
  }

  static int32_t element(void* user, const void* name, int32_t length) {
    Parser& parser = parserOf(user);
    DomTables& tables = noted(parser, startOfElement);
    if (!tables.documentLevel && tables.top == deepest - 1) stop(parser, tooDeep);
    const uint16_t index = add(parser, tables.elements, elementsDontGrow);
    QrtXmlElement& element = tables.elements.records[index];
    element = {};
    element.name = name;
    element.nameLength = static_cast<uint16_t>(length);
    element.depth = tables.depth++;
    element.self = index;
    auto& header = Form::header(parser);
    if (tables.documentLevel) {
      header.root = index;
      tables.documentLevel = false;
    } else {
      ++tables.top;
    }
    tables.open[tables.top] = index;
    tables.lastContent[tables.top] = 0;
    tables.lastAttribute = 0;
    ++header.elementCount;
    return 0;
  }

  static int32_t attribute(void* user, const void* name, int32_t length) {
    Parser& parser = parserOf(user);
    DomTables& tables = noted(parser, attributeName);
    const uint16_t index = add(parser, tables.attributes, attributesDontGrow);
    QrtXmlAttribute& attribute = tables.attributes.records[index];
    attribute = {};
    attribute.name = name;
    attribute.nameLength = static_cast<uint16_t>(length);
    QrtXmlElement& element = tables.elements.records[tables.open[tables.top]];
    if (element.firstAttribute == 0)
      element.firstAttribute = index;
    else
      tables.attributes.records[tables.lastAttribute].nextAttribute = index;
    ++element.attributeCount;
    tables.lastAttribute = index;
    return 0;
  }

  static int32_t valueText(void* user, const void* text, int32_t length) {
    Parser& parser = parserOf(user);
    noted(parser, attributeText);
    toValue(parser, addNode(parser, QRT_XML_TEXT, text, length));
    return 0;
  }

  template <Slot slot, char kind>
  static int32_t character(void* user, uint32_t value) {
    Parser& parser = parserOf(user);
    noted(parser, slot);
    const uint16_t index = addCharacter(parser, kind, value);
    slot == attributeEntity || slot == attributeReference ? toValue(parser, index) : toContent(parser, index);
    return 0;
  }

  static int32_t elementEnd(void* user, const void*, int32_t) {
    DomTables& tables = noted(parserOf(user), endOfElement);
    if (tables.top == 0)
      tables.documentLevel = true;
    else
      --tables.top;
    --tables.depth;
    return 0;
  }

  template <Slot slot>
  static int32_t marker(void* user, const void*, int32_t) {
    noted(parserOf(user), slot);
    return 0;
  }

  static bool isWhite(const Parser& parser, const void* text, int32_t length) {
    const auto* const units = static_cast<const typename Form::Unit*>(text);
    const uint8_t* const classes = sizeof(*units) == 1 ? parser.lexClass : lexClasses.data();
    for (int32_t at = 0; at < length; ++at)
      if (classes[units[at]] != whiteSpace) return false;
    return true;
  }

  static int32_t content(void* user, const void* text, int32_t length) {
    Parser& parser = parserOf(user);
    DomTables& tables = *parser.tables;
    const char kind = tables.lastEvent == startOfCdata ? QRT_XML_CDATA : QRT_XML_TEXT;
    tables.lastEvent = contentText;
    if (!tables.stripWhite || !isWhite(parser, text, length))
      toContent(parser, addNode(parser, kind, text, length));
    return 0;
  }

  static int32_t processingInstruction(void* user, const void* target, int32_t targetLength, const void* data,
                                       int32_t dataLength) {
    Parser& parser = parserOf(user);
    noted(parser, instruction);
    toContent(parser, addNode(parser, QRT_XML_INSTRUCTION_TARGET, target, targetLength));
    toContent(parser, addNode(parser, QRT_XML_INSTRUCTION_DATA, data, dataLength));
    return 0;
  }

  template <Slot slot, char kind>
  static int32_t contentNode(void* user, const void* text, int32_t length) {
    Parser& parser = parserOf(user);
    noted(parser, slot);
    toContent(parser, addNode(parser, kind, text, length));
    return 0;
  }

  static int32_t valueReference(void* user, const void* name, int32_t length) {
    Parser& parser = parserOf(user);
    noted(parser, unknownInAttribute);
    toValue(parser, addNode(parser, QRT_XML_UNKNOWN_REFERENCE, name, length));
    return 0;
  }

  static int32_t exceptionMet(void*, const void*, int32_t, int32_t code) {
    constexpr int32_t lastWarning = 18;
    return code >= 1 && code <= lastWarning ? -1 : 0;
  }

  // Elements stand in document order, so that depths tell parents and siblings.
  static int32_t linkElements(void* user) {
    Parser& parser = parserOf(user);
    DomTables& tables = noted(parser, endOfDocument);
    QrtXmlElement* const elements = tables.elements.records;
    uint16_t last[deepest + 1] = {};  // element of each depth, of the path to the current one
    for (uint32_t index = 1; index < tables.elements.used; ++index) {
      QrtXmlElement& element = elements[index];
      const uint16_t before = last[element.depth];
      last[element.depth] = static_cast<uint16_t>(index);
      last[element.depth + 1] = 0;
      if (element.depth == 0) continue;
      element.parent = last[element.depth - 1];
      QrtXmlElement& parent = elements[element.parent];
      if (before == 0)
        parent.firstChild = static_cast<uint16_t>(index);
      else
        elements[before].nextSibling = static_cast<uint16_t>(index);
      ++parent.childCount;
    }
    tables.depth = 0;
    return 0;
  }

  static void setHandlers(Parser& parser) {
    const auto set = [&](Slot slot, auto* handler) {
      parser.handlers[slot] = reinterpret_cast<void*>(handler);
    };
    set(startOfDocument, start);
    set(versionValue, headerText<versionValue>);
    set(encodingValue, headerText<encodingValue>);
    set(standaloneValue, headerText<standaloneValue>);
    set(documentType, headerText<documentType>);
    set(endOfDocument, linkElements);
    set(startOfElement, element);
    set(attributeName, attribute);
    set(attributeText, valueText);
    set(attributeEntity, character<attributeEntity, QRT_XML_ENTITY>);
    set(attributeReference, character<attributeReference, QRT_XML_REFERENCE>);
    set(endOfElement, elementEnd);
    set(startOfCdata, marker<startOfCdata>);
    set(endOfCdata, marker<endOfCdata>);
    set(contentText, content);
    set(contentEntity, character<contentEntity, QRT_XML_ENTITY>);
    set(contentReference, character<contentReference, QRT_XML_REFERENCE>);
    set(instruction, processingInstruction);
    set(comment, contentNode<comment, QRT_XML_COMMENT>);
    set(unknownInAttribute, valueReference);
    set(unknownInContent, contentNode<unknownInContent, QRT_XML_UNKNOWN_REFERENCE>);
    set(exception, exceptionMet);
    parser.modeFlags &= static_cast<uint8_t>(~hasSplitInstruction);
    fillHandlers(parser);
  }
};

template <typename Record>
bool makeFirst(Table<Record>& table, int32_t length, uint32_t least) {
  const uint32_t block = std::clamp(static_cast<uint32_t>(length) / 80, least, mostRecords + 1);
  if (!table.enlarge(block)) return false;
  table.records[0] = {};
  table.used = 1;
  return true;
}

// 0, or the code of the table that can't be made.
int32_t makeTables(Parser& parser) {
  constexpr uint32_t leastElements = 250, leastNodes = 1000;
  freeTables(parser);
  void* const block = _qrtCheckMalloc(sizeof(DomTables));
  if (block == nullptr) return 542;
  parser.tables = new (block) DomTables{};
  if (!makeFirst(parser.tables->elements, parser.length, leastElements)) return 542;
  if (!makeFirst(parser.tables->attributes, parser.length, leastElements)) return 545;
  return makeFirst(parser.tables->nodes, parser.length, leastNodes) ? 0 : 548;
}

}  // namespace

void freeTables(Parser& parser) {
  DomTables* const tables = parser.tables;
  if (tables == nullptr) return;
  _qrtCheckFree(tables->elements.records);
  _qrtCheckFree(tables->attributes.records);
  _qrtCheckFree(tables->nodes.records);
  _qrtCheckFree(tables);
  parser.tables = nullptr;
}

}  // namespace qrt::xml

int32_t DOMPARSE(void* handle, void** document, QrtXmlElement** elements, QrtXmlAttribute** attributes,
                 void** nodes, const char* strip) {
  using namespace qrt::xml;
  Parser& parser = *static_cast<Parser*>(handle);
  const char letter = *strip;
  const bool strips = letter == 'y' || letter == 'Y';
  if (!strips && letter != 'n' && letter != 'N') return badStrip;
  parser.dom = 1;
  parser.user = &parser;
  Builder<NarrowForm>::setHandlers(parser);  // the encoding step asks one of them
  parser.stateFlags &= static_cast<uint8_t>(~isStopped);
  parser.result = 0;
  if (const int32_t code = settleEncoding(parser); code != 0) return code;
  if (parser.scanner == ScannerKind::utf8) return 0;
  if (const int32_t code = makeTables(parser); code != 0) return code;
  parser.tables->stripWhite = strips;
  if (parser.scanner == ScannerKind::utf16) Builder<WideForm>::setHandlers(parser);
  if (qrtSetJump(&parser.jump) != 0) return parser.result;
  prepareScan(parser);
  scanDocument(parser);
  *document = &parser;
  *elements = parser.tables->elements.records + 1;
  *attributes = parser.tables->attributes.records + 1;
  *nodes = parser.tables->nodes.records + 1;
  return parser.result;
}
