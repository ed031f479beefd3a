// The pair of code pages from locale and environment, the conversions between its two sides beside the ICU
// calls that they stand for, and the shift bytes of double-byte text.
#include <qrtrlib.h>
#include <stdlib.h>
#include <string.h>
#include <unicode/ucnv.h>

#include <algorithm>
#include <random>

#include "support/process.h"
#include "support/program.h"

using namespace qrt::test;

namespace {

void setOrUnset(const char* name, const char* value) {
  if (*value != 0)
    setenv(name, value, 1);
  else
    unsetenv(name);
}

// `work` in a child process of its own locale and EBCDIC code page.
Ended inPair(const char* locale, const char* page, const std::function<void()>& work) {
  return inChild([&] {
    for (const char* name : {"LANG", "LC_CTYPE"}) unsetenv(name);
    setOrUnset("LC_ALL", locale);
    setOrUnset("EBCDIC_CODEPAGE", page);
    _qrtPgmInit(nullptr);
    work();
    exit(testing::Test::HasFailure() ? 1 : 0);
  });
}

TEST(CodePages, ComeFromTheLocaleAndTheEnvironment) {
  const struct {
    const char *locale, *page, *name, *ascii, *ebcdic, *message;
  } rows[] = {
      {"", "", "en_US.QMC-1252", "QMC-1252", "QMC-1140", ""},
      {"POSIX", "", "en_US.QMC-1252", "QMC-1252", "QMC-1140", ""},
      {"xx_YY.UTF-8", "", "en_US.QMC-1252", "QMC-1252", "QMC-1140", ""},  // unknown to the system
      {"C.UTF-8", "", "C.UTF.UTF-8", "UTF-8", "QMC-1140", ""},
      {"C", "qmc-037", "en_US.QMC-1252", "QMC-1252", "QMC-037", ""},
      {"C", "QMC-1140", "en_US.QMC-1252", "QMC-1252", "QMC-1140", ""},
      {"C", "qmc-273", "en_US.QMC-1252", "QMC-1252", "QMC-273",
       "qmc-273 is not a code page of locale en_US.QMC-1252"},
      {"C", "NoSuch", "en_US.QMC-1252", "QMC-1252", "QMC-1140", "NoSuch is unknown. QMC-1140"},
      {"C", "QMC-1140-and-a-tail-that-is-long", "en_US.QMC-1252", "QMC-1252", "QMC-1140", "is unknown"},
  };
  for (const auto& row : rows) {
    const Ended ended = inPair(row.locale, row.page, [&] {
      EXPECT_STREQ(_qrtRuncom->localeName, row.name);
      EXPECT_STREQ(_qrtRuncom->ebcdicCodePage, row.ebcdic);
      EXPECT_STREQ(ascii_CP, row.ascii);
      EXPECT_STREQ(ebcdic_CP, row.ebcdic);
      EXPECT_EQ(_qrtProccom->localeCodePageIndex, 8);
      EXPECT_EQ(std::string(ll_CC) + "/" + ll, std::string(row.name, 5) + "/" + std::string(row.name, 2));
      setenv("EBCDIC_CODEPAGE", "QMC-500", 1);  // settled is settled, for the next run unit too
      _qrtRunUnitInit();
      EXPECT_STREQ(_qrtRuncom->ebcdicCodePage, row.ebcdic);
      char locale[22], page[18];
      _qrtGetLocaleCP(locale, page);
      EXPECT_EQ(std::string(locale) + page, std::string(row.name) + row.ebcdic);
    });
    EXPECT_EQ(ended.exitCode, 0) << row.locale << " " << row.page << ended.out;
    EXPECT_EQ(ended.err.find("QRT230") != std::string::npos, *row.message != 0) << ended.err;
    EXPECT_NE(ended.err.find(row.message), std::string::npos) << ended.err;
  }
}

// Pages that are registered, but that ICU has no converter for.
constexpr const char* withoutConverter =
    "QMC-9044 QMC-808 QMC-872 QMC-848 QMC-17248 QMC-9061 QMC-9049 QMC-1381 QMC-5488 QMC-1370 QMC-1161 "
    "QMC-1163 ";

TEST(CodePages, TableNamesPagesThatExist) {
  std::string missing, keys;
  const auto look = [&](const char* name) {
    int32_t ccsid = 0;
    if (*name == 0 || missing.find(name) != std::string::npos) return;
    if (_qrtGetCCSID(name, &ccsid) != 0) missing += std::string(name) + " ";
  };
  for (const QrtLocaleRow& row : LCCP_Tbl) {
    for (const char* name : {row.ebcdic, row.ebcdicEuro}) look(name);
    for (const auto& other : row.others) look(other);
    keys += row.key;
    EXPECT_EQ(row.doubleByteSpace[0] == 0x20, row.doubleByteSpace[1] == 0x20);
  }
  EXPECT_EQ(missing, withoutConverter);
  EXPECT_EQ(keys.size(), 5u * QRT_LOCALE_ROWS);
  EXPECT_STREQ(LCCP_Tbl[15].ebcdicEuro, "QMC-1148");
  EXPECT_STREQ(LCCP_Tbl[46].ebcdic, "");
}

TEST(CodePages, NamesThatAreAConverterOrNot) {
  const struct {
    const char* name;
    int32_t result, ccsid;
  } rows[] = {
      {"QMC-037", 0, 37},         {"qmc-0001047", 0, 1047},
      {"QMC-1047-kx70", 0, 1047}, {"UTF-8", 0, 1208},
      {"iso-8859-1", 0, 819},     {"UTF-16LE", 0, 1202},
      {"UTF-7", 1, -1},           {"QMC-", 2, -1},
      {"QMC-99999", 2, -1},       {"QMC-1047-kx71", 2, -1},
      {"QMC-1-1", 2, -1},         {"", 2, -1},
      {"QMC-99999999999", 2, -1}, {"UTF-8-and-then-some-more-letters", 2, -1},
  };
  for (const auto& row : rows) {
    int32_t ccsid = 0;
    EXPECT_EQ(_qrtGetCCSID(row.name, &ccsid), row.result) << row.name;
    EXPECT_EQ(ccsid, row.ccsid) << row.name;
    EXPECT_EQ(_qrtValidateCPID(row.name, static_cast<int32_t>(strlen(row.name))), row.result == 2)
        << row.name;
  }
  EXPECT_EQ(_qrtValidateCPID("QMC-0378", 7), 0);  // the length counts
  EXPECT_STREQ(CP_str, "QMC-037");
  EXPECT_EQ(qrtGetMaxCharSize("QMC-1140"), 1);
  EXPECT_EQ(qrtGetMaxCharSize("UTF-8"), 3);
  for (const bool swapped : {false, true}) {  // line feed and new line change places
    const char* const name = swapped ? "QMC-1047-kx70" : "QMC-1047";
    uint16_t units[2];
    int32_t room = sizeof units;
    EXPECT_EQ(_qrtConvToUnicode("\x15\x25", 2, units, &room, name, static_cast<int32_t>(strlen(name))), 0);
    EXPECT_EQ(units[swapped ? 0 : 1], '\n');
  }
}

// ---------------------------------------------------------------------------------------------------
// The two sides
// ---------------------------------------------------------------------------------------------------

// The same by the two ICU calls that it stands for.
std::string byIcu(UConverter* from, UConverter* to, const std::string& text) {
  UErrorCode status = U_ZERO_ERROR;
  std::vector<UChar> units(text.size() * 2 + 1);
  const int32_t count = ucnv_toUChars(from, units.data(), static_cast<int32_t>(units.size()), text.data(),
                                      static_cast<int32_t>(text.size()), &status);
  std::string bytes(units.size() * 5, 0);
  bytes.resize(static_cast<size_t>(
      ucnv_fromUChars(to, bytes.data(), static_cast<int32_t>(bytes.size()), units.data(), count, &status)));
  return bytes;
}

// A field between guard bytes.
struct Field {
  static constexpr size_t guards = 8;
  std::string bytes;

  explicit Field(size_t size, char fill = '#') : bytes(size + 2 * guards, fill) {}
  void* start() { return bytes.data() + guards; }
  std::string text(size_t length) const { return bytes.substr(guards, length); }
  bool guarded(size_t length) const {
    return bytes.find_first_not_of('#', guards + length) == std::string::npos &&
           bytes.find_first_not_of('#') >= std::min(guards, bytes.size());
  }
};

size_t countOf(const std::string& text, char byte) {
  return static_cast<size_t>(std::count(text.begin(), text.end(), byte));
}

// Conversion to EBCDIC as its rule reads.
std::string plainToEbcdic(std::string converted, size_t room, bool pure, bool close) {
  if (pure && !converted.empty() && converted.front() == 0x0E) {
    converted.erase(0, 1);
    if (!converted.empty() && converted.back() == 0x0F) converted.pop_back();
  } else if (!pure && close && countOf(converted, 0x0E) == countOf(converted, 0x0F) + 1) {
    converted += 0x0F;
  }
  return converted.substr(0, room);
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
    const size_t count = draw(8) == 0 ? draw(900) : draw(12);
    const size_t kinds = 1 + draw(std::size(pieces));
    for (size_t i = 0; i < count; ++i) text += pieces[draw(kinds)];
    if (text.size() == 1 && text[0] == 0x0E) continue;
    const std::string there = byIcu(a, e, text);
    const size_t size = draw(3) == 0 ? there.size() + draw(9) : draw(there.size() + 4);
    const bool pure = draw(3) == 0 && !text.empty(), close = draw(3) == 0 && size > 0;
    Field field(size);
    int32_t length = static_cast<int32_t>(close ? -size : size);
    const auto sourceLength = static_cast<int32_t>(text.size());
    ASSERT_EQ(_qrtConvToEBCDIC(text.data(), pure ? -sourceLength : sourceLength, field.start(), &length), 0);
    const std::string expected = plainToEbcdic(there, size, pure, close);
    ASSERT_EQ(field.text(static_cast<size_t>(length)), expected) << ebcdic << " " << round;
    ASSERT_TRUE(field.guarded(expected.size()));

    std::string back = byIcu(e, a, there);
    if (there.size() == 1 && there[0] == 0x0E) continue;
    const size_t backSize = draw(back.size() + 9);
    const bool right = draw(2) == 0 && backSize > 0;
    Field ascii(backSize);
    length = static_cast<int32_t>(right ? -backSize : backSize);
    ASSERT_EQ(_qrtConvToASCII(there.data(), static_cast<int32_t>(there.size()), ascii.start(), &length), 0);
    back = back.substr(0, backSize);
    ASSERT_EQ(length, static_cast<int32_t>(back.size()));
    back.insert(right ? 0 : back.size(), backSize - back.size(), ' ');
    ASSERT_EQ(ascii.text(backSize), back) << ebcdic << " " << round;
    ASSERT_TRUE(ascii.guarded(backSize));
  }
  ucnv_close(a);
  ucnv_close(e);
}

TEST(CodePages, SidesConvertAsIcuDoes) {
  for (const char* page : {"QMC-1140", "QMC-939", "QMC-1388"})
    for (const bool wide : {false, true}) {
      const Ended ended = inPair(wide ? "C.UTF-8" : "C", page, [&] {
        convertRandomTexts(wide ? "UTF-8" : "windows-1252", page);
        char bytes[256], apart[512];
        for (char* const target : {apart, bytes}) {  // a text may be converted in place
          for (int byte = 0; byte < 256; ++byte) bytes[byte] = static_cast<char>(byte % 128);
          int32_t room = 256;
          EXPECT_EQ(_qrtUniAtoE(bytes, 256, target, &room), 0);
        }
        EXPECT_EQ(memcmp(bytes, apart, 256), 0);
      });
      EXPECT_EQ(ended.exitCode, 0) << page << ended.out;
    }
}

TEST(CodePages, ShiftBytesAreKeptOrPutInOrder) {
  const Ended ended = inPair("C.UTF-8", "QMC-939", [] {
    const struct {
      std::string source;
      int32_t sign;
      std::string result;
    } rows[] = {
        {"\x43\x81", -1, "\xE3\x82\xA2"},          // none: wrapped
        {"\x0E\x43\x81\x0F", -1, "\xE3\x82\xA2"},  // balanced
        {"\x0E\x43\x81", -1, "\xE3\x82\xA2"},      // left open
        {"\x0E\x43\x81\x0E\x43\x82\x0F\xC1", -1,
         "\xE3\x82\xA2\xE3\x82\xA4"
         "A"},  // opened twice
        {"\xC1\x0E\x43\x81\x0F\xC2", 1,
         "A\xE3\x82\xA2"
         "B"},
    };
    for (const auto& row : rows) {
      char field[32];
      int32_t length = sizeof field;
      const auto count = static_cast<int32_t>(row.source.size());
      EXPECT_EQ(_qrtConvToASCII(row.source.data(), row.sign * count, field, &length), 0);
      EXPECT_EQ(std::string(field, static_cast<size_t>(length)), row.result) << &row - rows;
    }
    char stray[8], plain[8];  // a shift-in outside of a shift gets a shift-out of its own
    int32_t strayLength = sizeof stray, plainLength = sizeof plain;
    EXPECT_EQ(_qrtConvToASCII("\x43\x81\x0F", -3, stray, &strayLength), 0);
    EXPECT_EQ(_qrtConvToASCII("\x43\x81", 2, plain, &plainLength), 0);
    EXPECT_EQ(std::string(stray, sizeof stray), std::string(plain, sizeof plain));
    for (const char shift : {'\x0E', '\x0F'}) {
      char field[] = "####";
      int32_t length = 4;
      EXPECT_EQ(_qrtConvToASCII(&shift, 1, field, &length) + length, 1);
      EXPECT_EQ(std::string(field), std::string(1, shift) + "###");
      length = -4;
      EXPECT_EQ(_qrtConvToEBCDIC(&shift, -1, field, &length) + length, 1);
    }
    int32_t length = 3;
    char field[] = "####";
    EXPECT_EQ(_qrtConvToASCII("", 0, field, &length), 0);
    EXPECT_STREQ(field, "   #");
  });
  EXPECT_EQ(ended.exitCode, 0) << ended.out;
}

TEST(CodePages, PageWithoutConverterFailsEachTime) {
  const Ended ended = inPair("C", "QMC-420", [] {
    strcpy(ebcdic_CP, "QMC-99999");
    for (int time = 0; time < 2; ++time) {
      char field[] = "####";
      int32_t room = 4;
      EXPECT_EQ(_qrtUniAtoE("ABC", 3, field, &room), 4);
      EXPECT_EQ(room, 4);
      EXPECT_EQ(_qrtConvToEBCDIC("ABC", 3, field, &room), 4);
      EXPECT_EQ(room, 0);
      EXPECT_STREQ(field, "####");
    }
  });
  EXPECT_EQ(ended.exitCode, 0) << ended.out;
  EXPECT_EQ(countOf(ended.err, '\n') >= 4, true) << ended.err;
}

TEST(CodePages, CollatingTablesOfAProgram) {
  const Ended ended = inPair("C", "", [] {
    QrtProgramBlock program{};
    _qrtcEBCDIC(&program);
    _qrtcCollSeq(&program);
    EXPECT_EQ(program.ebcdicTable[0xC1], 'A');
    EXPECT_EQ(memcmp(program.ebcdicTable, program.ebcdicTable2, 256), 0);
    for (int place = 0; place < 256; ++place)
      EXPECT_EQ(program.collatingTable[program.sortedTable[place]], place);
    EXPECT_LT(program.collatingTable[static_cast<int>('A')], program.collatingTable[static_cast<int>('B')]);
  });
  EXPECT_EQ(ended.exitCode, 0) << ended.out;
}

}  // namespace
