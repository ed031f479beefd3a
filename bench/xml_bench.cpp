// XML parsing of a document with much markup and of one that is nearly pure text, beside RapidXML's parse
// that leaves the document as it is.
#include <benchmark/benchmark.h>
#include <qrtrlib.h>
#include <stdio.h>
#include <string.h>

#include <array>
#include <string>

#define RAPIDXML_NO_EXCEPTIONS
#include <rapidxml/rapidxml.hpp>

namespace {

constexpr size_t documentSize = 10'000'000, treeSize = 1'000'000;
constexpr int32_t windowsCcsid = 1252, utf8Ccsid = 1208, utf16Ccsid = 1202;

// ---- Documents

void putEscaped(std::string& to, const char* text, size_t length) {
  for (size_t at = 0; at < length; ++at) {
    const char character = text[at];
    if (character == '&')
      to += "&amp;";
    else if (character == '<')
      to += "&lt;";
    else
      to += static_cast<unsigned char>(character) < 0x80 ? character : '?';
  }
}

std::string fileText(const char* path) {
  std::string text;
  if (FILE* const file = fopen(path, "rb")) {
    char buffer[65536];
    for (size_t count; (count = fread(buffer, 1, sizeof(buffer), file)) > 0;) text.append(buffer, count);
    fclose(file);
  }
  if (!text.empty() && text.back() != '\n') text += '\n';
  return text;
}

// The records of the main job's data as elements: some columns are attributes, the others children.
std::string recordDocument(size_t size) {
  const std::string data = fileText(QRT_SOURCE_DIRECTORY "/samples/strikes/strikes.csv");
  constexpr const char* names[] = {"airport", "aircraft", "damage", "date",  "operator", "state", "phase",
                                   "size",    "species",  "time",   "other", "repair",   "total", "speed"};
  constexpr size_t attributes = 4;
  std::string document = "<?xml version=\"1.0\"?>\n<strikes>\n";
  size_t at = data.find('\n') + 1;
  while (document.size() < size && !data.empty()) {
    if (at >= data.size()) at = data.find('\n') + 1;
    document += "  <strike";
    for (size_t column = 0; column < std::size(names); ++column) {
      const size_t end = data.find_first_of(",\n", at);
      const bool isAttribute = column < attributes;
      document +=
          isAttribute ? std::string(" ") + names[column] + "=\"" : std::string("    <") + names[column] + ">";
      putEscaped(document, &data[at], end - at);
      document += isAttribute ? std::string("\"") : std::string("</") + names[column] + ">\n";
      if (column + 1 == attributes) document += ">\n";
      at = end + 1;
    }
    document += "  </strike>\n";
  }
  return document + "</strikes>\n";
}

std::string textDocument(size_t size) {
  const std::string data = fileText(QRT_SOURCE_DIRECTORY "/samples/strikes/strikes.csv");
  std::string document = "<text>";
  while (document.size() < size && !data.empty()) putEscaped(document, data.data(), data.size());
  return document + "</text>\n";
}

const std::string& documentOf(int64_t number) {
  static const std::string documents[] = {recordDocument(documentSize), textDocument(documentSize),
                                          recordDocument(treeSize)};
  return documents[number];
}

const std::u16string& wideDocumentOf(int64_t number) {
  static const std::u16string documents[] = {
      {documentOf(0).begin(), documentOf(0).end()}, {documentOf(1).begin(), documentOf(1).end()}, u""};
  return documents[number];
}

// ---- SAXPARSE

struct Counts {
  uint32_t events, units;
};

int32_t countText(void* user, const void*, int32_t length) {
  auto& counts = *static_cast<Counts*>(user);
  ++counts.events;
  counts.units += static_cast<uint32_t>(length);
  return 0;
}
int32_t countCharacter(void* user, uint32_t) {
  ++static_cast<Counts*>(user)->events;
  return 0;
}
int32_t countEnd(void* user) {
  ++static_cast<Counts*>(user)->events;
  return 0;
}
int32_t countException(void*, const void*, int32_t, int32_t code) {
  return code;
}

template <typename Handler>
void* address(Handler* handler) {
  return reinterpret_cast<void*>(handler);
}

void scan(benchmark::State& state, const void* document, size_t bytes, int32_t ccsid) {
  std::array<void*, 25> handlers;
  handlers.fill(address(countText));
  handlers[5] = address(countEnd);
  for (const size_t slot : {9, 10, 15, 16}) handlers[slot] = address(countCharacter);
  handlers[24] = address(countException);
  for (auto _ : state) {
    Counts counts = {};
    void* parser;
    int32_t info;
    if (PASSXML(&counts, &parser, 1, &info, handlers.data(), document, static_cast<int32_t>(bytes), ccsid,
                QRT_XML_SPLIT_TABLE) != 0 ||
        SAXPARSE(parser) != 0)
      state.SkipWithError("the document isn't accepted");
    RLSEDOC(parser);
    benchmark::DoNotOptimize(counts);
  }
}

void scanSingleByte(benchmark::State& state) {
  const std::string& document = documentOf(state.range(0));
  scan(state, document.data(), document.size(), windowsCcsid);
}
void scanUtf8(benchmark::State& state) {
  const std::string& document = documentOf(state.range(0));
  scan(state, document.data(), document.size(), utf8Ccsid);
}
void scanUtf16(benchmark::State& state) {
  const std::u16string& document = wideDocumentOf(state.range(0));
  scan(state, document.data(), document.size() * sizeof(char16_t), utf16Ccsid);
}

// ---- XML PARSE

void parseStatement(benchmark::State& state) {
  const std::string& document = documentOf(state.range(0));
  struct Program {
    QrtXmlParseBlock block{};
    uint8_t event[30]{};
    const void* text{};
    int32_t textLength{}, ntextLength{}, code{}, returned{};
  } program;
  QrtXmlParseBlock& block = program.block;
  block.document = document.data();
  block.documentLength = static_cast<int32_t>(document.size());
  block.eventRegister = program.event;
  block.textRegister = &program.text;
  block.textLengthRegister = &program.textLength;
  block.ntextLengthRegister = &program.ntextLength;
  block.codeRegister = &program.code;
  block.returnRegister = &program.returned;
  block.procedureArgument = &program;
  block.procedure = [](void* argument) { static_cast<Program*>(argument)->text = nullptr; };
  program.text = &program.text;
  for (auto _ : state) {
    block.ccsid = windowsCcsid;
    if (_qrtcXML(&block) != 0) state.SkipWithError("the document isn't accepted");
  }
}

// ---- DOMPARSE

void buildTree(benchmark::State& state) {
  const std::string& document = documentOf(state.range(0));
  for (auto _ : state) {
    void *parser, *header, *nodes;
    int32_t info;
    QrtXmlElement* elements;
    QrtXmlAttribute* attributes;
    if (PASSXML(nullptr, &parser, 1, &info, nullptr, document.data(), static_cast<int32_t>(document.size()),
                windowsCcsid, 0) != 0 ||
        DOMPARSE(parser, &header, &elements, &attributes, &nodes, "y") != 0)  // as the peer does
      state.SkipWithError("the document isn't accepted");
    RLSEDOC(parser);
  }
}

// ---- The peer

}  // namespace

// The peer's way out without exceptions.
void rapidxml::parse_error_handler(const char* what, void*) {
  fprintf(stderr, "%s\n", what);
  abort();
}

namespace {

void peer(benchmark::State& state) {
  std::string document = documentOf(state.range(0));
  for (auto _ : state) {
    rapidxml::xml_document<> tree;
    tree.parse<rapidxml::parse_non_destructive>(document.data());
    benchmark::DoNotOptimize(tree.first_node());
  }
}

constexpr int records = 0, text = 1, tree = 2;
BENCHMARK(peer)->Arg(records)->Arg(text)->Arg(tree)->Unit(benchmark::kMillisecond);
BENCHMARK(scanSingleByte)->Arg(records)->Arg(text)->Unit(benchmark::kMillisecond);
BENCHMARK(scanUtf8)->Arg(records)->Arg(text)->Unit(benchmark::kMillisecond);
BENCHMARK(scanUtf16)->Arg(records)->Arg(text)->Unit(benchmark::kMillisecond);
BENCHMARK(parseStatement)->Arg(records)->Arg(text)->Unit(benchmark::kMillisecond);
BENCHMARK(buildTree)->Arg(tree)->Unit(benchmark::kMillisecond);

}  // namespace
