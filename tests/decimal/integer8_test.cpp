// Eight-byte integers through their entries, beside arithmetic on 16-bit limbs that shares nothing with the
// processor's own wide operations.
#include <qrtrlib.h>

#include <cmath>
#include <cstring>
#include <random>

namespace {

// A magnitude as eight limbs of 16 bits, least significant first.
using Limbs = std::array<uint32_t, 8>;

Limbs limbsOf(uint64_t value) {
  Limbs limbs{};
  for (int i = 0; i < 4; ++i) limbs[i] = static_cast<uint16_t>(value >> 16 * i);
  return limbs;
}

uint64_t lowOf(const Limbs& limbs) {
  uint64_t value = 0;
  for (int i = 3; i >= 0; --i) value = value << 16 | limbs[i];
  return value;
}

Limbs product(uint64_t a, uint64_t b) {
  const Limbs x = limbsOf(a), y = limbsOf(b);
  Limbs result{};
  for (int i = 0; i < 4; ++i) {
    uint32_t carry = 0;
    for (int j = 0; j < 4; ++j) {
      carry += result[i + j] + x[i] * y[j];
      result[i + j] = carry & 0xFFFF;
      carry >>= 16;
    }
    result[i + 4] = carry;
  }
  return result;
}

bool needsMoreThan64(const Limbs& limbs) {
  return (limbs[4] | limbs[5] | limbs[6] | limbs[7]) != 0;
}

uint64_t magnitude(int64_t value) {
  return value < 0 ? ~static_cast<uint64_t>(value) + 1 : static_cast<uint64_t>(value);
}

int64_t withSign(uint64_t value, bool negative) {
  return static_cast<int64_t>(negative ? ~value + 1 : value);
}

// Binary long division, bit by bit.
std::pair<uint64_t, uint64_t> quotientAndRemainder(uint64_t dividend, uint64_t divisor) {
  uint64_t quotient = 0, remainder = 0;
  for (int bit = 63; bit >= 0; --bit) {
    const bool over = remainder >> 63 != 0;
    remainder = remainder << 1 | (dividend >> bit & 1);
    if (over || remainder >= divisor) {
      remainder -= divisor;
      quotient |= 1ull << bit;
    }
  }
  return {quotient, remainder};
}

std::mt19937_64 random(20261124);

// Values of every length, and those where something turns over.
int64_t anyValue() {
  static constexpr int64_t corners[] = {0,         1,         -1,         INT64_MIN, INT64_MIN + 1, INT64_MAX,
                                        1ll << 31, 1ll << 32, UINT32_MAX, INT32_MIN, -32768,        65535};
  if (random() % 4 == 0) return corners[random() % std::size(corners)];
  return static_cast<int64_t>(random()) >> random() % 64;
}

TEST(Integer8, AddsSubtractsAndNegatesWithWrap) {
  int64_t result = INT64_MAX;
  _qrtAdd8to4(&result, &result, 1);
  EXPECT_EQ(result, INT64_MIN);
  _qrtNeg8(&result);
  EXPECT_EQ(result, INT64_MIN);
  result = 5;
  _qrtAdd8to4(&result, &result, -3);
  EXPECT_EQ(result, 2);
  for (int round = 0; round < 2000; ++round) {
    const int64_t a = anyValue(), b = anyValue();
    int64_t sum, back;
    _qrtAdd8to8(&sum, &a, &b);
    _qrtSub8from8(&back, &sum, &b);
    EXPECT_EQ(back, a);
    uint32_t carry = 0;
    Limbs x = limbsOf(static_cast<uint64_t>(a)), y = limbsOf(static_cast<uint64_t>(b));
    for (int i = 0; i < 4; ++i, carry >>= 16) x[i] = (carry += x[i] + y[i]) & 0xFFFF;
    EXPECT_EQ(static_cast<uint64_t>(sum), lowOf(x));
  }
}

TEST(Integer8, MultipliesMagnitudesAndTellsOverflow) {
  const int64_t big = 1ll << 32, half = 1ll << 31;
  int64_t result;
  EXPECT_EQ(_qrtMult8by8(&result, &big, &big), -1);
  EXPECT_EQ(result, 0);
  EXPECT_EQ(_qrtMult8by8(&result, &half, &big), 0);
  EXPECT_EQ(result, INT64_MIN);
  for (int round = 0; round < 5000; ++round) {
    const int64_t a = anyValue(), b = anyValue();
    const auto narrow = static_cast<int32_t>(b);
    const auto ua = static_cast<uint64_t>(a), ub = static_cast<uint64_t>(b);
    uint64_t unsignedResult = ua;
    EXPECT_EQ(_qrtMult8by8u(&unsignedResult, &unsignedResult, &ub),
              needsMoreThan64(product(ua, ub)) ? -1 : 0);
    EXPECT_EQ(unsignedResult, lowOf(product(ua, ub)));

    Limbs expected = product(magnitude(a), magnitude(b));
    EXPECT_EQ(_qrtMult8by8(&result, &a, &b), needsMoreThan64(expected) ? -1 : 0);
    EXPECT_EQ(result, withSign(lowOf(expected), (a < 0) != (b < 0)));

    expected = product(magnitude(a), magnitude(narrow));
    EXPECT_EQ(_qrtMult8by4(&result, &a, narrow), needsMoreThan64(expected) ? -1 : 0);
    EXPECT_EQ(result, withSign(lowOf(expected), (a < 0) != (narrow < 0)));
  }
}

// One divisor through one signed entry: codes, what is written and what isn't.
template <typename Remainder, typename Divisor, typename Entry>
void checkSigned(Entry entry, int64_t dividend, int64_t divisor, Divisor passed) {
  int64_t quotient = 0x5A5A5A5A;
  Remainder remainder[] = {0x5A5A, 0x5A5A};
  const int32_t code = entry(&quotient, remainder, &dividend, passed);
  EXPECT_EQ(remainder[1], 0x5A5A);
  if (divisor == 0 || (dividend == INT64_MIN && divisor == -1)) {
    EXPECT_EQ(code, divisor == 0 ? 1 : -1);
    EXPECT_EQ(quotient, 0x5A5A5A5A);
    EXPECT_EQ(remainder[0], 0x5A5A);
    return;
  }
  const auto [whole, rest] = quotientAndRemainder(magnitude(dividend), magnitude(divisor));
  EXPECT_EQ(code, 0);
  EXPECT_EQ(quotient, withSign(whole, (dividend < 0) != (divisor < 0)));
  EXPECT_EQ(remainder[0], static_cast<Remainder>(withSign(rest, dividend < 0)));
}

template <typename Remainder, typename Divisor, typename Entry>
void checkUnsigned(Entry entry, uint64_t dividend, uint64_t divisor, Divisor passed) {
  uint64_t quotient = 7;
  Remainder remainder[] = {7, 7};
  const int32_t code = entry(&quotient, remainder, &dividend, passed);
  const auto [whole, rest] =
      divisor == 0 ? std::pair<uint64_t, uint64_t>{7, 7} : quotientAndRemainder(dividend, divisor);
  EXPECT_EQ(code, divisor == 0);
  EXPECT_EQ(quotient, whole);
  EXPECT_EQ(remainder[0], static_cast<Remainder>(rest));
  EXPECT_EQ(remainder[1], 7u);
}

TEST(Integer8, DividesTowardsZero) {
  checkSigned<int64_t>(_qrtDiv8by4, INT64_MIN, -1, -1);
  for (int round = 0; round < 5000; ++round) {
    const int64_t a = anyValue(), b = anyValue();
    checkSigned<int32_t>(_qrtDiv8by2, a, static_cast<int16_t>(b), static_cast<int16_t>(b));
    checkSigned<int64_t>(_qrtDiv8by4, a, static_cast<int32_t>(b), static_cast<int32_t>(b));
    checkSigned<int64_t>(_qrtDiv8by8, a, b, &b);
    const auto ua = static_cast<uint64_t>(a), ub = static_cast<uint64_t>(b);
    checkUnsigned<uint32_t>(_qrtDiv8by2u, ua, static_cast<uint16_t>(b), static_cast<uint16_t>(b));
    checkUnsigned<uint64_t>(_qrtDiv8by8u, ua, ub, &ub);
  }
}

TEST(Integer8, WritesDecimalText) {
  for (int round = 0; round < 3000; ++round) {
    const int64_t value = anyValue();
    char text[24], expected[24];
    memset(text, '#', sizeof text);
    _qrtConv8toStr(text + 1, &value);
    const int length = snprintf(expected, sizeof expected, "%lld", static_cast<long long>(value));
    EXPECT_STREQ(text + 1, expected);
    EXPECT_EQ(text[0], '#');
    EXPECT_EQ(text[length + 2], '#');
  }
}

TEST(Integer8, CutsDoubles) {
  const struct {
    double value;
    int64_t result;
    int32_t code;
  } cases[] = {
      {-1.9, -1, 0},
      {0.9, 0, 0},
      {-0.0, 0, 0},
      {2251799813685249.5, 2251799813685249, 0},
      {-9007199254740993.0, -9007199254740992, 0},
      {0x1.fffffffffffffp59, 0x0FFFFFFFFFFFFF80, 0},
      {0x1p60, 1ll << 60, -1},
      {-0x1p60, -(1ll << 60), -1},
      {0x1.8p63, INT64_MIN | 1ll << 62, -1},
      {0x1.0000000000001p64, 1 << 12, -1},
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

// The nearest value with that many mantissa bits, ties to even, by integer arithmetic.
double nearest(uint64_t value, int mantissaBits) {
  int shift = 0;
  while (value >> shift >> mantissaBits != 0) ++shift;
  if (shift == 0) return static_cast<double>(value);
  uint64_t kept = value >> shift;
  const uint64_t dropped = value & ((1ull << shift) - 1), halfway = 1ull << (shift - 1);
  kept += dropped > halfway || (dropped == halfway && (kept & 1) != 0);
  return std::ldexp(static_cast<double>(kept), shift);
}

TEST(Integer8, RoundsOnceToFloats) {
  for (int round = 0; round < 5000; ++round) {
    int64_t value = anyValue();
    if (round % 3 == 0)
      value = withSign((1ull << 62 | 1ull << 38 | (random() & 1)) + random() % 3 - 1, round & 1);
    const auto wide = static_cast<uint64_t>(value);
    const double sign = value < 0 ? -1 : 1;
    float single;
    double twice;
    _qrtConv8toFlt(&single, &value);
    EXPECT_EQ(single, sign * nearest(magnitude(value), 24));
    _qrtConv8toDbl(&twice, &value);
    EXPECT_EQ(twice, sign * nearest(magnitude(value), 53));
    _qrtConv8utoFlt(&single, &wide);
    EXPECT_EQ(single, nearest(wide, 24));
    _qrtConv8utoDbl(&twice, &wide);
    EXPECT_EQ(twice, nearest(wide, 53));
  }
}

}  // namespace
