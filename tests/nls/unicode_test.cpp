// National text: conversions by name, compares, moves and case.
#include <qrtrlib.h>
#include <stdlib.h>
#include <string.h>

#include "support/process.h"

using namespace qrt::test;

namespace {

int32_t bytesOf(std::u16string_view text) {
  return static_cast<int32_t>(text.size() * 2);
}

// Number, severity and value of each message.
std::string reports(std::string_view text) {
  std::string all;
  for (size_t at = 0; (at = text.find("QRT", at)) != text.npos; ++at) {
    const size_t value = text.find_first_of("0123456789", at + 6);
    all += std::string(text.substr(at + 3, 4)) + ' ' + std::to_string(atoi(&text[value])) + "; ";
  }
  return all;
}

TEST(Unicode, ConvertsByNameCutsOrRefusesAndReports) {
  const Ended ended = inChild([] {
    const struct {
      std::string source, page;
      int32_t room, code;
      const char16_t* result;
      int32_t bytes;
    } there[] = {
        {"A\xC3\x84", "UTF-8", 8, 0, u"A\u00C4##", 4},
        {"ABC", "UTF-8", 5, 11, u"AB##", 4},
        {"AB", "NoSuchPage", 8, 4, u"####", 8},
        {"AB", "QMC-99999", 8, 4, u"####", 8},
        {"AB", "UTF-8-and-then-some-more-letters-yet", 8, 4, u"####", 8},
    };
    for (const auto& row : there) {
      std::u16string target(4, u'#');
      int32_t bytes = row.room;
      EXPECT_EQ(_qrtConvToUnicode(row.source.data(), static_cast<int32_t>(row.source.size()), target.data(),
                                  &bytes, row.page.data(), static_cast<int32_t>(row.page.size())),
                row.code);
      EXPECT_EQ(target, row.result);
      EXPECT_EQ(bytes, row.bytes);
      EXPECT_EQ(Uerror + save_converter, row.code);
    }
    char bytes[] = "#####";
    int32_t room = 3;
    EXPECT_EQ(_qrtConvFromUnicode(u"AB\u00C4", 6, bytes, &room, "UTF-8", 5), 11);
    EXPECT_EQ(room, 3);
    room = 5;
    EXPECT_EQ(_qrtConvFromUnicode(u"AB\u00C4", 7, bytes, &room, "UTF-8", 5), 0);  // half a unit doesn't count
    EXPECT_STREQ(bytes, "AB\xC3\x84#");
    EXPECT_EQ(room, 4);
    qrtGetMaxCharSize("NoSuchPage");
    std::u16string text = u"Stra\u00DFe#";  // case may change the length
    room = 14;
    _qrtUpperCaseUnicode(text.data(), &room, text.data(), 12);
    EXPECT_EQ(text, u"STRASSE");
    EXPECT_EQ(room, 14);
    _qrtLowerCaseUnicode(text.data(), &room, text.data(), 12);
    EXPECT_EQ(text, u"strassE");
    EXPECT_EQ(room, 12);
    room = 2;
    _qrtUpperCaseUnicode(text.data(), &room, u"\u00DF", 2);
    EXPECT_EQ(room, 2);
    exit(testing::Test::HasFailure() ? 1 : 0);
  });
  EXPECT_EQ(ended.exitCode, 0) << ended.out;
  EXPECT_EQ(reports(ended.err), "222W 11; 221W 4; 221W 4; 221W 4; 222W 11; 221W 4; 225W 11; ") << ended.err;
}

TEST(Unicode, ComparesWithoutTrailingSpaces) {
  const struct {
    const char16_t *first, *second;
    int32_t result;
  } rows[] = {
      {u"AB", u"AB ", 0}, {u"   ", u" ", 0}, {u"b", u"a", 1},       {u"AB", u"ABC", -1},
      {u" A", u"A", -1},  {u"a", u"B", -1},  {u"\u00E4", u"z", -1},
  };
  for (const auto& row : rows)
    EXPECT_EQ(_qrtCompareUnicode(row.first, bytesOf(row.first), row.second, bytesOf(row.second)), row.result);
}

TEST(Unicode, MovesWholeCharacters) {
  const struct {
    const char16_t* source;
    int32_t targetBytes;
    const char16_t* result;
  } rows[] = {
      {u"ab", 12, u"ab    ##"},    {u"ab", -12, u"    ab##"}, {u"abcdef", -4, u"ef######"},
      {u"abcdef", 4, u"ab######"}, {u"", 4, u"  ######"},     {u"ab", -7, u" ab#####"},
  };
  for (const auto& row : rows) {
    std::u16string target(8, u'#');
    _qrtMoveUnicode(target.data(), row.targetBytes, row.source, bytesOf(row.source));
    EXPECT_EQ(target, row.result);
  }
}

}  // namespace
