// XML GENERATE: random item trees in each form of the document beside the naive generator, with outputs of
// every length; single items; how the encoding is settled; results.
#include <qrtrlib.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <filesystem>
#include <random>

#include "support/guards.h"
#include "support/process.h"
#include "support/program.h"
#include "xml/documents.h"
#include "xml/plain_generate.h"

using namespace qrt::test;
using namespace qrt::xml::plain;

namespace {

std::string bytesOf(std::u16string_view text) {
  return {reinterpret_cast<const char*>(text.data()), text.size() * 2};
}

// The form of a document, with a page whose letters are those of the text that is put in.
struct Form {
  uint8_t kind;
  const char* page;  // null for UTF-16
  std::string encode(std::u16string_view text) const {
    return page != nullptr ? inEncoding(text, page) : bytesOf(text);
  }
  size_t unit() const { return page != nullptr ? 1 : 2; }
  bool isUnicode() const { return page == nullptr || strcmp(page, "UTF-8") == 0; }
};

constexpr Form forms[] = {{QRT_XGF_ASCII, "QMC-1252"}, {QRT_XGF_ASCII, "QMC-850"},
                          {QRT_XGF_ASCII, "UTF-8"},    {QRT_XGF_EBCDIC, "QMC-1140"},
                          {QRT_XGF_EBCDIC, "QMC-500"}, {QRT_XGF_EBCDIC, "QMC-1140-kx70"},
                          {QRT_XGF_UTF16, nullptr}};

struct Tables {
  std::vector<QrtXmlDescriptor> entries = {};
  std::string names = std::string(1, 4) + "WORK";
  std::string data = {}, image = {};
  std::vector<int32_t> counts = {};

  void add(int32_t level, int32_t flags, int32_t value, const std::string& name = {}) {
    QrtXmlDescriptor entry = {static_cast<uint8_t>(level), static_cast<uint8_t>(flags), {}};
    memcpy(entry.value, &value, 4);
    entries.push_back(entry);
    if (!name.empty()) names += static_cast<char>(name.size()) + name;
  }
};

Tables onlyRoot() {
  Tables tables;
  tables.add(1, 0, 0, "R");
  tables.add(0, 0, 0);
  return tables;
}

struct Generated {
  int32_t result, count;
  std::string text;  // as long as the count says
};

struct Call {
  int32_t version = 200;
  QrtXmlOptions options = {};
  QrtXmlProgram program = {"en_US.QMC-1252"};
  int32_t workSize = 0;

  void encode(const void* name, int32_t length, bool isNational = false) {
    options.encoding = name;
    options.encodingLength = length;
    options.encodingFlags = isNational ? QRT_XGF_NATIONAL : 0;
  }
  void qualify(const char* name, const char* prefix) {
    options.namespaceName = name;
    options.namespaceLength = static_cast<int32_t>(strlen(name));
    options.prefix = prefix;
    options.prefixLength = static_cast<int32_t>(strlen(prefix));
  }

  int32_t run(uint8_t kind, const Tables& tables, void* output, size_t room, int32_t* count) const {
    return _qrtcXGF(version, output, static_cast<uint32_t>(room), kind, tables.data.data(), &program,
                    reinterpret_cast<const uint8_t*>(tables.image.data()), tables.counts.data(), 0, workSize,
                    tables.entries.data(), reinterpret_cast<const uint8_t*>(tables.names.data()), &options, 0,
                    count);
  }

  Generated operator()(uint8_t kind, const Tables& tables, size_t room = 20000) const {
    Generated made = {};
    const std::string item =
        itemAfter(room, [&](uint8_t* output) { made.result = run(kind, tables, output, room, &made.count); });
    const size_t bytes = static_cast<size_t>(made.count) * (kind == QRT_XGF_UTF16 ? 2 : 1);
    made.text = item.substr(0, bytes);
    EXPECT_EQ(item.find_first_not_of('#', bytes), item.npos) << "behind the document";
    return made;
  }
};

// Text in native form and its page settled, whatever the environment says.
class XmlGenerate : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    setenv("LC_ALL", "C", 1);
    unsetenv("EBCDIC_CODEPAGE");
    _qrtPgmInit(nullptr);
  }
};

// ----- random trees

struct RandomTree {
  std::mt19937 random;
  Tables tables = {};
  Item root = {};

  explicit RandomTree(uint32_t seed) : random(seed) {
    root = tree(0);
    describe(root, 1);
    tables.add(0, 0, 0);
    fill(root);
  }

  bool oneIn(uint32_t count) { return random() % count == 0; }

  std::u16string textFrom(std::u16string_view usual, std::u16string_view rare, size_t length) {
    const bool allUsual = !oneIn(4);
    std::u16string text;
    while (text.size() < length)
      text += allUsual || !oneIn(6) ? usual[random() % usual.size()] : rare[random() % rare.size()];
    return text;
  }

  Item tree(int depth) {
    Item item;
    item.name = textFrom(u"AZaz_é", u"x", 1) + textFrom(u"AZaz09.-_é", u"x", random() % 6);
    item.occurs = oneIn(4) ? static_cast<int32_t>(random() % 4) : 1;
    const bool isGroup = depth < 4 && (depth == 0 || oneIn(3));
    if (isGroup) {
      item.kind = depth > 0 && oneIn(5) ? Kind::skipped : Kind::group;
      for (uint32_t count = random() % 6; count > 0; --count) item.children.push_back(tree(depth + 1));
    } else {
      item.kind = static_cast<Kind>(1 + random() % 5);
      item.isNumber = item.kind != Kind::skipped && item.kind != Kind::numeric && oneIn(4);
      item.isJustified = oneIn(4);
      item.isAttribute = item.kind != Kind::skipped && oneIn(3);
      if (item.isAttribute) item.occurs = 1;
      item.length = random() % (oneIn(3) ? 50 : 12);
    }
    return item;
  }

  void describe(Item& item, int32_t level) {
    if (item.occurs != 1 || oneIn(8)) {
      const bool depends = oneIn(2);
      tables.add(level, depends ? QRT_XGF_OCCURS_DEPENDING : QRT_XGF_OCCURS,
                 depends ? static_cast<int32_t>(tables.counts.size()) : item.occurs);
      if (depends) tables.counts.push_back(item.occurs);
    }
    constexpr int32_t flags[] = {
        0, QRT_XGF_SKIPPED, QRT_XGF_NATIVE_TEXT, QRT_XGF_EBCDIC_TEXT, QRT_XGF_NATIONAL_TEXT, QRT_XGF_NUMERIC};
    const auto length = static_cast<int32_t>(item.length);
    const int32_t value = item.kind == Kind::numeric    ? length | (length / 2 + 1) << 16
                          : item.kind == Kind::national ? length * 2
                                                        : length;
    tables.add(level,
               flags[static_cast<int>(item.kind)] | item.isNumber * QRT_XGF_AS_NUMBER |
                   item.isJustified * QRT_XGF_JUSTIFIED | item.isAttribute * QRT_XGF_ATTRIBUTE,
               value, item.kind == Kind::skipped ? "" : inEncoding(item.name, "QMC-1252"));
    for (Item& child : item.children) describe(child, level + 1);
  }

  Value valueOf(const Item& item) {
    Value value;
    const size_t length = item.length;
    constexpr std::u16string_view numbers = u"00012 ,.-+", usual = u"aZ  09<>&'\"é-.";
    if (item.kind == Kind::national && !item.isNumber) {
      constexpr std::u16string_view special[] = {u"\xD83D\xDE00", u"\xDBFF\xDFFD", u"\xD83D", u"\xDE00",
                                                 u"\xFFFE",       u"\x3000",       u"\x4E00", u"\x01"};
      value.text = textFrom(usual, u"\t\n", length);
      while (oneIn(2)) value.text += special[random() % std::size(special)];
      value.text = value.text.substr(value.text.size() - std::min(length, value.text.size()));
    } else if (item.kind == Kind::numeric || item.isNumber) {
      constexpr std::u16string_view special[] = {u" INF", u"-INF", u"N.N", u"-N.N"};
      value.text = oneIn(5) ? std::u16string(special[random() % 4]) : u"";
      const std::u16string_view rare = item.kind == Kind::national ? u"<é\x02\x4E00" : u"<é\x02";
      value.text = (value.text + textFrom(numbers, rare, length)).substr(0, length);
    } else {
      value.text = textFrom(oneIn(5) ? u" " : usual, u"\x01\t\n\x1F", length);
    }
    value.storage = item.kind == Kind::national ? bytesOf(value.text)
                    : item.kind == Kind::ebcdic ? inEncoding(value.text, "QMC-1140")
                                                : inEncoding(value.text, "QMC-1252");
    return value;
  }

  void fill(Item& item) {
    for (int32_t occurrence = 0; occurrence < item.occurs; ++occurrence) {
      if (item.kind != Kind::group) {
        Value value = valueOf(item);
        if (item.kind == Kind::numeric) {
          tables.image += value.storage;
          value.storage.assign(item.length / 2 + 1, '\xFF');
        }
        tables.data += value.storage;
        item.values.push_back(value);
      }
      for (Item& child : item.children) fill(child);
    }
  }
};

TEST_F(XmlGenerate, AgreesWithTheNaiveGeneratorOnRandomTrees) {
  for (uint32_t seed = 1; seed <= 2000 && !HasFailure(); ++seed) {
    const Form& form = forms[seed % std::size(forms)];
    const RandomTree made(seed);
    Item root = made.root;
    Document document{.isWide = form.page == nullptr, .canHold = [&](char32_t point) {
                        return form.isUnicode() || point < 0x80 || point == u'é';
                      }};
    Call call;
    call.options.warnings = 1;
    if (form.page != nullptr) call.encode(form.page, static_cast<int32_t>(strlen(form.page)));
    if (seed / 6 % 3 == 0) {
      call.options.flags = QRT_XGF_DECIMAL_COMMA;
      document.decimal = u',';
      call.qualify("urn:a/b?c=1  ", "");
      document.namespaceName = u"urn:a/b?c=1";
    }
    if (seed / 6 % 6 == 0) {
      call.qualify("urn:a/b?c=1  ", "\xD7\x40");
      call.options.prefixFlags = QRT_XGF_EBCDIC_NAME;
      document.prefix = u"P";
    }
    generate(document, root);
    const std::string wanted = form.encode(document.text);
    const Generated got = call(form.kind, made.tables);
    EXPECT_EQ(got.result, document.anyHexadecimal ? QRT_XGF_HEXADECIMAL : 0) << seed;
    EXPECT_EQ(got.text, wanted) << seed << " " << form.kind + 0;

    if (seed / 6 % 20 != 0) continue;
    int32_t before = 0;
    for (size_t room = 0; room < wanted.size(); ++room) {
      const Generated cut = call(form.kind, made.tables, room);
      EXPECT_EQ(cut.result, QRT_XGF_FULL) << seed << " " << room;
      EXPECT_TRUE(wanted.starts_with(cut.text) && cut.count >= before) << seed << " " << room;
      before = cut.count;
    }
    EXPECT_EQ(call(form.kind, made.tables, wanted.size()).text, wanted);
  }
}

// ----- single items

TEST_F(XmlGenerate, CutsWhereTheNextPieceDoesNotFit) {
  Tables tables;
  tables.add(1, QRT_XGF_NATIVE_TEXT, 4, "AB");
  tables.add(0, 0, 0);
  tables.data = "x<yz";
  const char* const pieces[] = {"<", "AB", ">", "x", "&lt;", "yz", "</", "AB", ">"};
  std::string whole, fits;
  for (const char* piece : pieces) whole += piece;
  size_t next = 0, end = 1;
  for (size_t room = 0; room <= whole.size(); ++room) {
    while (next < std::size(pieces) && room >= end) {
      // The text is written only where all of it would fit without entities.
      if (next == 3 && room < fits.size() + 4) break;
      fits += pieces[next++];
      end = fits.size() + (next < std::size(pieces) ? strlen(pieces[next]) : 0);
    }
    EXPECT_EQ(Call{}(QRT_XGF_ASCII, tables, room).text, fits) << room;
    EXPECT_EQ(Call{}(QRT_XGF_UTF16, tables, room * 2 + 1).count, static_cast<int32_t>(fits.size())) << room;
  }
}

TEST_F(XmlGenerate, TakesDoubleByteTextAndNamesFromTheHostSide) {
  apart([] {
    setenv("EBCDIC_CODEPAGE", "QMC-939", 1);
    _qrtCleanUp();
    _qrtPgmInit(nullptr);
    Tables tables;
    const std::string name = inEncoding(u"\x4E00\x4E8C", "QMC-939");  // between shift bytes
    tables.add(1, 0, 0, name);
    tables.add(2, QRT_XGF_DOUBLE_BYTE_TEXT, 4, "D");
    tables.add(2, QRT_XGF_DOUBLE_BYTE_TEXT | QRT_XGF_ATTRIBUTE, 2, name);
    tables.add(0, 0, 0);
    tables.data = name.substr(1, 4) + name.substr(1, 2);
    const std::u16string start = u"<\x4E00\x4E8C \x4E00\x4E8C=\"\x4E00\"><D>\x4E00\x4E8C</D>",
                         end = u"</\x4E00\x4E8C>";
    Call call;
    EXPECT_EQ(call(QRT_XGF_UTF16, tables).text, bytesOf(start + end));
    call.encode("UTF-8", 0);
    EXPECT_EQ(call(QRT_XGF_ASCII, tables).text, inEncoding(start + end, "UTF-8"));
    EXPECT_EQ(Call{}(QRT_XGF_EBCDIC, tables).result, QRT_XGF_NOT_EBCDIC);
  });
}

// ----- encodings

TEST_F(XmlGenerate, NamesTheEncodingInTheDeclaration) {
  const struct {
    uint8_t kind;
    std::u16string given;  // empty for the default
    std::u16string declared;
  } rows[] = {{QRT_XGF_ASCII, u"", u"qmc-1252"},
              {QRT_XGF_EBCDIC, u"", u"qmc-1140"},
              {QRT_XGF_UTF16, u"", u"UTF-16"},
              {QRT_XGF_ASCII, u" 00819 ", u"ISO-8859-1"},
              {QRT_XGF_ASCII, u"utf-8", u"UTF-8"},
              {QRT_XGF_ASCII, u"1208", u"UTF-8"},
              {QRT_XGF_ASCII, u"QMC-912", u"ISO-8859-2"},
              {QRT_XGF_EBCDIC, u"1047", u"qmc-1047"},
              {QRT_XGF_EBCDIC, u"QMC-1047-kx70", u"qmc-1047-kx70"},
              {QRT_XGF_UTF16, u"UTF-16", u"UTF-16"},
              {QRT_XGF_UTF16, u"1200", u"UTF-16"}};
  const Tables tables = onlyRoot();
  for (const auto& row : rows)
    for (const bool isNational : {false, true}) {
      const std::string bytes(row.given.begin(), row.given.end());
      Call call;
      call.options.flags = QRT_XGF_DECLARATION;
      if (!bytes.empty() && isNational)
        call.encode(row.given.data(), static_cast<int32_t>(bytes.size() * 2), true);
      else if (!bytes.empty())
        call.encode(bytes.c_str(), 0);
      const Form form = {row.kind, row.kind == QRT_XGF_UTF16    ? nullptr
                                   : row.kind == QRT_XGF_EBCDIC ? "QMC-1140"
                                                                : "UTF-8"};
      const Generated made = call(row.kind, tables);
      EXPECT_EQ(made.result, 0) << bytes;
      EXPECT_EQ(made.text, form.encode(u"<?xml version=\"1.0\" encoding=\"" + row.declared + u"\"?><R></R>"))
          << bytes;
      call.version = 100;  // without options
      EXPECT_EQ(call(row.kind, tables).count, 7);
    }
}

TEST_F(XmlGenerate, RefusesWhatItCannotWrite) {
  constexpr const char *usual = "en_US.QMC-1252", *other = "en_US.QMC-850";
  const std::u16string longest(320, 'x');
  const struct {
    int32_t result;
    uint8_t kind;
    std::vector<std::u16string> encodings;
    uint8_t flags = 0;
    bool isNational = false;
    const char *program = usual, *name = "urn", *prefix = "p";
  } rows[] = {{QRT_XGF_KIND, 0, {u"", u"no-such"}},
              {QRT_XGF_KIND, 1, {u""}},
              {QRT_XGF_KIND, 5, {u""}},
              {QRT_XGF_NO_ENCODING, 2, {u"no-such", u"   ", u"99999999999", u"0", longest + u"    "}},
              {QRT_XGF_NO_ENCODING, 2, {u"\xDC00", u""}, 0, true},
              {QRT_XGF_LONG_ENCODING, 2, {longest + u"x"}},
              {QRT_XGF_LONG_ENCODING, 2, {longest + u"x"}, 0, true},
              {QRT_XGF_NATIONAL_ENCODING, 2, {u"UTF-\x20AC"}, 0, true},
              {QRT_XGF_NOT_ASCII, 2, {u"QMC-943", u"ISO-8859-14", u"UTF-16"}},
              {QRT_XGF_NOT_EBCDIC, 3, {u"QMC-939"}},
              {QRT_XGF_HEXADECIMAL, 3, {u"QMC-1097"}},  // has no circumflex
              {QRT_XGF_WRONG_FAMILY, 3, {u"UTF-8", u"QMC-1252"}},
              {QRT_XGF_WRONG_FAMILY, 2, {u"QMC-1140"}},
              {QRT_XGF_NOT_UNICODE, 2, {u"QMC-819"}, QRT_XGF_UNICODE_ONLY},
              {QRT_XGF_NOT_UNICODE, 3, {u"QMC-1140"}, QRT_XGF_UNICODE_ONLY},
              {QRT_XGF_NOT_UTF16, 4, {u"UTF-8", u"QMC-1252", u"UTF-32"}},
              {0, 4, {u"UTF-16"}, QRT_XGF_UNICODE_ONLY, false, other},
              {0, 2, {u"UTF-8"}, QRT_XGF_UNICODE_ONLY, false, usual, "a&b"},
              {QRT_XGF_PROGRAM_CODE_SET, 2, {u"QMC-1252"}, 0, false, other},
              {QRT_XGF_PROGRAM_CODE_SET, 3, {u"QMC-1140"}, 0, false, other},
              {QRT_XGF_FULL, 4, {u"UTF-16"}, 0, false, "en_US.no-such"},
              {QRT_XGF_NAMESPACE, 4, {u"UTF-16"}, 0, false, usual, "a&b"},
              {QRT_XGF_PREFIX, 4, {u"UTF-16"}, 0, false, usual, "urn", "p:q"},
              {QRT_XGF_PREFIX, 2, {u"UTF-8"}, 0, false, usual, "urn", "1p"},
              {QRT_XGF_PREFIX, 3, {u"QMC-1140"}, 0, false, usual, "urn", "p q"},
              {0, 3, {u"QMC-1140"}, 0, false, usual, "  ", "1p"}};
  Tables tables;
  tables.add(1, QRT_XGF_NATIVE_TEXT, 1, "R");
  tables.add(0, 0, 0);
  tables.data = "^";
  for (const auto& row : rows)
    for (const std::u16string& encoding : row.encodings) {
      const std::string bytes(encoding.begin(), encoding.end());
      const auto length = static_cast<int32_t>(bytes.size());
      Call call;
      call.program.localeName = row.program;
      if (row.isNational)
        call.encode(encoding.data(), length * 2, true);
      else
        call.encode(bytes.c_str(), length);
      call.options.flags = row.flags;
      call.options.warnings = 1;
      call.qualify(row.name, row.prefix);
      const Generated made = call(row.kind, tables);
      EXPECT_EQ(made.result, row.result) << row.kind + 0 << bytes << row.program << row.name << row.prefix;
      EXPECT_EQ(made.count > 0, row.result == 0 || row.result == QRT_XGF_HEXADECIMAL);
    }
}

// The page of a locale made for it, which has no CCSID.
TEST_F(XmlGenerate, RefusesALocalesPageWithoutCcsid) {
  char folder[] = "/tmp/qrt-locale-XXXXXX";
  ASSERT_NE(mkdtemp(folder), nullptr);
  const std::string locale = std::string(folder) + "/en_US.ISO-8859-14";
  // A warning about categories that aren't used here is no failure.
  const int status =
      system(("localedef --no-archive -c -i POSIX -f ISO-8859-14 " + locale + " 2>/dev/null").c_str());
  const bool isMade = status != -1 && std::filesystem::exists(locale + "/LC_CTYPE");
  const auto check = [&] {
    setenv("LOCPATH", folder, 1);
    setenv("LC_ALL", "en_US.ISO-8859-14", 1);
    _qrtCleanUp();
    _qrtPgmInit(nullptr);
    const Tables tables = onlyRoot();
    Call call;
    for (const auto& [version, result] : {std::pair(100, QRT_XGF_WRONG_FAMILY), {200, QRT_XGF_NOT_ASCII}}) {
      call.version = version;
      EXPECT_EQ(call(QRT_XGF_ASCII, tables).result, result) << version;
    }
  };
  if (isMade) apart(check);
  std::filesystem::remove_all(folder);
  if (!isMade) GTEST_SKIP() << "no localedef with the character map (package locales)";
}

TEST_F(XmlGenerate, ChecksNamesOfUtf16Documents) {
  const struct {
    const char* name;
    int32_t result;
  } rows[] = {{"_a-1.\xE9", 0},
              {"a b", QRT_XGF_NAME_CHARACTER},
              {"\x80", QRT_XGF_NAME_CHARACTER},
              {"1a", QRT_XGF_NAME_START},
              {"-", QRT_XGF_NAME_START}};
  for (const auto& row : rows)
    for (const bool isAttribute : {false, true}) {
      Tables tables;
      tables.add(1, 0, 0, "R");
      tables.add(2, QRT_XGF_NATIVE_TEXT | (isAttribute ? QRT_XGF_ATTRIBUTE : 0), 1, row.name);
      tables.add(0, 0, 0);
      tables.data = "x";
      EXPECT_EQ(Call{}(QRT_XGF_UTF16, tables).result, row.result) << row.name;
      EXPECT_EQ(Call{}(QRT_XGF_ASCII, tables).result, 0) << row.name;
    }
}

// The tags of all items would be longer than storage can be.
TEST_F(XmlGenerate, TakesPrefixesOfAnyLength) {
  Tables tables;
  tables.add(1, 0, 0, "R");
  for (int item = 0; item < 16384; ++item) tables.add(2, QRT_XGF_NATIVE_TEXT, 0, "A");
  tables.add(0, 0, 0);
  const std::string prefix(65536, 'p');
  Call call;
  call.qualify("urn", prefix.c_str());
  EXPECT_EQ(call(QRT_XGF_UTF16, tables, 4 << 20).result, QRT_XGF_FULL);
}

TEST_F(XmlGenerate, LeavesNothingBehindWhenMemoryIsShort) {
  RandomTree made(12);
  Call call;
  call.workSize = INT32_MAX;
  EXPECT_EQ(call(QRT_XGF_UTF16, made.tables).result, QRT_XGF_MEMORY);
  if (!canFailAllocations) GTEST_SKIP();
  call.workSize = 0;
  call.encode(u"UTF-8", 10, true);
  call.options.warnings = 1;
  std::string output(20000, 0);
  const auto run = [&] { return call.run(QRT_XGF_ASCII, made.tables, output.data(), 20000, nullptr); };
  const int32_t wanted = run();
  const std::vector<int32_t> results = resultsShortOfMemory(run);
  EXPECT_EQ(results.back(), wanted);
  for (const int32_t code : {QRT_XGF_NATIONAL_CONVERTER, QRT_XGF_NO_ENCODING, QRT_XGF_MEMORY})
    EXPECT_NE(std::find(results.begin(), results.end(), code), results.end()) << code;
}

}  // namespace
