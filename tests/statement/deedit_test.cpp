// De-editing: known items, items that don't fit, and what editing made.
#include <stdlib.h>

#include <random>

#include "statement/pictures.h"

namespace {

using namespace qrt::test;

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
      "ZZ,Z|12-3|123-;  ++9|?12|12+;  +++9| ?12|12+;  99/|12-|12+;  +99|112|!;  --9|112|!;  ++9| 12|!;  "
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
