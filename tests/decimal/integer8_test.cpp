// Eight-byte integers through their entries: the corners where something turns over, and laws that random
// operands must keep.
#include <qrtrlib.h>

#include <cmath>
#include <random>

#include "support/guards.h"

namespace {

uint64_t magnitude(int64_t value) {
  return value < 0 ? ~static_cast<uint64_t>(value) + 1 : static_cast<uint64_t>(value);
}

std::mt19937_64 random(20261124);

// Values of every length, and those where something turns over.
int64_t anyValue() {
  static constexpr int64_t corners[] = {0,         1,         -1,         INT64_MIN, INT64_MIN + 1, INT64_MAX,
                                        1ll << 31, 1ll << 32, UINT32_MAX, INT32_MIN, -32768,        65535};
  if (random() % 4 == 0) return corners[random() % std::size(corners)];
  return static_cast<int64_t>(random()) >> random() % 64;
}

TEST(Integer8, SumsAndProductsWrap) {
  int64_t result = INT64_MAX;
  _qrtAdd8to4(&result, &result, 1);
  EXPECT_EQ(result, INT64_MIN);
  _qrtNeg8(&result);
  EXPECT_EQ(result, INT64_MIN);
  _qrtAdd8to4(&result, &result, -3);
  EXPECT_EQ(result, INT64_MAX - 2);
  const auto tooLong = [](uint64_t a, uint64_t b) { return b != 0 && a > UINT64_MAX / b ? -1 : 0; };
  for (int round = 0; round < 5000; ++round) {
    const int64_t a = anyValue(), b = anyValue();
    const auto narrow = static_cast<int32_t>(b);
    const auto ua = static_cast<uint64_t>(a), ub = static_cast<uint64_t>(b);
    int64_t sum, back;
    _qrtAdd8to8(&sum, &a, &b);
    _qrtSub8from8(&back, &sum, &b);
    EXPECT_EQ(static_cast<uint64_t>(sum), ua + ub);
    EXPECT_EQ(back, a);
    uint64_t product = ua;
    EXPECT_EQ(_qrtMult8by8u(&product, &product, &ub), tooLong(ua, ub));
    EXPECT_EQ(product, ua * ub);
    EXPECT_EQ(_qrtMult8by8(&result, &a, &b), tooLong(magnitude(a), magnitude(b)));
    EXPECT_EQ(static_cast<uint64_t>(result), ua * ub);
    EXPECT_EQ(_qrtMult8by4(&result, &a, narrow), tooLong(magnitude(a), magnitude(narrow)));
    EXPECT_EQ(static_cast<uint64_t>(result), ua * static_cast<uint64_t>(int64_t{narrow}));
  }
}

// One division: codes, what is written and what isn't, and that quotient and remainder make up the dividend.
template <typename Integer, typename Remainder, typename Divisor, typename Entry>
void checkDivision(Entry entry, Integer dividend, Integer divisor, Divisor passed) {
  Integer quotient = 0x5A5A;
  Remainder remainder[] = {0x5A5A, 0x5A5A};
  const int32_t code = entry(&quotient, remainder, &dividend, passed);
  const bool turnsOver =
      static_cast<int64_t>(dividend) == INT64_MIN && divisor == Integer(-1) && Integer(-1) < 0;
  EXPECT_EQ(code, divisor == 0 ? 1 : turnsOver ? -1 : 0);
  EXPECT_EQ(remainder[1], Remainder{0x5A5A});
  EXPECT_TRUE(code == 0 || (quotient == 0x5A5A && remainder[0] == 0x5A5A));
  if (code != 0) return;
  const auto rest = static_cast<Integer>(remainder[0]);
  EXPECT_EQ(static_cast<uint64_t>(quotient) * static_cast<uint64_t>(divisor) + static_cast<uint64_t>(rest),
            static_cast<uint64_t>(dividend));
  EXPECT_TRUE(rest == 0 || (rest < 0) == (dividend < 0));
  const auto size = [](Integer value) {
    return value < 0 ? 0 - static_cast<uint64_t>(value) : static_cast<uint64_t>(value);
  };
  EXPECT_TRUE(size(rest) < size(divisor) && size(quotient) <= size(dividend));
}

TEST(Integer8, DividesTowardsZero) {
  for (int round = 0; round < 5000; ++round) {
    const int64_t a = round == 0 ? INT64_MIN : anyValue(), b = round == 0 ? -1 : anyValue();
    checkDivision<int64_t, int32_t>(_qrtDiv8by2, a, int64_t{static_cast<int16_t>(b)},
                                    static_cast<int16_t>(b));
    checkDivision<int64_t, int64_t>(_qrtDiv8by4, a, int64_t{static_cast<int32_t>(b)},
                                    static_cast<int32_t>(b));
    checkDivision<int64_t, int64_t>(_qrtDiv8by8, a, b, &b);
    const auto ua = static_cast<uint64_t>(a), ub = static_cast<uint64_t>(b);
    const auto narrow = static_cast<uint16_t>(b);
    checkDivision<uint64_t, uint32_t>(_qrtDiv8by2u, ua, uint64_t{narrow}, narrow);
    checkDivision<uint64_t, uint64_t>(_qrtDiv8by8u, ua, ub, &ub);
  }
}

TEST(Integer8, WritesDecimalText) {
  for (int round = 0; round < 3000; ++round) {
    const int64_t value = anyValue();
    const std::string expected = std::to_string(value) + '\0';
    const auto write = [&](uint8_t* to) { _qrtConv8toStr(reinterpret_cast<char*>(to), &value); };
    EXPECT_EQ(qrt::test::itemAfter(expected.size(), write), expected);
  }
}

TEST(Integer8, CutsDoubles) {
  const struct {
    double value;
    int64_t result;
    int32_t code;
  } cases[] = {
      {-1.9, -1, 0},
      {-9007199254740993.0, -9007199254740992, 0},
      {0x1.fffffffffffffp59, 0x0FFFFFFFFFFFFF80, 0},
      {-0x1p60, -(1ll << 60), -1},
      {0x1.8p63, INT64_MIN | 1ll << 62, -1},
      {-0x1.0000000000001p64, -(1 << 12), -1},
      {0x1.0000000000001p115, INT64_MIN, -1},
      {0x1.0000000000001p116, 0, -1},
      {HUGE_VAL, 0, -1},
      {std::nan(""), 0, -1},
  };
  for (const auto& [value, expected, code] : cases) {
    int64_t result = 99;
    EXPECT_EQ(_qrtConvDblto8(&result, value), code) << value;
    EXPECT_EQ(result, expected) << value;
  }
}

// The C library rounds the decimal text of the value once.
TEST(Integer8, RoundsOnceToFloats) {
  const auto check = [](auto entry, auto value, auto parse) {
    decltype(parse("", nullptr)) result;
    entry(&result, &value);
    EXPECT_EQ(result, parse(std::to_string(value).c_str(), nullptr)) << value;
  };
  for (int round = 0; round < 3000; ++round) {
    int64_t value = anyValue();
    if (round % 3 == 0)  // about halfway between two singles
      value = static_cast<int64_t>(1ull << 62 | 1ull << 38) + static_cast<int64_t>(random() % 3) - 1;
    check(_qrtConv8toFlt, value, strtof);
    check(_qrtConv8toDbl, value, strtod);
    check(_qrtConv8utoFlt, static_cast<uint64_t>(value), strtof);
    check(_qrtConv8utoDbl, static_cast<uint64_t>(value), strtod);
  }
}

}  // namespace
