// Numeric functions in both widths: values, the checks of arguments, RANDOM bit by bit, statistics beside
// plain sorting and summing.
#include <math.h>
#include <qrtrlib.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <random>
#include <vector>

#include "support/allocation.h"
#include "support/catalogue_writer.h"
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

    // Seeds above 2147483645 start from a reduced one.
    const struct {
      double seed;
      uint32_t whole, floating;  // what an integer and a double go on from
    } cases[] = {{7, 8, 8},
                 {2147483645, 2147483646, 2147483646},
                 {2147483646, 1, 1},
                 {2147483647, 2, 2},
                 {123456789012, 1050221191, 1050221248}};
    for (const auto& [seed, whole, floating] : cases) {
      _qrtRandomInt8(static_cast<int64_t>(seed));
      EXPECT_EQ(_qrtRuncom->randomSeed, uint64_t{whole} * 950706376 % 2147483647) << seed;
      _qrtRandomFloat8(seed);
      EXPECT_EQ(_qrtRuncom->randomSeed, uint64_t{floating} * 950706376 % 2147483647) << seed;
    }
  });
  EXPECT_EQ(ended, cameBack);
}

TEST(Math, BadArgumentsAreReported) {
  const char *named = "0 %s", *limited = "0 %s %d";
  const Catalogue catalogue({usualControl,
                             {100, 1, named},
                             {163, 1, named},
                             {176, 1, "0 %s %s"},
                             {177, 1, named},
                             {178, 1, named},
                             {179, 1, limited},
                             {180, 1, named},
                             {907, 1, "0 memory"}});
  const Ended ended = inChild([] {
    const bool nans = isnan(_qrtAcosFloat8(-1.5)) && isnan(_qrtAsinFloat16(-2)) && isinf(_qrtLogFloat8(0)) &&
                      isnan(_qrtLog10Float16(-1)) && isnan(_qrtSqrtFloat8(-1)) &&
                      isnan(_qrtRemFloat8Float8(1, 0));
    double rates[] = {-1, 5};
    _qrtcPresentValue(2, &rates[1], rates);
    const std::vector<double> many(1000, 4.0);
    {
      const FailingAllocation failing(1);
      if (canFailAllocations) _qrtcMedian(1000, &rates[1], many.data());
    }
    if (!nans || !isinf(rates[1])) fputs("another value", stderr);
    Program program("RANDOM");
    run(program, [] {
      const auto seed = [](double first) { fprintf(stderr, "%.0f;", first * 2147483647 / 950706376); };
      seed(_qrtRandomInt8(-9));
      _qrtRandomInt8(1000000000000000000);
      _qrtRandomFloat8(2e18);
      seed(_qrtRandomFloat8(-0.5));
      seed(_qrtRandomFloat8(1.5));
    });
  });
  std::string expected;
  for (const char* told :
       {"179ACOS -1", "179ASIN -1", "178LOG", "178LOG10", "179SQRT 0", "177REM", "100PRESENT-VALUE",
        "907memory", "163RANDOM", "1;", "176RANDOM 1000000000000000000", "176RANDOM 2000000000000000000",
        "163RANDOM", "180RANDOM", "1;", "180RANDOM", "2;"})
    if (told[1] == ';')
      expected += told;
    else if (canFailAllocations || told[0] != '9')
      expected += "QRT" + std::string(told, 3) + "I  " + (told + 3) + "\n\n";
  EXPECT_EQ(ended.err, expected);
}

struct Slot {
  long double value;
  uint32_t ignored;
};

// The order that selection by a pivot from the middle leaves.
void plainMedianOrder(std::vector<Slot>& array) {
  size_t low = 0, high = array.size() - 1;
  const size_t middle = (array.size() - 1) / 2;
  for (;;) {
    std::swap(array[low], array[(low + high) / 2]);
    size_t pivot = low;
    for (size_t at = low + 1; at <= high; ++at)
      if (array[at].value < array[low].value) std::swap(array[at], array[++pivot]);
    std::swap(array[low], array[pivot]);
    if (pivot == middle) return;
    if (pivot < middle)
      low = pivot + 1;
    else
      high = pivot - 1;
  }
}

// Runs the functions over a copy at an odd address, with guard bytes around the result.
template <typename Real, size_t size, typename Entry, typename Element>
Real resultOf(Entry&& entry, const std::vector<Element>& array) {
  std::vector<uint8_t> bytes(array.size() * sizeof(Element) + 1);
  memcpy(&bytes[1], array.data(), array.size() * sizeof(Element));
  uint8_t area[25];
  memset(area, 0xEE, sizeof area);
  entry(static_cast<int32_t>(array.size()), reinterpret_cast<double*>(area + 5),
        reinterpret_cast<double*>(&bytes[1]));
  for (size_t at = 0; at < sizeof area; ++at) EXPECT_TRUE((at >= 5 && at < 5 + size) || area[at] == 0xEE);
  Real result = 0;
  memcpy(&result, area + 5, size);
  return result;
}

void expectStatistics(const std::vector<double>& values) {
  std::vector<Slot> slots;
  for (const double value : values)
    slots.push_back({static_cast<long double>(value) / 3, static_cast<uint32_t>(slots.size())});
  std::vector<double> sorted = values;
  std::sort(sorted.begin(), sorted.end());
  const size_t count = values.size(), middle = (count - 1) / 2;
  const long double upper = sorted[count / 2], lower = sorted[middle];
  EXPECT_EQ((resultOf<double, 8>(_qrtcMedian, values)), static_cast<double>((lower + upper) / 2));
  EXPECT_EQ((resultOf<long double, 10>(_qrtcMedian16, slots)), (lower / 3 + upper / 3) * 0.5L);

  const double mean = sorted[middle];
  long double sum = 0, wideSum = 0, worth = 0, discount = 1;
  for (size_t i = 0; i < count; ++i) {
    sum += (values[i] - static_cast<long double>(mean)) * (values[i] - static_cast<long double>(mean));
    wideSum += (slots[i].value - mean) * (slots[i].value - mean);
    if (i > 0) worth += slots[i].value / (discount *= 1 + slots[0].value);
  }
  sum /= static_cast<long double>(count), wideSum /= static_cast<long double>(count);
  const auto around = [&](auto* entry) {
    return [=](int32_t size, double* result, double* array) { entry(size, result, mean, array); };
  };
  EXPECT_EQ((resultOf<double, 8>(around(_qrtcVariance), values)), static_cast<double>(sum));
  EXPECT_EQ((resultOf<double, 8>(around(_qrtcStandardDeviation), values)), static_cast<double>(sqrtl(sum)));
  EXPECT_EQ((resultOf<long double, 10>(around(_qrtcVariance16), slots)), wideSum);
  EXPECT_EQ((resultOf<long double, 10>(around(_qrtcStandardDeviation16), slots)), sqrtl(wideSum));
  if (slots[0].value > -1) {
    EXPECT_EQ((resultOf<long double, 10>(_qrtcPresentValue16, slots)), worth);
  }
}

TEST(Math, Statistics) {
  EXPECT_EQ((resultOf<double, 8>(_qrtcPresentValue, std::vector<double>{0.1, 110})), 100);
  for (const std::vector<double>& values :
       {std::vector<double>{3, 1, 2}, {4, 1, 3, 2}, {-8}, std::vector<double>(200001, 7.0)})
    expectStatistics(values);
  for (int round = 0; round < 3000; ++round) {
    std::vector<double> values(static_cast<size_t>(1 + random_() % (round < 2900 ? 200 : 3000)));
    const auto different = static_cast<uint32_t>(1 + random_() % 400);
    for (double& value : values) value = static_cast<double>(random_() % different) / 8;
    if (round % 16 == 0) std::sort(values.begin(), values.end());
    expectStatistics(values);

    std::vector<Slot> expected;
    for (const double value : values) expected.push_back({value, static_cast<uint32_t>(random_())});
    std::vector<Slot> slots = expected;
    long double result;
    _qrtcMedian16(static_cast<int32_t>(slots.size()), &result, slots.data());
    if (values.size() > 60) continue;  // bad pivots may have brought in another selection
    plainMedianOrder(expected);
    for (size_t i = 0; i < slots.size(); ++i)
      ASSERT_TRUE(slots[i].value == expected[i].value && slots[i].ignored == expected[i].ignored) << i;
  }
}

}  // namespace
