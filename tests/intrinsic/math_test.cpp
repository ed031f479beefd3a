// Numeric functions in both widths: values, the checks of arguments, RANDOM bit by bit, statistics beside
// plain sorting and summing.
#include <math.h>
#include <qrtrlib.h>
#include <stdio.h>

#include <algorithm>
#include <random>

#include "frame/catalogue_writer.h"
#include "support/process.h"
#include "support/program.h"

using namespace qrt::test;

namespace {

std::mt19937_64 random_(1637);

TEST(Math, FunctionsOfOneArgument) {
  const struct {
    double (*narrow)(double);
    long double (*wide)(long double);
    long double (*peer)(long double);
  } functions[] = {{_qrtAcosFloat8, _qrtAcosFloat16, acosl},    {_qrtAsinFloat8, _qrtAsinFloat16, asinl},
                   {_qrtAtanFloat8, _qrtAtanFloat16, atanl},    {_qrtCosFloat8, _qrtCosFloat16, cosl},
                   {_qrtSinFloat8, _qrtSinFloat16, sinl},       {_qrtTanFloat8, _qrtTanFloat16, tanl},
                   {_qrtLogFloat8, _qrtLogFloat16, logl},       {_qrtLog10Float8, _qrtLog10Float16, log10l},
                   {_qrtSqrtFloat8, _qrtSqrtFloat16, sqrtl},    {_qrtInteger, _qrtInteger16, floorl},
                   {_qrtIntegerPart, _qrtIntegerPart16, truncl}};
  for (const auto& function : functions)
    for (const double argument : {0.25, 0.9, 1.0}) {
      const long double expected = function.peer(argument);
      EXPECT_EQ(function.wide(argument), expected);
      EXPECT_NEAR(function.narrow(argument), static_cast<double>(expected), 4e-16);
    }
  EXPECT_EQ(_qrtInteger(-1.5), -2);
  EXPECT_EQ(_qrtInteger16(-0x1p-70L), -1);
  EXPECT_EQ(_qrtIntegerPart(-1.5), -1);
  EXPECT_EQ(_qrtIntegerPart16(-0x1p62L - 0.5L), -0x1p62L);
}

TEST(Math, RemainderHasTheSignOfTheDividend) {
  EXPECT_EQ(_qrtRemFloat8Float8(-7, 2), -1);
  EXPECT_EQ(_qrtRemFloat8Float8(7, -2), 1);
  EXPECT_EQ(_qrtRemFloat16Float16(1e4000L, 1e-940L), fmodl(1e4000L, 1e-940L));  // no quotient at all
  for (int round = 0; round < 100000; ++round) {
    // Numbers of so few bits that every product is exact.
    const int power = static_cast<int>(random_() % 80) - 40;
    const uint64_t whole = random_() % (1 << 24) + 1, quotient = random_() >> 38, rest = random_() % whole;
    const double by = ldexp(static_cast<double>(whole), power);
    const double dividend = ldexp(static_cast<double>(whole * quotient + rest), power);
    const double minus = random_() % 2 != 0 ? -1 : 1;
    ASSERT_EQ(_qrtRemFloat8Float8(minus * dividend, by), minus * fmod(dividend, by)) << dividend << ' ' << by;
    ASSERT_EQ(_qrtRemFloat8Float8(minus * dividend, -by), minus * fmod(dividend, by));
    const double huge = ldexp(dividend, 200);
    ASSERT_LT(fabs(_qrtRemFloat8Float8(huge, by)), by);
    ASSERT_GE(_qrtRemFloat8Float8(huge, by), 0);
  }
}

TEST(Math, RandomIsTheSequenceOfItsSeed) {
  Program program("RANDOM");
  const int32_t ended = run(program, [] {
    EXPECT_EQ(_qrtRandom(), 950706376 / 2147483647.0);  // a new run unit starts from 1
    EXPECT_EQ(_qrtRandomInt8(0), 950706376 / 2147483647.0);
    uint64_t state = 1;
    const auto next = [&] {
      state = state * 950706376 % 2147483647;
      return static_cast<double>(state) / 2147483647.0;
    };
    next();
    for (int round = 0; round < 1000; ++round) ASSERT_EQ(_qrtRandom(), next());
    EXPECT_EQ(_qrtRuncom->randomSeed, state);
    _qrtRuncom->randomSeed = 0;
    EXPECT_EQ(_qrtRandom(), 950706376 / 2147483647.0);

    const struct {
      int64_t seed;
      uint64_t whole, floating;  // the states that an integer and a double start from
    } cases[] = {{2147483645, 2147483646, 2147483646},
                 {2147483646, 1, 1},  // the double's period is one less, but 1 / it doesn't come back as 1
                 {2147483647, 2, 2},
                 {999999999999999999, 999999999999999999 % 2147483646 + 1, 0}};
    for (const auto& [seed, whole, floating] : cases) {
      state = whole;
      EXPECT_EQ(_qrtRandomInt8(seed), next()) << seed;
      if (floating == 0) continue;
      const double periods = static_cast<double>(seed) / 2147483645.0;
      const double reduced =
          seed > 2147483645 ? (periods - floor(periods)) * 2147483645.0 : static_cast<double>(seed);
      state = static_cast<uint64_t>(reduced + 1);
      EXPECT_EQ(_qrtRandomFloat8(static_cast<double>(seed)), next()) << seed;
    }
  });
  EXPECT_EQ(ended, cameBack);
}

TEST(Math, BadArgumentsAreReported) {
  const char *named = "0 %s", *limited = "0 %s %d";
  const Catalogue catalogue({usualControl,
                             {100, 1, named},
                             {163, 1, named},
                             {176, 1, limited},
                             {176, 2, limited},
                             {177, 1, named},
                             {178, 1, named},
                             {179, 1, limited},
                             {180, 1, named},
                             {907, 1, "0 "}});
  const Ended ended = inChild([] {
    _qrtAcosFloat8(-1.5), _qrtAsinFloat16(1.5L), _qrtLogFloat8(0), _qrtLog10Float16(-1);
    const bool nans = isnan(_qrtSqrtFloat8(-1)) && isnan(_qrtRemFloat8Float8(1, 0));
    const double rates[] = {-1, 5};
    double worth = 0;
    _qrtcPresentValue(2, &worth, rates);
    if (!nans || !isinf(worth)) fputs("another value", stderr);
  });
  const auto told = [](const char* code, const char* text) {
    return std::string("QRT") + code + "I  " + text + "\n\n";
  };
  EXPECT_EQ(ended.err, told("179", "ACOS -1") + told("176", "ASIN 1") + told("178", "LOG") +
                           told("178", "LOG10") + told("179", "SQRT 0") + told("177", "REM") +
                           told("100", "PRESENT-VALUE"));
}

}  // namespace
