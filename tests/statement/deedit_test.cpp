// De-editing: known items, items that don't fit, and what editing made.
#include <random>

#include "statement/pictures.h"

namespace {

using namespace qrt::test;

TEST(Deedit, KnownItems) {
  const struct {
    const char *picture, *item;
    int32_t result;
    const char* digits;
  } cases[] = {
      {"ZZ9.99", "  1.23", 0, "00123+"},
      {"$$$9", " $12", 0, "012+"},
      {"$999", "7123", 0, "7123+"},  // a digit on the first "$" goes out too
      {"**,**9", "****12", 0, "00012+"},
      {"---9", "  -5", 0, "005-"},
      {"---9", "  12", 0, "012+"},
      {"--/-9", " -/12", 0, "012-"},
      {"--/-9", "  -12", 0, "012-"},
      {"+++9", " + 5", 0, "005+"},
      {"99-", "12-", 0, "12-"},
      {"99-", "12 ", 0, "12+"},
      {"99CR", "12CR", 0, "12-"},
      {"99CR", "12  ", 0, "12+"},
      {"+99", "-12", 0, "12-"},
      {"9V9P", "12", 0, "12+"},
      {"Z,ZZ9", "-,123", 0, "-123+"},
      {"ZZ,Z", "12-3", 0, "123-"},
      {"++9", "?12", 0, "12+"},
      {"+++9", " ?12", 0, "12+"},  // the byte itself puts nothing out
      {"99/", "12-", 0, "12+"},    // no sign position: not a sign
      {"+99", "112", 1, ""},
      {"--9", "112", 1, ""},
      {"++9", " 12", 1, ""},  // a digit, and no sign so far
      {"+-9", "+-1", 1, ""},
      {"--9", "-?1", 1, ""},
      {"99CR", "12DB", 1, "12"},
      {"99C", "12C", 1, "12"},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(std::string(one.picture) + " " + one.item);
    Guarded digits(strlen(one.digits));
    EXPECT_EQ(_qrtcMoveNumEditToNum(deeditPicture(one.picture), bytes(one.item), digits.data()), one.result);
    EXPECT_EQ(digits.text(), one.digits);
    EXPECT_TRUE(digits.intact());
  }
}

TEST(Deedit, TakesBackWhatEditingMade) {
  const struct {
    const char* picture;
    int kind;
    int digits;
    bool sign;                  // a negative value shows
    const char* currency = "";  // through the operations with a currency string
  } pictures[] = {
      {"ZZ,ZZZ,ZZ9.99-", 3, 10, true}, {"$$,$$9.99CR", 10, 6, true}, {"+++,++9", 6, 5, true},
      {"Z9/99/9999", 1, 8, false},     {"---,--9.99", 7, 7, true},   {"$$,$$9.99", 12, 6, false, "EUR"},
      {"$$$9-", 11, 3, true, "US$"},   {"*,***.99", 1, 6, false},
  };
  std::mt19937 random(7);
  for (const auto& one : pictures) {
    for (int round = 0; round < 2000; ++round) {
      std::string digits;
      const size_t zeros = random() % (one.digits + 1);
      while (digits.size() < static_cast<size_t>(one.digits))
        digits += digits.size() < zeros ? '0' : static_cast<char>('0' + random() % 10);
      const char sign = one.sign && random() % 2 == 0 ? '-' : '+';
      std::string item(strlen(one.picture) + strlen(one.currency), '?');
      Guarded result(digits.size() + 1);
      const auto edited = editPicture(one.picture, one.kind);
      auto* out = reinterpret_cast<uint8_t*>(item.data());
      int32_t fits;
      if (*one.currency != 0) {
        _qrtcMoveNumToNumEdit2(edited, bytes(sign + digits), out, currency(one.currency));
        fits = _qrtcMoveNumEditToNum2(deeditPicture(one.picture), out, result.data(), currency(one.currency));
      } else {
        _qrtcMoveNumToNumEdit(edited, bytes(sign + digits), out);
        fits = _qrtcMoveNumEditToNum(deeditPicture(one.picture), out, result.data());
      }
      ASSERT_EQ(fits, 0) << one.picture << " '" << item << "'";
      ASSERT_EQ(result.text(), digits + sign) << one.picture << " '" << item << "'";
      ASSERT_TRUE(result.intact());
    }
  }
}

TEST(Deedit, LooksForTheCurrencyStringInTheItemOnly) {
  Guarded digits(4);
  // Behind the item's six bytes the string doesn't count: the first "$" position meets a space.
  EXPECT_EQ(_qrtcMoveNumEditToNum2(deeditPicture("$$99"), bytes("  12  EUR"), digits.data(), currency("EUR")),
            0);
  EXPECT_EQ(digits.text(), "012+");
  EXPECT_EQ(
      _qrtcMoveNumEditToNum2(deeditPicture(std::string(250, '9')), bytes(""), digits.data(), currency("EUR")),
      1);
  EXPECT_TRUE(digits.intact());
}

}  // namespace
