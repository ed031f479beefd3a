// Moves of characters, numeric editing and de-editing: known items, and random ones against plain rules.

#include "statement/pictures.h"
#include "statement/plain_edit.h"

namespace {

using namespace qrt::test;

// Both kinds of editing by the same rule. The pair is the double-byte blank, of alphanumeric pictures only;
// national characters are the bytes in another row, at odd addresses.
TEST(Move, RandomEditing) {
  std::mt19937 random(4);
  for (int round = 0; round < 20000; ++round) {
    const bool repeat = random() % 2 == 0;
    const std::string source = std::string("abcdefgh").substr(0, random() % 9);
    std::string wideSource(1, '.'), elements(1, repeat), runs{repeat, 0}, text, wideText;
    for (const char character : source) wideSource += {character, '\x30'};
    int pictured = 0;
    for (size_t left = random() % 6, next = 0; left > 0; --left) {
      const char character = "X0/ \x81"[random() % 5];
      const bool insertion = character != 'X' && character != '\x81';
      const int count = static_cast<int>(random() % 6) - 1;
      runs += {character, 0, static_cast<char>(count), static_cast<char>(count >> 8)};
      for (int position = 0; position < count; ++position, ++pictured) {
        if (!insertion && repeat && next == source.size()) next = 0;
        const bool taken = !insertion && next < source.size();
        elements += character;
        text += taken ? source[next++] : insertion ? character : ' ';
        wideText += {text.back(), taken ? '\x30' : '\0'};
      }
      if (random() % 4 == 0) elements += "\x81\x40", text += "\x81\x40", ++pictured;
    }
    const std::string item = itemAfter(text.size(), [&](uint8_t* out) {
      _qrtcMoveAlphaNumEdit(Record(pictured, elements), bytes(source), int(source.size()), out);
    });
    ASSERT_EQ(item, text);
    const std::string wide = itemAfter(1 + wideText.size(), [&](uint8_t* out) {
      const Record picture(int(runs.size() - 2), runs);
      _qrtcMoveUnicodeEdit(picture, &wideSource[1], int(source.size() * 2), out + 1);
    });
    ASSERT_EQ(wide, "#" + wideText);
  }
}

TEST(Move, FigurativeConstants) {
  for (const std::string literal : {"A", "AB", "ABC", "ABCDEFGHIJ"})
    for (int length = -40; length <= 40; ++length) {
      const size_t size = static_cast<size_t>(std::abs(length));
      // Where in the literal the item starts, so that it ends on a whole one.
      const size_t start = length < 0 ? literal.size() - size % literal.size() : 0;
      std::string expected;
      while (expected.size() < size) expected += literal[(start + expected.size()) % literal.size()];
      const std::string text = itemAfter(size, [&](uint8_t* item) {
        _qrtcMoveFigConst(item, length, bytes(literal), static_cast<int32_t>(literal.size()));
      });
      EXPECT_EQ(text, expected) << literal << " " << length;
    }
}

TEST(Move, VariableLengthsAndOverlap) {
  std::mt19937 random(3);
  std::string letters(64, 'A');
  for (size_t at = 0; at < letters.size(); ++at) letters[at] = static_cast<char>('A' + at);
  for (int round = 0; round < 50000; ++round) {
    std::string area = letters, expected = letters;
    const int targetSize = random() % 24, sourceSize = random() % 24,
              count = std::min(targetSize, sourceSize);
    const int target = random() % 32, source = random() % 32;
    const bool right = targetSize > 0 && random() % 2 == 0, host = sourceSize > 0 && random() % 2 == 0;
    const int padding = targetSize - count, dropped = right ? sourceSize - count : 0;
    for (int at = 0; at < count; ++at)
      expected[target + (right ? padding : 0) + at] = expected[source + dropped + at];
    expected.replace(target + (right ? 0 : count), padding, padding, host ? '\x40' : ' ');
    auto* base = reinterpret_cast<uint8_t*>(area.data());
    _qrtcMoveVarLenOverlap(base + target, right ? -targetSize : targetSize, base + source,
                           host ? -sourceSize : sourceSize);
    ASSERT_EQ(area, expected) << target << " " << targetSize << " " << source << " " << sourceSize;
  }
}

TEST(Edit, CurrencyStrings) {
  // Kind, picture, source, currency string, text.
  std::string cases =
      "10|$$,$$9.99|+012345|EUR|  EUR123.45;  10|$$,$$9.99|+912345|EUR|EUR9,123.45;  10|$$99VP|+012|F$| "
      "F$12;  "
      "10|$$99|+012|| 12;  1|$ZZ9|+012|EUR|EUR 12;  1|ZZ9|+012|EUR| 12  ;  1|ZZ9|+012|| 1";
  // The text of that operation stops at 249 bytes.
  const std::string sevens(249, '7');
  cases += ";  1|" + std::string(251, '9') + "|+" + sevens + "77|EUR|" + sevens + "  ";
  cases += ";  1|" + std::string(250, 'C') + "|+|EUR|" + std::string(250, ' ');
  for (const std::string& row : split(cases, ";  ")) {
    const auto column = split(row, "|");
    const Record picture = editPicture(column[1], atoi(column[0].c_str()));
    const std::string text = itemAfter(column[4].size(), [&](uint8_t* item) {
      _qrtcMoveNumToNumEdit2(picture, bytes(column[2]), item, Record(column[3]));
    });
    EXPECT_EQ(text, column[4]) << row;
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

// The digits and sign of an item, "!" behind what was written of one that doesn't fit.
std::string deedited(std::string_view picture, std::string_view item, std::string_view currency = "") {
  int32_t result = -1;
  std::string text = itemAfter(16, [&](uint8_t* digits) {
    if (currency.empty())
      result = _qrtcMoveNumEditToNum(Record(picture), bytes(item), digits);
    else
      result = _qrtcMoveNumEditToNum2(Record(picture), bytes(item), digits, Record(currency));
  });
  text.resize(text.find('#'));
  return result == 0 ? text : text + "!";
}

TEST(Deedit, KnownItems) {
  // Picture, item, digits.
  constexpr std::string_view cases =
      "ZZ9.99|  1.23|00123+;  $$$9| $12|012+;  $999|7123|7123+;  **,**9|****12|00012+;  ---9|  -5|005-;  "
      "---9|  12|012+;  --/-9| -/12|012-;  --/-9|  -12|012-;  +++9| + 5|005+;  99-|12-|12-;  "
      "99-|12 |12+;  99CR|12CR|12-;  99CR|12  |12+;  +99|-12|12-;  9V9P|12|12+;  Z,ZZ9|-,123|-123+;  "
      "ZZ,Z|12-3|123-;  ++9|?12|12+;  +++9| ?12|12+;  99/|12-|12+;  +9/|+1-|1+;  +99|112|!;  --9|112|!;  "
      "++9| 12|!;  "
      "+-9|+-1|!;  --9|-?1|!;  99CR|12DB|12!;  99C|12C|12!";
  for (const std::string& row : split(cases, ";  ")) {
    const auto column = split(row, "|");
    EXPECT_EQ(deedited(column[0], column[1]), column[2]) << row;
  }
  // A currency string counts in the item's own bytes only.
  EXPECT_EQ(deedited("$$99", "  12  EUR", "EUR"), "012+");
  EXPECT_EQ(deedited(std::string(250, '9'), "", "EUR"), "!");
}

TEST(Deedit, TakesBackWhatEditingMade) {
  // Picture, kind, digits, "-" where the sign of a negative value shows, currency string or nothing.
  constexpr std::string_view cases =
      "ZZ,ZZZ,ZZ9.99-|3|10|-|;  $$,$$9.99CR|10|6|-|;  +++,++9|6|5|-|;  ---,--9.99|7|7|-|;  "
      "$$$9-|11|3|-|US$;  $$,$$9.99|12|6|+|EUR;  Z9/99/9999|1|8|+|;  *,***.99|1|6|+|";
  std::mt19937 random(7);
  for (const std::string& row : split(cases, ";  ")) {
    const auto column = split(row, "|");
    const std::string &picture = column[0], &currency = column[4];
    const Record record = editPicture(picture, atoi(column[1].c_str()));
    const auto size = static_cast<size_t>(atoi(column[2].c_str()));
    for (int round = 0; round < 2000; ++round) {
      std::string digits(random() % (size + 1), '0');
      while (digits.size() < size) digits += static_cast<char>('0' + random() % 10);
      const char sign = random() % 2 == 0 ? column[3][0] : '+';
      std::string item(picture.size() + currency.size(), '#');
      auto* out = reinterpret_cast<uint8_t*>(item.data());
      if (!currency.empty())
        _qrtcMoveNumToNumEdit2(record, bytes(sign + digits), out, Record(currency));
      else
        _qrtcMoveNumToNumEdit(record, bytes(sign + digits), out);
      ASSERT_EQ(deedited(picture, item, currency), digits + sign) << row << " " << item;
    }
  }
}

}  // namespace
