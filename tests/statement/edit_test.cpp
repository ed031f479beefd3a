// Numeric editing: known pictures, and random ones against the plain rules.
#include <random>

#include "statement/pictures.h"
#include "statement/plain_edit.h"

namespace {

using namespace qrt::test;

struct Case {
  const char* picture;
  int kind;
  const char* source;
  const char* text;
  bool zeroRule = false;
  char point = '.';
};

const Case cases[] = {
    {"ZZ9.99", 1, "+00123", "  1.23"},
    {"$$$9", 10, "+012", " $12"},
    {"---9", 7, "-000", "  -0"},
    {"---9", 8, "-000", "  -0"},
    {"---9", 7, "+123", " 123"},
    {"++9.9", 6, "+012", " +1.2"},
    {"$$$.$$", 10, "+0005", "  $.05"},
    {"***.**", 1, "+00000", "***.**", true},
    {"***.**", 1, "+00000", "***,**", true, ','},
    {"***.**", 1, "+00001", "***.01", true},
    {"+**9", 8, "+000", "    ", true},
    {"ZZZ.ZZ", 1, "+00000", "      ", true},
    {"ZZ9", 0xFF, "+000", "   "},
    {"**9", 0xFF, "+000", "   ", true},
    {"ZZ9", 0xFF, "+100", "100"},
    {"9,999.99", 1, "+123456", "1.234,56", false, ','},
    {"999CR", 2, "+123", "123  "},
    {"999CR", 2, "-123", "123CR"},
    {"999DB", 3, "-007", "007DB"},
    {"ZZ,ZZZ,ZZ9.99-", 3, "-0001234567", "    12,345.67-"},
    {"**,**9", 1, "+00012", "****12"},
    {"0ZZ,Z99", 1, "+00012", "0  , 12"},
    {"99/99/9999", 1, "+24112026", "24/11/2026"},
    {"ZZ/Z9", 1, "+0007", "    7"},
    {"$ZZ9", 1, "+012", "$ 12"},
    {"$$/$$9", 10, "+0012", "   $12"},
    {"PP99VP", 1, "+12", "12"},
    // The symbol would stand ahead of the item.
    {"9$$", 10, "+123", "123"},
    {".$$", 10, "+12", ".12"},
};

TEST(Edit, KnownPictures) {
  for (const Case& one : cases) {
    SCOPED_TRACE(std::string(one.picture) + " " + one.source);
    Guarded item(strlen(one.text));
    _qrtcMoveNumToNumEdit(editPicture(one.picture, one.kind, one.zeroRule, one.point), bytes(one.source),
                          item.data());
    EXPECT_EQ(item.text(), one.text);
    EXPECT_TRUE(item.intact());
  }
}

TEST(Edit, RandomPicturesAsThePlainRules) {
  std::mt19937 random(20261124);
  const auto anyOf = [&](std::string_view choices) { return choices[random() % choices.size()]; };
  for (int round = 0; round < 200000; ++round) {
    // Half of the pictures mix everything, the others are built round one suppression character.
    std::string picture;
    const std::string mostly(6, anyOf("9Z*$+-"));
    const std::string alphabet = round % 2 == 0 ? "99ZZ**$$$+++---0/ .,VPCD" : mostly + "9990/ ,,.V";
    for (size_t left = random() % 20; left > 0; --left) picture += anyOf(alphabet);
    const int kind = static_cast<int>(random() % 4 == 0 ? 256 - random() % 16 : random() % 13);
    const bool zeroRule = random() % 3 == 0;
    std::string source(1, anyOf("++- "));
    for (size_t leading = random() % 20; source.size() <= leading;) source += '0';
    while (source.size() < 21) source += anyOf("0123456789");
    if (random() % 4 == 0) source.replace(1, 20, 20, '0');

    const auto record = editPicture(picture, kind, zeroRule, anyOf(".,"), anyOf("$E"));
    const std::string expected =
        qrt::statement::plainEdit(*static_cast<const QrtNumEditPicture*>(record), bytes(source));
    Guarded item(expected.size());
    _qrtcMoveNumToNumEdit(record, bytes(source), item.data());
    ASSERT_EQ(item.text(), expected) << picture << " kind " << kind << " source " << source;
    ASSERT_TRUE(item.intact()) << picture;
  }
}

TEST(Edit, CurrencyString) {
  const struct {
    const char *picture, *source, *currency, *text;
  } strings[] = {
      {"$$,$$9.99", "+012345", "EUR", "  EUR123.45"},
      {"$$,$$9.99", "+912345", "EUR", "EUR9,123.45"},
      {"$$99VP", "+012", "F$", " F$12"},
      {"$$99", "+012", "", " 12"},
      {"$ZZ9", "+012", "EUR", "EUR 12"},
      {"ZZ9", "+012", "EUR", " 12  "},
      {"ZZ9", "+012", "", " 1"},
  };
  for (const auto& one : strings) {
    SCOPED_TRACE(std::string(one.picture) + " " + one.currency);
    Guarded item(strlen(one.text));
    // The record's own currency character plays no part.
    _qrtcMoveNumToNumEdit2(
        editPicture(one.picture, one.picture[0] == '$' && one.picture[1] == '$' ? 10 : 1, false, '.', 'E'),
        bytes(one.source), item.data(), currency(one.currency));
    EXPECT_EQ(item.text(), one.text);
    EXPECT_TRUE(item.intact());
  }
}

TEST(Edit, TextOfACurrencyOperationStopsAt249Bytes) {
  for (const char* unit : {"9", "CV", "9P", "CR"}) {
    std::string picture;
    while (picture.size() < 3000) picture += unit;
    const bool pairs = unit[0] == 'C';
    Guarded item((pairs ? 248 : 249) + 2);
    _qrtcMoveNumToNumEdit2(editPicture(picture, 1), bytes('+' + std::string(3000, '7')), item.data(),
                           currency("EUR"));
    EXPECT_EQ(item.text(), std::string(pairs ? 248 : 249, pairs ? ' ' : '7') + "  ") << unit;
    EXPECT_TRUE(item.intact());
  }
}

}  // namespace
