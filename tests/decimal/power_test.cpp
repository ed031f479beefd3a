// The ** operator: errors counted and reported, and decimal powers beside naive arithmetic on decimal text.
#include <qrtrlib.h>

#include <cmath>
#include <random>

#include "reports.h"

namespace {

using qrt::test::Reported;
using qrt::test::reportsOf;

double eightByEight(double base, double exponent, uint32_t* sizeError) {
  const auto whole = static_cast<int64_t>(exponent);
  return static_cast<double>(whole) == exponent ? _qrtExpFloat8Int8(base, &whole, sizeError)
                                                : _qrtExpFloat8Float8(base, exponent, sizeError);
}

TEST(Power, ErrorsAreCountedOrReported) {
  const struct {
    double base, exponent, result;
    const char* number;
  } cases[] = {
      {-8, 0.5, std::sqrt(8.0), "48 "},
      {0, 0, 1, "49 "},
      {0, -1, 0, "50 "},
      {0, -0.5, 0, "50 "},
      {1e300, 2, HUGE_VAL, "58 "},
      {-1e300, 3, -HUGE_VAL, "58 "},
      {-8, 3, -512, ""},
      {0, 0.5, 0, ""},
  };
  for (const auto& [base, exponent, result, number] : cases) {
    uint32_t counted = 7, reported = 0;
    EXPECT_EQ(_qrtExpFloat8Float8(base, exponent, &counted), result);
    EXPECT_EQ(counted, *number != '\0' ? 8u : 7u) << base << ' ' << exponent;
    counted = 7;
    const long double extended = _qrtExpFloat16Float8(base, exponent, &counted);
    EXPECT_EQ(static_cast<double>(extended), result);
    EXPECT_EQ(counted, *number != '\0' && !std::isinf(result) ? 8u : 7u);  // extended holds 1e900
    const Reported seen = reportsOf(
        [&] { return std::to_string(eightByEight(base, exponent, &reported) == result && reported == 0); });
    EXPECT_EQ(seen.numbers, number);
    EXPECT_EQ(seen.output, "1");
  }
}

TEST(Power, OperandsOfEveryType) {
  uint32_t sizeError = 1;
  const int64_t three = 3, one = 1, odd = (1ll << 53) + 1, negative = -2;
  EXPECT_EQ(_qrtExpFloat4Float4(2.5f, 2.0f, &sizeError), 6.25);
  EXPECT_EQ(_qrtExpFloat4Int4(-2.5f, 3, &sizeError), -15.625);
  EXPECT_EQ(_qrtExpInt4Int4(-2, -3, &sizeError), -0.125);
  EXPECT_EQ(_qrtExpFloat16Int8(1.0L + 0x1p-40L, &three, &sizeError), powl(1.0L + 0x1p-40L, 3));
  EXPECT_EQ(_qrtExpInt8Int8(&three, &negative, &sizeError), std::pow(3.0, -2.0));
  EXPECT_EQ(_qrtExpInt8Int8(&odd, &one, &sizeError), static_cast<double>(odd));
  EXPECT_EQ(sizeError, 1u);
}

struct Decimal {
  std::string item;  // sign and digits
  int fraction = 0;
};

// One call, with guard bytes around the result; a result that was left as it was reads "####".
std::string raise(const Decimal& base, const std::string& exponent, int integers, int fraction,
                  uint32_t* sizeError) {
  QrtExponentiation control{};
  control.exponentDigits = static_cast<int16_t>(exponent.size() - 1);
  control.baseDigits = static_cast<int16_t>(base.item.size() - 1);
  control.baseFraction = static_cast<int16_t>(base.fraction);
  control.resultDigits = static_cast<int16_t>(integers + fraction);
  control.resultFraction = static_cast<int16_t>(fraction);
  control.resultIntegers = static_cast<int16_t>(integers);
  const auto bytes = [](const std::string& text) { return reinterpret_cast<const uint8_t*>(text.data()); };
  std::string area(integers + fraction + 9, '#');
  _qrtcExpFixedPt(&control, bytes(exponent), bytes(base.item), reinterpret_cast<uint8_t*>(area.data() + 4),
                  sizeError);
  EXPECT_EQ(area.substr(0, 4) + area.substr(area.size() - 4), "########");
  return area.substr(4, area.size() - 8);
}

TEST(Power, DecimalCases) {
  const struct {
    Decimal base;
    const char* exponent;
    int integers, fraction;
    const char* result;
    uint32_t before, after;
    const char* numbers;
  } cases[] = {
      {{"+2"}, "+10", 5, 0, "+01024", 0, 0, ""},
      {{"-0002"}, "+003", 2, 0, "-08", 0, 0, ""},
      {{"+15", 1}, "+2", 1, 2, "+225", 0, 0, ""},
      {{"+15", 1}, "+2", 1, 1, "+22", 0, 0, ""},
      {{"+2"}, "-2", 1, 2, "+025", 0, 0, ""},
      {{"-3"}, "-3", 0, 9, "-037037037", 0, 0, ""},
      {{"-3"}, "-3", 1, 1, "+00", 0, 0, ""},
      {{"+1", 1}, "-3", 4, 0, "+1000", 0, 0, ""},
      {{"+1", 1}, "-3", 3, 0, "+000", 0, 0, ""},
      {{"+1", 1}, "-3", 3, 0, "####", 1, 2, ""},
      {{"+12"}, "+2", 2, 0, "+44", 0, 0, ""},
      {{"+12"}, "+2", 2, 0, "###", 1, 2, ""},
      {{"+10"}, "+40", 31, 0, "################################", 0, 0, "60 "},
      {{"+10"}, "+40", 31, 0, "################################", 3, 4, "60 "},
      {{"+7"}, "+36", 31, 0, "+2651730845859653471779023381601", 0, 0, ""},
      {{"+10001", 4}, "+10000", 1, 30, "+2718145926825224864037664672920", 0, 0, ""},
      {{"+10001", 4}, "-10000", 1, 9, "+0367897834", 0, 0, ""},
      {{"+11", 1}, "+300", 13, 18, "+2617010996188399907017032528958", 0, 0, ""},
      {{"+99999", 5}, "+123456", 0, 31, "+2909609617588861221259871751587", 0, 0, ""},
      {{"-5", 1}, "+103", 1, 3, "+0000", 0, 0, ""},
      {{"-5", 1}, "-103", 1, 3, "#####", 0, 0, "61 "},
      {{"-0"}, "+3", 2, 1, "+000", 0, 0, ""},
      {{"+0"}, "-0", 2, 1, "+010", 0, 0, "49 "},
      {{"+0"}, "+0", 2, 1, "####", 1, 2, ""},
      {{"+00"}, "-7", 2, 1, "####", 0, 0, "50 61 "},
      {{"+00"}, "-7", 2, 1, "####", 5, 6, ""},
      {{"+2"}, "+1000000003", 2, 0, "+08", 0, 0, "59 "},
      {{"-1"}, "+999999999", 2, 0, "-01", 0, 0, ""},
  };
  for (const auto& row : cases) {
    const Reported seen = reportsOf([&] {
      uint32_t sizeError = row.before;
      const std::string result = raise(row.base, row.exponent, row.integers, row.fraction, &sizeError);
      return result + ' ' + std::to_string(sizeError);
    });
    EXPECT_EQ(seen.output, row.result + (' ' + std::to_string(row.after))) << row.base.item << row.exponent;
    EXPECT_EQ(seen.numbers, row.numbers) << row.base.item << row.exponent;
  }
}

// Powers that a 64-bit integer holds are exact; so is each digit of their reciprocals.
TEST(Power, DecimalPowersAreExact) {
  std::mt19937_64 random(1861);
  for (int round = 0; round < 4000; ++round) {
    const auto digits = static_cast<int>(1 + random() % 9);
    const auto times = static_cast<int>(random() % (18 / digits + 1));
    const auto fraction = static_cast<int>(random() % (digits + 1));
    const auto integers = static_cast<int>(1 + random() % 20), places = static_cast<int>(random() % 20);
    std::string base(digits, '0');
    for (char& digit : base) digit = static_cast<char>('0' + random() % 10);
    base[0] = static_cast<char>('1' + random() % 9);
    const bool minus = random() % 2 != 0, inverse = random() % 2 != 0;
    uint64_t power = 1;
    for (int i = 0; i < times; ++i) power *= std::stoull(base);

    // With the point moved behind the result's last digit: the digits of the power, or those of 10 to a power
    // divided by it.
    std::string expected(60, '0');
    if (inverse) {
      uint64_t remainder = 1;
      for (int i = 0; i <= fraction * times + places; ++i, remainder = remainder % power * 10)
        expected += static_cast<char>('0' + remainder / power);
    } else {
      expected += std::to_string(power) + std::string(places, '0');
      expected.erase(expected.size() - static_cast<size_t>(fraction * times));
    }
    uint32_t sizeError = 0;
    const std::string result =
        raise({(minus ? '-' : '+') + base, fraction}, (inverse ? "-0" : "+0") + std::to_string(times),
              integers, places, &sizeError);
    EXPECT_EQ(result.substr(1), expected.substr(expected.size() - result.size() + 1))
        << base << ' ' << fraction << " ** " << times << ' ' << inverse;
    const bool zero = result.find_first_not_of('0', 1) == std::string::npos;
    EXPECT_EQ(result[0], minus && times % 2 != 0 && !zero ? '-' : '+');
  }
}

}  // namespace
