// The compiler of message catalogues: what it refuses and where, and what a reader of its own finds in the
// result.

#include <fstream>
#include <map>

#include "catalogue/compile.h"

namespace {

using qrt::catalogue::Compilation;
using qrt::catalogue::compile;
using Messages = std::map<std::pair<int, int>, std::string>;

unsigned load(const std::vector<uint8_t>& image, size_t offset, size_t bytes) {
  unsigned value = 0;
  for (size_t index = bytes; index-- > 0;) value = value << 8 | image.at(offset + index);
  return value;
}

Messages readImage(const std::vector<uint8_t>& image) {
  Messages messages;
  const unsigned count = load(image, 30, 2);
  for (unsigned index = 0; index < count; ++index) {
    const size_t entry = 32 + index * 8;
    const size_t offset = load(image, entry + 4, 4);
    EXPECT_GE(offset, 32 + count * 8);
    const void* end = memchr(&image.at(offset), 0, image.size() - offset);
    EXPECT_NE(end, nullptr);
    const auto key = std::pair(int(load(image, entry, 2)), int(load(image, entry + 2, 2)));
    EXPECT_TRUE(messages.emplace(key, reinterpret_cast<const char*>(&image.at(offset))).second);
  }
  return messages;
}

TEST(CatalogueCompiler, RefusesWithTheLineAndTheReason) {
  const std::string filling(5000, 'x');
  const struct {
    std::string source;
    size_t line;
    const char* reason;
  } cases[] = {{"", 1, "no message"},
               {"1 2 good\nMessage\n", 2, "number"},
               {"1.2.3 2 a\n", 1, "blank"},
               {"65536 2 a", 1, "65535"},
               {"1.0 2 a", 1, "variant"},
               {"1 4 a", 1, "severity"},
               {"1 2 \t\r\n", 1, "severity"},
               {"1 2 a\n\n  b", 3, "continuation"},
               {"1 2 a\n# b\n1.2 2 c\n01.1 1 d", 4, "line 1"},
               {"1 2 a\n2 2 b \\t c", 2, "escape"},
               {std::string("1 2 a\n2 2 b\0c", 13), 2, "zero"},
               {std::string("1 2 a\n#\0", 8), 2, "zero"},
               {"1 2 a\n2 2 b\n  %", 2, "conversion"},
               {"1 2 %n", 1, "conversion"},
               {"1 2 %ld", 1, "conversion"},
               {"1 2 %123d", 1, "width"},
               {"1 2 %#d", 1, "flag"},
               {"1 2 %05s", 1, "flag"},
               {"1 2 %10$d", 1, "1 to 9"},
               {"1 2 %1$s %d", 1, "position"},
               {"1 2 %1$s %1$d", 1, "both"},
               {"1 2 %d%d%d%d%d%d%d%d%d%d", 1, "more than 9"},
               {"1 2 " + filling + "\n2 2 " + filling + "\n3 2 " + filling + "\n4 2 a", 3, "10480"}};
  for (const auto& item : cases) {
    SCOPED_TRACE(item.source.substr(0, 60));
    const Compilation compilation = compile(item.source);
    EXPECT_TRUE(compilation.image.empty());
    ASSERT_EQ(compilation.errors.size(), 1u);
    EXPECT_EQ(compilation.errors[0].line, item.line);
    EXPECT_NE(compilation.errors[0].text.find(item.reason), std::string::npos) << compilation.errors[0].text;
  }
}

TEST(CatalogueCompiler, JoinsAndUnescapes) {
  const Compilation compilation = compile(
      "# head\r\n\r\n65535.65535 3   a\\\\n\\n $5 \r\n\t  b %2$-8s %1$02x %1$c  \r\n0 0 last\n7.2 1 %9$+5d "
      "%1$#x");
  ASSERT_TRUE(compilation.errors.empty()) << compilation.errors[0].text;
  EXPECT_EQ(readImage(compilation.image), (Messages{{{0, 1}, "0 last"},
                                                    {{7, 2}, "1 %9$+5d %1$#x"},
                                                    {{65535, 65535}, "3 a\\n\n $5 b %2$-8s %1$02x %1$c"}}));
  const std::string full(qrt::catalogue::largestImage - 32 - 8 - 3, 'x');
  EXPECT_EQ(compile("1 2 " + full).image.size(), qrt::catalogue::largestImage);
  EXPECT_EQ(compile("1 2 x" + full).errors.size(), 1u);
}

// The values that messages are written with, the others with none: s a text, d a word. A text may show less
// of them, but a word must not be taken for a text.
const struct {
  std::string values;
  std::vector<int> messages;  // number * 100 + variant
} valuesOf[] = {{"d", {206'01, 221'01, 222'01, 223'01, 225'01, 993'01}},
                {"s",
                 {66'01, 76'01, 77'01, 97'01, 100'01, 151'01, 160'01, 161'01, 163'01, 171'01, 176'01, 177'01,
                  178'01, 180'01, 201'51}},
                {"ds", {994'01}},
                {"sd", {179'01, 200'02, 224'01, 995'02}},
                {"ss", {172'01, 174'01, 181'01, 230'01, 230'02}},
                {"dds", {152'01, 155'01, 241'01}},
                {"sdd", {26'01, 240'01}},
                {"ssd", {96'01, 96'03, 96'04, 96'05, 96'07, 173'01}},
                {"sss", {75'01}},
                {"ssdd", {182'01}},
                {"ssds", {200'01}}};

// The values that a text shows, in order of position; a blank for one that it leaves out.
std::string shownValues(const std::string& text) {
  std::string shown;
  size_t next = 0;
  for (size_t at = text.find('%'); at != std::string::npos; at = text.find('%', at + 1)) {
    const size_t position = text.compare(at + 2, 1, "$") == 0 ? text[at + 1] - '1' : next++;
    const char kind = text[text.find_first_of("diuxcs", at)];
    if (shown.size() <= position) shown.resize(position + 1, ' ');
    shown[position] = kind == 's' ? 's' : 'd';
  }
  return shown;
}

TEST(ShippedCatalogue, HasATextForEachMessageThatFitsItsValues) {
  std::ifstream file(QRT_BUILD_DIRECTORY "/share/qrtrlib/qrtremsg.cat", std::ios::binary);
  const std::vector<uint8_t> image(std::istreambuf_iterator<char>(file), {});
  ASSERT_GE(image.size(), 32u);
  EXPECT_LE(image.size(), 9900u) << "leave room for what is still to come";
  Messages messages = readImage(image);
  for (const auto& [values, keys] : valuesOf)
    for (const int key : keys) {
      const auto message = messages.extract({key / 100, key % 100});
      ASSERT_FALSE(message.empty()) << key;
      const std::string shown = shownValues(message.mapped());
      ASSERT_LE(shown.size(), values.size()) << message.mapped();
      for (size_t position = 0; position < shown.size(); ++position)
        EXPECT_TRUE(shown[position] == ' ' || shown[position] == values[position]) << message.mapped();
    }
  for (const auto& [key, text] : messages) EXPECT_EQ(shownValues(text), "") << key.first << "." << key.second;
}

}  // namespace
