// Eight-byte integers through their entries: random operands and the corners where something turns over,
// beside the compiler's own arithmetic.
#include <cmath>

#include "operands.h"

namespace {

using namespace qrt::test;

// Values of every length, and those where something turns over.
int64_t anyValue() {
  static constexpr int64_t corners[] = {0,         1,         -1,         INT64_MIN, INT64_MIN + 1, INT64_MAX,
                                        1ll << 31, 1ll << 32, UINT32_MAX, INT32_MIN, -32768,        65535};
  if (below(4) == 0) return corners[below(std::size(corners))];
  return static_cast<int64_t>(random_()) >> below(64);
}

uint64_t magnitude(int64_t value) {
  return value < 0 ? 0 - static_cast<uint64_t>(value) : static_cast<uint64_t>(value);
}

TEST(Integer8, SumsAndProductsWrap) {
  const auto tooLong = [](uint64_t a, uint64_t b) { return b != 0 && a > UINT64_MAX / b ? -1 : 0; };
  for (int round = 0; round < 5000; ++round) {
    const int64_t a = anyValue(), b = anyValue();
    const auto narrow = static_cast<int32_t>(b);
    const auto ua = static_cast<uint64_t>(a), ub = static_cast<uint64_t>(b),
               un = static_cast<uint64_t>(int64_t{narrow});
    const auto expect = [](auto entry, auto result, auto operand, uint64_t expected, int32_t code = 0) {
      if constexpr (std::is_void_v<decltype(entry(&result, &result, operand))>)
        entry(&result, &result, operand);
      else
        EXPECT_EQ(entry(&result, &result, operand), code);
      EXPECT_EQ(static_cast<uint64_t>(result), expected) << operand;
    };
    expect(_qrtAdd8to4, a, narrow, ua + un);
    expect(_qrtAdd8to8, a, &b, ua + ub);
    expect(_qrtSub8from8, a, &b, ua - ub);
    expect(_qrtMult8by8, a, &b, ua * ub, tooLong(magnitude(a), magnitude(b)));
    expect(_qrtMult8by4, a, narrow, ua * un, tooLong(magnitude(a), magnitude(narrow)));
    expect(_qrtMult8by8u, ua, &ub, ua * ub, tooLong(ua, ub));
    int64_t negated = a;
    _qrtNeg8(&negated);
    EXPECT_EQ(static_cast<uint64_t>(negated), 0 - ua);
  }
}

// One division: its code, what is written and what isn't.
template <typename Remainder, typename Integer, typename Divisor>
void expectDivision(auto entry, Integer dividend, Divisor divisor, auto passed) {
  Integer quotient = 0x5A5A;
  Remainder remainder[] = {0x5A5A, 0x5A5A};
  const bool turnsOver =
      std::is_signed_v<Integer> && dividend == static_cast<Integer>(INT64_MIN) && divisor == Divisor(-1);
  const int32_t code = divisor == 0 ? 1 : turnsOver ? -1 : 0;
  ASSERT_EQ(entry(&quotient, remainder, &dividend, passed), code);
  ASSERT_EQ(quotient, code == 0 ? dividend / divisor : Integer{0x5A5A}) << dividend << ' ' << divisor;
  ASSERT_EQ(remainder[0], code == 0 ? static_cast<Remainder>(dividend % divisor) : Remainder{0x5A5A});
  ASSERT_EQ(remainder[1], Remainder{0x5A5A});
}

TEST(Integer8, DividesTowardsZero) {
  for (int round = 0; round < 5000; ++round) {
    const int64_t a = round == 0 ? INT64_MIN : anyValue(), b = round == 0 ? -1 : anyValue();
    const auto ua = static_cast<uint64_t>(a), ub = static_cast<uint64_t>(b);
    expectDivision<int32_t>(_qrtDiv8by2, a, static_cast<int16_t>(b), static_cast<int16_t>(b));
    expectDivision<int64_t>(_qrtDiv8by4, a, static_cast<int32_t>(b), static_cast<int32_t>(b));
    expectDivision<int64_t>(_qrtDiv8by8, a, b, &b);
    expectDivision<uint32_t>(_qrtDiv8by2u, ua, static_cast<uint16_t>(b), static_cast<uint16_t>(b));
    expectDivision<uint64_t>(_qrtDiv8by8u, ua, ub, &ub);
  }
}

TEST(Integer8, CutsDoubles) {
  const struct {
    double value;
    int64_t result;
    int32_t code;
  } cases[] = {{-1.9, -1, 0},
               {-9007199254740993.0, -9007199254740992, 0},
               {0x1.fffffffffffffp59, 0x0FFFFFFFFFFFFF80, 0},
               {-0x1p60, -(1ll << 60), -1},
               {0x1.8p63, INT64_MIN | 1ll << 62, -1},
               {-0x1.0000000000001p64, -(1 << 12), -1},
               {0x1.0000000000001p115, INT64_MIN, -1},
               {0x1.0000000000001p116, 0, -1},
               {HUGE_VAL, 0, -1},
               {std::nan(""), 0, -1}};
  for (const auto& [value, expected, code] : cases) {
    int64_t result = 99;
    EXPECT_TRUE(_qrtConvDblto8(&result, value) == code && result == expected) << value << ' ' << result;
  }
}

// The C library rounds the decimal text of the value once.
TEST(Integer8, BecomesTextAndFloats) {
  const auto check = [](auto entry, auto value, auto parse) {
    decltype(parse("", nullptr)) result;
    entry(&result, &value);
    EXPECT_EQ(result, parse(std::to_string(value).c_str(), nullptr)) << value;
  };
  for (int round = 0; round < 3000; ++round) {
    int64_t value = anyValue();
    if (round % 3 == 0)  // about halfway between two singles
      value = static_cast<int64_t>(1ull << 62 | 1ull << 38) + below(3) - 1;
    check(_qrtConv8toFlt, value, strtof);
    check(_qrtConv8toDbl, value, strtod);
    check(_qrtConv8utoFlt, static_cast<uint64_t>(value), strtof);
    check(_qrtConv8utoDbl, static_cast<uint64_t>(value), strtod);
    const std::string text = std::to_string(value) + '\0';
    const auto write = [&](uint8_t* to) { _qrtConv8toStr(reinterpret_cast<char*>(to), &value); };
    EXPECT_EQ(itemAfter(text.size(), write), text);
  }
}

}  // namespace
