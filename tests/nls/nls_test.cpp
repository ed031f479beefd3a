// The pair of code pages from locale and environment, the conversions between its two sides beside those of
// ICU alone, the shift bytes of double-byte text, and national text.
#include <unicode/ucnv.h>

#include <tuple>

#include "support/program.h"

using namespace qrt::test;

namespace {

// Number, severity and value of each message.
std::string reports(std::string_view text) {
  std::string all;
  for (size_t at = 0; (at = text.find("QRT", at)) != text.npos; ++at) {
    const size_t value = text.find_first_of("0123456789", at + 6);
    all += std::string(text.substr(at + 3, 4)) + ' ' + std::to_string(atoi(&text[value])) + "; ";
  }
  return all;
}

// What `work` writes to standard error in a child process of its own locale and EBCDIC code page.
std::string inPair(const char* locale, const char* page, const std::function<void()>& work) {
  return apart([&] {
    for (const char* name : {"LANG", "LC_CTYPE"}) unsetenv(name);
    setenv("LC_ALL", locale, 1);
    setenv("EBCDIC_CODEPAGE", page, 1);
    _qrtPgmInit(nullptr);
    work();
  });
}

TEST(CodePages, ComeFromTheLocaleAndTheEnvironment) {
  constexpr char plain[] = "en_US.QMC-1252";
  const struct {
    const char *locale, *page, *name, *ebcdic, *message;
  } rows[] = {
      {"POSIX", "QMC-1140", plain, "QMC-1140", ""},
      {"xx_YY.UTF-8", "", plain, "QMC-1140", ""},  // unknown to the system
      {"C.UTF-8", "", "C.UTF.UTF-8", "QMC-1140", ""},
      {"C", "qmc-037", plain, "QMC-037", ""},
      {"C", "qmc-273", plain, "QMC-273", "qmc-273 is not a code page of locale en_US.QMC-1252"},
      {"C", "NoSuch", plain, "QMC-1140", "NoSuch is unknown. QMC-1140"},
      {"C", "QMC-1140-and-a-tail-that-is-long", plain, "QMC-1140", "is unknown"},
  };
  for (const auto& row : rows) {
    const std::string messages = inPair(row.locale, row.page, [&] {
      const std::string name = row.name;
      EXPECT_EQ(ascii_CP, name.substr(6));
      EXPECT_STREQ(ebcdic_CP, row.ebcdic);
      EXPECT_EQ(_qrtProccom->localeCodePageIndex, 8);
      EXPECT_EQ(std::string(ll_CC) + ll, name.substr(0, 5) + name.substr(0, 2));
      for (const bool again : {false, true}) {  // settled is settled, for the next run unit too
        EXPECT_EQ(_qrtRuncom->localeName, name);
        EXPECT_STREQ(_qrtRuncom->ebcdicCodePage, row.ebcdic);
        setenv("EBCDIC_CODEPAGE", "QMC-500", 1);
        if (!again) _qrtRunUnitInit();
      }
    });
    EXPECT_EQ(messages.find("QRT230") != messages.npos, *row.message != 0) << messages;
    EXPECT_NE(messages.find(row.message), messages.npos) << messages;
  }
}

TEST(CodePages, NamesThatAreAConverterOrNot) {
  const std::tuple<const char*, int32_t, int32_t> rows[] = {
      {"QMC-037", 0, 37},   {"qmc-0001047", 0, 1047},   {"QMC-1047-kx70", 0, 1047},
      {"UTF-8", 0, 1208},   {"iso-8859-1", 0, 819},     {"UTF-7", 1, -1},
      {"QMC-99999", 2, -1}, {"QMC-1047-kx71", 2, -1},   {"QMC-1-1", 2, -1},
      {"", 2, -1},          {"QMC-99999999999", 2, -1}, {"UTF-8-and-then-some-more-letters", 2, -1},
  };
  for (const auto& [name, result, number] : rows) {
    int32_t ccsid = 0;
    EXPECT_EQ(_qrtGetCCSID(name, &ccsid), result) << name;
    EXPECT_EQ(ccsid, number) << name;
    EXPECT_EQ(_qrtValidateCPID(name, int32_t(strlen(name))), result == 2) << name;
  }
  EXPECT_EQ(_qrtValidateCPID("QMC-0378", 7), 0);  // the length counts
  EXPECT_STREQ(CP_str, "QMC-037");
  EXPECT_EQ(qrtGetMaxCharSize("QMC-1140"), 1);
  EXPECT_EQ(qrtGetMaxCharSize("UTF-8"), 3);
}

// The same by ICU alone.
std::string byIcu(UConverter* from, UConverter* to, const std::string& text) {
  UErrorCode status = U_ZERO_ERROR;
  char bytes[8192], *end = bytes;
  const char* at = text.data();
  ucnv_convertEx(to, from, &end, std::end(bytes), &at, at + text.size(), nullptr, nullptr, nullptr, nullptr,
                 true, true, &status);
  return {bytes, end};
}

// Conversion to EBCDIC as its rule reads.
std::string plainToEbcdic(std::string converted, size_t room, bool pure, bool close) {
  const auto count = [&](char byte) { return std::ranges::count(converted, byte); };
  if (pure && converted.starts_with('\x0E')) {
    converted.erase(0, 1);
    if (converted.ends_with('\x0F')) converted.pop_back();
  } else if (!pure && close && count(0x0E) == count(0x0F) + 1) {
    converted += 0x0F;
  }
  return converted.substr(0, room);
}

using Conversion = int32_t(const void*, int32_t, void*, int32_t*);

// What a field of that many bytes holds afterwards, what stands around it, and the length that comes back.
std::string convert(Conversion* conversion, const std::string& text, bool marked, size_t room, bool flagged) {
  std::string field(room + 8, '#');
  const auto count = static_cast<int32_t>(text.size());
  int32_t length = static_cast<int32_t>(flagged ? -room : room);
  const int32_t code = conversion(text.data(), marked ? -count : count, &field[4], &length);
  return field + " " + std::to_string(length) + " " + std::to_string(code);
}

// That a field of `room` bytes holds `text`, `length` bytes of which are not padding.
std::string holds(const std::string& text, size_t room, size_t length) {
  return "####" + text + std::string(room - text.size() + 4, '#') + " " + std::to_string(length) + " 0";
}

void convertRandomTexts(const char* ascii, const char* ebcdic) {
  UErrorCode status = U_ZERO_ERROR;
  UConverter* const a = ucnv_open(ascii, &status);
  UConverter* const e = ucnv_openCCSID(atoi(ebcdic + 4), static_cast<UConverterPlatform>(0), &status);
  std::mt19937 random(8);
  const char* const pieces[] = {
      "A", "9", " ", "z", "\xC3\xA4", "\xE3\x82\xA2", "\xE6\x97\xA5", "\xFF", "\x0E", "\xE2\x82\xAC"};
  const auto draw = [&](size_t below) { return random() % below; };
  for (int round = 0; round < 4000; ++round) {
    std::string text;
    const size_t count = draw(8) == 0 ? draw(900) : draw(12), kinds = 1 + draw(std::size(pieces));
    for (size_t i = 0; i < count; ++i) text += pieces[draw(kinds)];
    const std::string there = byIcu(a, e, text);
    if (text == "\x0E" || there == "\x0E") continue;
    const size_t room = draw(3) == 0 ? there.size() + draw(9) : draw(there.size() + 4);
    const bool pure = draw(3) == 0 && !text.empty(), close = draw(3) == 0 && room > 0;
    const std::string expected = plainToEbcdic(there, room, pure, close);
    ASSERT_EQ(convert(_qrtConvToEBCDIC, text, pure, room, close), holds(expected, room, expected.size()));

    std::string back = byIcu(e, a, there);
    const size_t field = draw(back.size() + 9), length = std::min(field, back.size());
    const bool right = draw(2) == 0 && field > 0;
    back.resize(length);
    back.insert(right ? 0 : length, field - length, ' ');
    ASSERT_EQ(convert(_qrtConvToASCII, there, false, field, right), holds(back, field, length));
  }
  ucnv_close(a);
  ucnv_close(e);
}

TEST(CodePages, SidesConvertAsIcuDoes) {
  for (const char* page : {"QMC-1140", "QMC-939", "QMC-1388"})
    for (const bool wide : {false, true}) {
      inPair(wide ? "C.UTF-8" : "C", page, [&] {
        convertRandomTexts(wide ? "UTF-8" : "windows-1252", page);
        char bytes[256], apart[512];
        for (char* const target : {apart, bytes}) {  // a text may be converted in place
          for (int byte = 0; byte < 256; ++byte) bytes[byte] = static_cast<char>(byte % 128);
          int32_t room = 256;
          EXPECT_EQ(_qrtUniAtoE(bytes, 256, target, &room), 0);
        }
        EXPECT_EQ(memcmp(bytes, apart, 256), 0);
      });
    }
}

TEST(CodePages, ShiftBytesAreKeptOrPutInOrder) {
  inPair("C.UTF-8", "QMC-939", [] {
    const std::string one = "\xE3\x82\xA2", two = one + "\xE3\x82\xA4";
    const std::tuple<std::string, std::string, bool> rows[] = {
        {"\x43\x81", one, true},                                // none: wrapped
        {"\x0E\x43\x81\x0F", one, true},                        // balanced
        {"\x0E\x43\x81", one, true},                            // left open
        {"\x0E\x43\x81\x0E\x43\x82\x0F\xC1", two + "A", true},  // opened twice
        {"\xC1\x0E\x43\x81\x0F\xC2", "A" + one + "B", false},
        {"", "", false},
    };
    for (const auto& [source, text, doubleByte] : rows)
      EXPECT_EQ(convert(_qrtConvToASCII, source, doubleByte, text.size() + 1, false),
                holds(text + ' ', text.size() + 1, text.size()));
    // A shift-in outside of a shift gets a shift-out of its own.
    EXPECT_EQ(convert(_qrtConvToASCII, "\x43\x81\x0F", true, 8, false),
              convert(_qrtConvToASCII, "\x43\x81", false, 8, false));
    for (const std::string shift : {"\x0E", "\x0F"}) {  // alone
      EXPECT_EQ(convert(_qrtConvToASCII, shift, false, 4, true), holds(shift, 4, 1));
      EXPECT_EQ(convert(_qrtConvToEBCDIC, shift, true, 4, true), holds(shift, 4, 1));
      EXPECT_EQ(convert(_qrtConvToEBCDIC, shift, false, 0, false), holds("", 0, 0));
    }
  });
}

TEST(CodePages, PageWithoutConverterFailsEachTime) {
  const std::string messages = inPair("C", "", [] {
    strcpy(ebcdic_CP, "QMC-99999");
    for (int time = 0; time < 2; ++time) {
      EXPECT_EQ(convert(_qrtUniAtoE, "ABC", false, 4, false), "############ 4 4");
      EXPECT_EQ(convert(_qrtConvToEBCDIC, "ABC", false, 4, false), "############ 0 4");
    }
  });
  EXPECT_EQ(reports(messages), "221W 4; 221W 4; 221W 4; 221W 4; ");
}

TEST(CodePages, CollatingTablesOfAProgram) {
  inPair("C", "", [] {
    QrtProgramBlock program{};
    _qrtcEBCDIC(&program);
    _qrtcCollSeq(&program);
    EXPECT_EQ(program.ebcdicTable[0xC1], 'A');
    EXPECT_EQ(memcmp(program.ebcdicTable, program.ebcdicTable2, 256), 0);
    for (int place = 0; place < 256; ++place)
      EXPECT_EQ(program.collatingTable[program.sortedTable[place]], place);
    EXPECT_LT(program.collatingTable[int{'A'}], program.collatingTable[int{'B'}]);
  });
}

TEST(NationalText, ConvertsByNameCutsOrRefusesAndReports) {
  const std::string messages = inPair("C", "", [] {
    const struct {
      std::string source, page;
      int32_t room, code;
      const char16_t* result;
      int32_t bytes;
    } there[] = {
        {"A\xC3\x84", "UTF-8", 8, 0, u"A\u00C4##", 4},
        {"ABC", "UTF-8", 5, 11, u"AB##", 4},
        {"\x15\x25", "QMC-1047", 8, 0, u"\u0085\n##", 4},
        {"\x15\x25", "QMC-1047-kx70", 8, 0, u"\n\u0085##", 4},  // line feed and new line change places
        {"AB", "NoSuchPage", 8, 4, u"####", 8},
        {"AB", "UTF-8-and-then-some-more-letters-yet", 8, 4, u"####", 8},
    };
    for (const auto& row : there) {
      std::u16string target(4, u'#');
      int32_t bytes = row.room;
      EXPECT_EQ(_qrtConvToUnicode(row.source.data(), int32_t(row.source.size()), target.data(), &bytes,
                                  row.page.data(), int32_t(row.page.size())),
                row.code);
      EXPECT_EQ(target, row.result);
      EXPECT_EQ(bytes, row.bytes);
      EXPECT_EQ(Uerror + save_converter, row.code);
    }
    char bytes[] = "#####";
    int32_t room = 3;
    EXPECT_EQ(_qrtConvFromUnicode(u"AB\u00C4", 6, bytes, &room, "UTF-8", 5), 11);
    room = 5;
    EXPECT_EQ(_qrtConvFromUnicode(u"AB\u00C4", 7, bytes, &room, "UTF-8", 5), 0);  // half a unit doesn't count
    EXPECT_STREQ(bytes, "AB\xC3\x84#");
    EXPECT_EQ(room, 4);
    qrtGetMaxCharSize("NoSuchPage");
    std::u16string text = u"Stra\u00DFe#";  // case may change the length
    room = 14;
    _qrtUpperCaseUnicode(text.data(), &room, text.data(), 12);
    EXPECT_EQ(text, u"STRASSE");
    _qrtLowerCaseUnicode(text.data(), &room, text.data(), 12);
    EXPECT_EQ(text, u"strassE");
    EXPECT_EQ(room, 12);
    room = 2;
    _qrtUpperCaseUnicode(text.data(), &room, u"\u00DF", 2);
    EXPECT_EQ(room, 2);
  });
  EXPECT_EQ(reports(messages), "222W 11; 221W 4; 221W 4; 222W 11; 221W 4; 225W 11; ") << messages;
}

int32_t bytesOf(std::u16string_view text) {
  return int32_t(text.size() * 2);
}

TEST(NationalText, ComparesWithoutTrailingSpaces) {
  const std::tuple<std::u16string, std::u16string, int32_t> rows[] = {
      {u"AB", u"AB ", 0}, {u"   ", u" ", 0}, {u"b", u"a", 1},       {u"AB", u"ABC", -1},
      {u" A", u"A", -1},  {u"a", u"B", -1},  {u"\u00E4", u"z", -1},
  };
  for (const auto& [first, second, order] : rows)
    EXPECT_EQ(_qrtCompareUnicode(first.data(), bytesOf(first), second.data(), bytesOf(second)), order);
}

TEST(NationalText, MovesWholeCharacters) {
  const std::tuple<std::u16string, int32_t, const char16_t*> rows[] = {
      {u"ab", 12, u"ab    ##"},    {u"ab", -12, u"    ab##"}, {u"abcdef", -4, u"ef######"},
      {u"abcdef", 4, u"ab######"}, {u"", 4, u"  ######"},     {u"ab", -7, u" ab#####"},
  };
  for (const auto& [source, targetBytes, result] : rows) {
    std::u16string target(8, u'#');
    _qrtMoveUnicode(target.data(), targetBytes, source.data(), bytesOf(source));
    EXPECT_EQ(target, result);
  }
}

}  // namespace
