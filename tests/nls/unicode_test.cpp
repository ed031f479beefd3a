// National text: conversions by name, compares, moves and case.
#include <qrtrlib.h>
#include <string.h>

#include "support/process.h"

using namespace qrt::test;

namespace {

int32_t bytesOf(std::u16string_view text) {
  return static_cast<int32_t>(text.size() * 2);
}

int32_t toUnicode(std::string_view source, std::u16string& target, std::string_view page) {
  int32_t room = bytesOf(target);
  const int32_t code = _qrtConvToUnicode(source.data(), static_cast<int32_t>(source.size()), target.data(),
                                         &room, page.data(), static_cast<int32_t>(page.size()));
  if (code == 0 || code == 11) target.resize(static_cast<size_t>(room / 2));
  return code;
}

TEST(Unicode, ConvertsByNameAndCutsOrRefuses) {
  std::u16string target(4, u'#');
  EXPECT_EQ(toUnicode("A\xC3\x84", target, "UTF-8"), 0);
  EXPECT_EQ(target, u"A\u00C4");
  EXPECT_EQ(Uerror + save_converter, 0);
  target.assign(2, u'#');
  EXPECT_EQ(toUnicode("ABC", target, "UTF-8"), 11);
  EXPECT_EQ(target, u"AB");
  for (const char* name : {"NoSuchPage", "QMC-99999", "UTF-8-and-then-some-more-letters-yet"}) {
    target.assign(2, u'#');
    EXPECT_EQ(toUnicode("AB", target, name), 4) << name;
    EXPECT_EQ(target, u"##");
  }
  char bytes[] = "#####";
  int32_t room = 3;
  EXPECT_EQ(_qrtConvFromUnicode(u"AB\u00C4", 6, bytes, &room, "UTF-8", 5), 11);
  EXPECT_EQ(room, 3);
  room = 5;
  EXPECT_EQ(_qrtConvFromUnicode(u"AB\u00C4", 7, bytes, &room, "UTF-8", 5), 0);  // the odd byte doesn't count
  EXPECT_EQ(std::string(bytes), "AB\xC3\x84#");
  EXPECT_EQ(room, 4);
}

TEST(Unicode, ReportsWhatFailed) {
  const struct {
    void (*work)();
    const char *number, *value;
  } rows[] = {
      {[] {
         std::u16string target(1, u'#');
         toUnicode("A", target, "NoSuchPage");
       },
       "QRT221", "ICU error 4"},
      {[] {
         std::u16string target(1, u'#');
         toUnicode("AB", target, "UTF-8");
       },
       "QRT222", "ICU error 11"},
      {[] {
         int32_t room = 1;
         char byte;
         _qrtConvFromUnicode(u"AB", 4, &byte, &room, "UTF-8", 5);
       },
       "QRT222", "ICU error 11"},
      {[] {
         int32_t room = 2;
         char16_t unit[1];
         _qrtUpperCaseUnicode(unit, &room, u"\u00DF", 2);
       },
       "QRT225", "ICU error 11"},
      {[] { qrtGetMaxCharSize("NoSuchPage"); }, "QRT221", "ICU error 4"},
  };
  for (const auto& row : rows) {
    const Ended ended = inChild(row.work);
    EXPECT_NE(ended.err.find(row.number), std::string::npos) << ended.err;
    EXPECT_NE(ended.err.find(row.value), std::string::npos) << ended.err;
  }
}

TEST(Unicode, ComparesWithoutTrailingSpaces) {
  const struct {
    const char16_t *first, *second;
    int32_t result;
  } rows[] = {
      {u"AB", u"AB ", 0},  {u"   ", u" ", 0}, {u"a", u"b", -1}, {u"b", u"a", 1},
      {u"AB", u"ABC", -1}, {u" A", u"A", -1}, {u"a", u"B", -1}, {u"\u00E4", u"z", -1},
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
      {u"abcdef", 4, u"ab######"}, {u"", 4, u"  ######"},     {u"ab", 5, u"ab######"},
      {u"ab", -7, u" ab#####"},
  };
  for (const auto& row : rows) {
    std::u16string target(8, u'#');
    _qrtMoveUnicode(target.data(), row.targetBytes, row.source, bytesOf(row.source));
    EXPECT_EQ(target, row.result);
  }
}

TEST(Unicode, CaseMayChangeTheLength) {
  std::u16string text = u"Stra\u00DFe#";
  int32_t room = 14;
  _qrtUpperCaseUnicode(text.data(), &room, text.data(), 12);
  EXPECT_EQ(text, u"STRASSE");
  EXPECT_EQ(room, 14);
  _qrtLowerCaseUnicode(text.data(), &room, text.data(), 12);
  EXPECT_EQ(text, u"strassE");
  EXPECT_EQ(room, 12);
  room = 2;
  _qrtUpperCaseUnicode(text.data(), &room, u"\u00DF", 2);
  EXPECT_EQ(room, 2);
}

}  // namespace
