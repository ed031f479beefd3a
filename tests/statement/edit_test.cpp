// Numeric editing: known pictures, and random ones against the plain rules.
#include <stdlib.h>

#include <random>

#include "statement/pictures.h"
#include "statement/plain_edit.h"

namespace {

using namespace qrt::test;

TEST(Edit, KnownPictures) {
  // Kind, picture, source, text; through the operation with a currency string, that string too. Behind the
  // kind: "z" for the zero rule, "," for DECIMAL-POINT IS COMMA.
  std::string cases =
      "1|ZZ9.99|+00123|  1.23;  10|$$$9|+012| $12;  7|---9|-000|  -0;  8|---9|-000|  -0;  "
      "7|---9|+123| 123;  6|++9.9|+012| +1.2;  10|$$$.$$|+0005|  $.05;  1z|***.**|+00000|***.**;  "
      "1z,|***.**|+00000|***,**;  1z|***.**|+00001|***.01;  8z|+**9|+000|    ;  "
      "1z|ZZZ.ZZ|+00000|      ;  255|ZZ9|+000|   ;  255z|**9|+000|   ;  255|ZZ9|+100|100;  "
      "1,|9,999.99|+123456|1.234,56;  2|999CR|+123|123  ;  2|999CR|-123|123CR;  3|999DB|-007|007DB;  "
      "1|**,**9|+00012|****12;  3|ZZ,ZZZ,ZZ9.99-|-0001234567|    12,345.67-;  1|0ZZ,Z99|+00012|0  , 12;  "
      "1|$ZZ9|+012|$ 12;  10|$$/$$9|+0012|   $12;  1|PP99VP|+12|12;  10|9$$|+123|123;  10|.$$|+12|.12;  "
      "10|$$,$$9.99|+012345|  EUR123.45|EUR;  10|$$,$$9.99|+912345|EUR9,123.45|EUR;  "
      "10|$$99VP|+012| F$12|F$;  10|$$99|+012| 12|;  1|$ZZ9|+012|EUR 12|EUR;  1|ZZ9|+012| 12  |EUR;  "
      "1|ZZ9|+012| 1|";
  // The text of that operation stops at 249 bytes.
  const std::string sevens(249, '7');
  cases += ";  1|" + std::string(251, '9') + "|+" + sevens + "77|" + sevens + "  |EUR";
  cases += ";  1|" + std::string(250, 'C') + "|+|" + std::string(250, ' ') + "|EUR";
  for (const std::string& row : split(cases, ";  ")) {
    const auto column = split(row, "|");
    const bool comma = column[0].ends_with(','), zeroRule = column[0].find('z') != std::string::npos;
    const Record picture = editPicture(column[1], atoi(column[0].c_str()), zeroRule, comma ? ',' : '.');
    const std::string text = itemAfter(column[3].size(), [&](uint8_t* item) {
      if (column.size() > 4)
        _qrtcMoveNumToNumEdit2(picture, bytes(column[2]), item, Record(column[4]));
      else
        _qrtcMoveNumToNumEdit(picture, bytes(column[2]), item);
    });
    EXPECT_EQ(text, column[3]) << row;
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
    std::string source(1, anyOf("++- "));
    source.resize(1 + random() % 21, '0');
    while (source.size() < 21) source += anyOf("0123456789");

    const Record record = editPicture(picture, kind, random() % 3 == 0, anyOf(".,"), anyOf("$E"));
    const QrtNumEditPicture* rules = record;
    const std::string expected = qrt::statement::plainEdit(*rules, bytes(source));
    const std::string text = itemAfter(
        expected.size(), [&](uint8_t* item) { _qrtcMoveNumToNumEdit(record, bytes(source), item); });
    ASSERT_EQ(text, expected) << picture << " kind " << kind << " source " << source;
  }
}

}  // namespace
