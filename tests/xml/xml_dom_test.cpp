// The records of DOMPARSE, and documents from files.
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <random>

#include "xml/documents.h"

using namespace qrt::test;

namespace {

// A document's records as one text: (name @attribute[value nodes] {content nodes} children), and in front of
// it what stands outside of the root.
class Tree {
 public:
  int32_t code = -1;

  explicit Tree(std::string_view text, const Encoding& encoding = singleByte, const char* strip = "n")
      : page(encoding.name), wide(encoding.unit == 2), copy(text) {
    int32_t info;
    EXPECT_EQ(PASSXML(nullptr, &parser, 1, &info, nullptr, copy.data(), static_cast<int32_t>(copy.size()),
                      encoding.ccsid, 0),
              0);
    code = DOMPARSE(parser, &document, &elements, &attributes, &nodes, strip);
  }
  ~Tree() { EXPECT_EQ(RLSEDOC(parser), 0); }
  Tree(const Tree&) = delete;
  Tree& operator=(const Tree&) = delete;

  const QrtXmlElement& element(int32_t index) const { return elements[index - 1]; }

  std::string all() const {
    const auto* header = static_cast<const QrtXmlDocument*>(document);
    const auto* wideHeader = static_cast<const QrtXmlDocument16*>(document);
    EXPECT_EQ(document, parser);
    std::string text =
        slice(header->version, header->versionLength) + slice(header->encoding, header->encodingLength) +
        slice(header->standalone, header->standaloneLength) + slice(header->doctype, header->doctypeLength);
    text += wide ? chain(wideHeader->documentNodes, wideHeader->documentNodeCount)
                 : chain(header->documentNodes, header->documentNodeCount);
    put(text, wide ? wideHeader->root : header->root, 0, 0);
    return text;
  }

 private:
  const char* page;
  bool wide;
  std::string copy;
  void *parser = nullptr, *document = nullptr, *nodes = nullptr;
  QrtXmlElement* elements = nullptr;
  QrtXmlAttribute* attributes = nullptr;

  std::string slice(const void* text, int32_t units) const {
    const std::string raw(static_cast<const char*>(text), static_cast<size_t>(wide ? 2 * units : units));
    return units > 0 && page != singleByte.name ? inEncoding(toUnits(raw, page), "UTF-8") : raw;
  }

  std::string chain(uint16_t index, int32_t count) const {
    std::string text = "{";
    for (; index != 0; --count) {
      const auto& node = static_cast<const QrtXmlNode*>(nodes)[index - 1];
      const auto& wideNode = static_cast<const QrtXmlNode16*>(nodes)[index - 1];
      text += node.kind + (node.text != nullptr ? slice(node.text, node.textLength)
                                                : std::to_string(wide ? wideNode.character : node.character));
      text += ' ';
      index = wide ? wideNode.nextNode : node.nextNode;
    }
    EXPECT_EQ(count, 0);
    return text + "}";
  }

  // Appends the element, whose links are held against its place in the tree; its nesting stays small.
  void put(std::string& text, uint16_t index, uint16_t parent, uint16_t depth) const {
    const QrtXmlElement& element = elements[index - 1];
    EXPECT_TRUE(element.self == index && element.parent == parent && element.depth == depth &&
                element.reserved26 == 0);
    text += "(" + slice(element.name, element.nameLength);
    int32_t count = element.attributeCount;
    for (uint16_t at = element.firstAttribute; at != 0; at = attributes[at - 1].nextAttribute, --count) {
      const QrtXmlAttribute& attribute = attributes[at - 1];
      text += " @" + slice(attribute.name, attribute.nameLength) +
              chain(attribute.firstValue, attribute.valueCount);
    }
    EXPECT_EQ(count, 0);
    text += chain(element.firstContent, element.contentCount);
    count = element.childCount;
    for (uint16_t child = element.firstChild; child != 0; child = elements[child - 1].nextSibling, --count)
      put(text, child, index, static_cast<uint16_t>(depth + 1));
    EXPECT_EQ(count, 0);
    text += ")";
  }
};

constexpr const Encoding* recorded[] = {&singleByte, &ebcdic, &utf16};

TEST(Dom, RecordsAreLinked) {
  const struct {
    const char *document, *tree, *strip = "n";
  } rows[] = {
      {"<a><b/><c/></a>", "{}(a{}(b{})(c{}))"},
      {"<?xml version='1' standalone='yes'?><!--c--><?p?><!DOCTYPE a [<!ENTITY b ''>]><a/><?q r s?> <!--d-->",
       "1yes<!DOCTYPE a [<!ENTITY b ''>]>{Cc Pp S Pq Sr s Cd }(a{})"},
      {"<a b='' c='x&lt;&#1041;&d;y' d='1'>t&gt;u<b/>&#65;&e;<![CDATA[]]>v<![CDATA[w]]><!--c--></a>",
       "{}(a @b{T } @c{Tx Q60 R17 Ud Ty } @d{T1 }{Tt Q62 Tu R65 Ue Tv Dw Cc }(b{}))"},
      {"<a> <b> x </b>\n<![CDATA[ ]]><![CDATA[ y]]>\t</a>", "{}(a{D y }(b{T x  }))", "Y"},
      {"<a> <b/></a>", "{}(a{T  }(b{}))", "N"}};
  for (const auto& row : rows)
    for (const Encoding* encoding : recorded) {
      const Tree tree(inEncoding(row.document, *encoding), *encoding, row.strip);
      ASSERT_EQ(tree.code, 0) << row.document;
      std::string expected = row.tree;
      const bool isPage = encoding->unit == 1;
      if (const size_t at = expected.find("R17"); at != expected.npos && !isPage)
        expected.replace(at, 3, "R1041");
      if (encoding == &ebcdic)
        for (const auto& [plain, own] : {std::pair("Q60", "Q76"), std::pair("Q62", "Q110")})
          if (const size_t at = expected.find(plain); at != expected.npos) expected.replace(at, 3, own);
      EXPECT_EQ(tree.all(), expected) << encoding->name;
    }
}

// A random document, written and as the text that its records should give.
struct RandomDocument {
  std::mt19937 random;
  size_t left;  // elements that may still come
  std::string document, tree;

  bool once(uint32_t in) { return random() % in == 0; }

  void element(int32_t depth) {
    const std::string name = "n" + std::to_string(random() % 100);
    document += "<" + name;
    tree += "(" + name;
    for (uint32_t count = random() % 4, number = 0; number < count; ++number) {
      const std::string attribute = "a" + std::to_string(number);
      document += " " + attribute + "='v&#7" + std::to_string(number) + ";'";
      tree += " @" + attribute + "{Tv R7" + std::to_string(number) + " }";
    }
    document += ">";
    tree += "{";
    std::string children;
    bool wasText = false;
    for (uint32_t count = random() % 12; count > 0; --count) {
      if (left > 0 && depth < 100 && once(2)) {
        --left;
        std::swap(tree, children);
        element(depth + 1);
        std::swap(tree, children);
        wasText = false;
      } else if (once(2)) {
        document += "&amp;";
        tree += "Q38 ";
        wasText = false;
      } else if (!wasText) {
        document += "text]";
        tree += "Ttext] ";
        wasText = true;
      }
    }
    document += "</" + name + ">";
    tree += "}" + children + ")";
  }
};

TEST(Dom, BuildsRandomTrees) {
  for (uint32_t seed = 1; seed <= 60; ++seed) {
    RandomDocument made{std::mt19937(seed), seed * 50, "<all>", "{}(all{}"};
    while (made.left > 0) {
      --made.left;
      made.element(1);
    }
    made.document += "</all>";
    const Encoding& encoding = *recorded[seed % 2 * 2];
    const Tree tree(inEncoding(made.document, encoding), encoding);
    ASSERT_EQ(tree.code, 0);
    EXPECT_EQ(tree.all(), made.tree + ")") << seed;
  }
}

TEST(Dom, HasLimits) {
  const auto repeated = [](std::string_view part, size_t count) {
    std::string text;
    while (count-- > 0) text += part;
    return text;
  };
  const auto nested = [&](size_t levels) { return repeated("<a>", levels) + repeated("</a>", levels); };
  const Tree deepest(nested(129));
  EXPECT_EQ(deepest.code, 0);
  EXPECT_EQ(deepest.element(129).depth, 128);
  EXPECT_EQ(deepest.element(128).firstChild, 129);
  EXPECT_EQ(Tree(nested(130)).code, 115);

  const auto inRoot = [](const std::string& content) { return "<a>" + content + "</a>"; };
  const Tree full(inRoot(repeated("<b/>", 65534)));
  EXPECT_EQ(full.code, 0);
  EXPECT_EQ(full.element(65535).parent, 1);
  EXPECT_EQ(Tree(inRoot(repeated("<b/>", 65535))).code, 543);
  EXPECT_EQ(Tree(inRoot(repeated("<b c='' d='' e=''/>", 21846))).code, 546);
  EXPECT_EQ(Tree(inRoot(repeated("&lt;", 65536))).code, 549);

  EXPECT_EQ(Tree("<a/>", singleByte, "?").code, 541);
  EXPECT_EQ(Tree("<a/>", utf8).code, 0);
  EXPECT_EQ(Tree("<a>\x01</a>").code, 6);
  EXPECT_EQ(Tree("x<a/>").code, 317);
  EXPECT_EQ(Tree("<?xml version='1' encoding='QMC-850'?><a/>").all(),
            "1QMC-850{}(a{})");  // the caller's page stands
}

TEST(Dom, SurvivesMissingStorage) {
  if (!canFailAllocations) return;
  std::string document = "<a>";
  for (int32_t number = 0; number < 400; ++number) document += "<b c='1'>t&lt;u</b>";
  document += "</a>";
  EXPECT_EQ(Tree(document).code, 0);  // converters that stay cached are loaded
  std::vector<int32_t> codes = resultsShortOfMemory([&] {
    void *parser = nullptr, *header, *nodes;
    QrtXmlElement* elements;
    QrtXmlAttribute* attributes;
    int32_t info;
    int32_t code = PASSXML(nullptr, &parser, 1, &info, nullptr, document.data(),
                           static_cast<int32_t>(document.size()), 819, 0);
    if (code == 0) code = DOMPARSE(parser, &header, &elements, &attributes, &nodes, "y");
    EXPECT_TRUE(parser != nullptr || code == 500);
    if (parser != nullptr) RLSEDOC(parser);
    return code;
  });
  EXPECT_EQ(codes.back(), 0);
  std::erase(codes, 0);
  EXPECT_EQ(codes, (std::vector<int32_t>{500, 542, 542, 545, 548, 500, 543, 546, 549}));
}

// ---- Files

TEST(LoadXml, ReadsFiles) {
  char folder[] = "/tmp/qrt-xml-XXXXXX";
  ASSERT_NE(mkdtemp(folder), nullptr);
  const auto file = [&](const char* name, std::string_view text) {
    const std::string path = std::string(folder) + "/" + name;
    const int to = open(path.c_str(), O_WRONLY | O_CREAT, 0600);
    EXPECT_EQ(write(to, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    close(to);
    return path;
  };
  const std::string good = file("good.xml", "<a>x</a>"), small = file("small.xml", "<a>");
  const struct {
    std::string uri;
    int32_t count, kind, code;
  } rows[] = {{"file://" + good, 1, 2, 0},
              {"FiLe://" + good, 1, 2, 0},
              {"file://" + good, 2, 2, 522},
              {"file://" + good, 1, 0, 527},
              {"http://" + good, 1, 2, 525},
              {"ftp://" + good, 1, 2, 525},
              {good, 1, 2, 525},
              {"file", 1, 2, 523},
              {"file://", 1, 2, 523},
              {"file://" + good + "x", 1, 2, 523},
              {"file://" + small, 1, 2, 526}};
  for (const auto& row : rows) {
    Events events{819};
    const std::array<void*, 25> table = Events::handlers(QRT_XML_SPLIT_TABLE);
    void* parser = &events;
    int32_t info = 0;
    EXPECT_EQ(LOADXML(&events, &parser, row.count, &info, table.data(), row.uri.c_str(), 819, row.kind),
              row.code)
        << row.uri;
    EXPECT_EQ(info, 3);
    EXPECT_EQ(parser == nullptr, row.code != 0);
    if (parser == nullptr) continue;
    RLSEDOC(parser);
    ASSERT_EQ(LOADXML(&events, &parser, 1, &info, nullptr, row.uri.c_str(), 819, 0), 0);
    void *header, *nodes;
    QrtXmlElement* elements;
    QrtXmlAttribute* attributes;
    EXPECT_EQ(DOMPARSE(parser, &header, &elements, &attributes, &nodes, "n"), 0);
    EXPECT_EQ(memcmp(static_cast<QrtXmlNode*>(nodes)->text, "x</a>", 5), 0);
    RLSEDOC(parser);
  }
  for (const std::string& path : {good, small}) unlink(path.c_str());
  rmdir(folder);
}

}  // namespace
