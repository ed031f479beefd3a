// The ** operator: errors counted and reported, and decimal powers beside naive arithmetic on decimal text.
#include <cmath>

#include "operands.h"

namespace {

using namespace qrt::test;

double eightByEight(double base, double exponent, uint32_t* sizeError) {
  const auto whole = static_cast<int64_t>(exponent);
  return static_cast<double>(whole) == exponent ? _qrtExpFloat8Int8(base, &whole, sizeError)
                                                : _qrtExpFloat8Float8(base, exponent, sizeError);
}

TEST(Power, ErrorsAreCountedOrReported) {
  const struct {
    double base, exponent, result;
    const char* number;
  } cases[] = {{-8, 0.5, std::sqrt(8.0), "48 "},
               {0, 0, 1, "49 "},
               {0, -1, 0, "50 "},
               {0, -0.5, 0, "50 "},
               {1e300, 2, HUGE_VAL, "58 "},
               {-1e300, 3, -HUGE_VAL, "58 "},
               {-8, 3, -512, ""},
               {0, 0.5, 0, ""}};
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
    EXPECT_EQ(seen.numbers + seen.output, std::string(number) + "1");
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

// What one call leaves in the result's field.
std::string raise(const Decimal& base, const std::string& exponent, int integers, int fraction,
                  uint32_t* sizeError) {
  QrtExponentiation control{};
  control.exponentDigits = static_cast<int16_t>(exponent.size() - 1);
  control.baseDigits = static_cast<int16_t>(base.item.size() - 1);
  control.baseFraction = static_cast<int16_t>(base.fraction);
  control.resultDigits = static_cast<int16_t>(integers + fraction);
  control.resultFraction = static_cast<int16_t>(fraction);
  control.resultIntegers = static_cast<int16_t>(integers);
  return itemAfter(integers + fraction + 1, [&](uint8_t* to) {
    _qrtcExpFixedPt(&control, bytes(exponent), bytes(base.item), to, sizeError);
  });
}

TEST(Power, DecimalCases) {
  const struct {
    Decimal base;
    const char* exponent;
    int integers, fraction;
    std::string result;       // empty when it stays untouched
    uint32_t sizeErrors = 0;  // before the call
    const char* numbers = "";
  } cases[] = {{{"-3"}, "-3", 1, 1, "+00"},
               {{"+1", 1}, "-3", 3, 0, "+000"},
               {{"+1", 1}, "-3", 3, 0, "", 1},
               {{"+12"}, "+2", 2, 0, "", 1},
               {{"+10"}, "+31", 31, 0, "", 0, "60 "},
               {{"+10"}, "+40", 31, 0, "", 3, "60 "},
               {{"+7"}, "+36", 31, 0, "+2651730845859653471779023381601"},
               {{"+10001", 4}, "+10000", 1, 30, "+2718145926825224864037664672920"},
               {{"+10001", 4}, "-10000", 1, 9, "+0367897834"},
               {{"+11", 1}, "+300", 13, 18, "+2617010996188399907017032528958"},
               {{"+99999", 5}, "+123456", 0, 31, "+2909609617588861221259871751587"},
               {{"-5", 1}, "+103", 1, 3, "+0000"},
               {{"-5", 1}, "-103", 1, 3, "", 0, "61 "},
               {{"-0"}, "+3", 2, 1, "+000"},
               {{"+0"}, "-0", 2, 1, "+010", 0, "49 "},
               {{"+0"}, "+0", 2, 1, "", 1},
               {{"+00"}, "-7", 2, 1, "", 0, "50 61 "},
               {{"+00"}, "-7", 2, 1, "", 5},
               {{"+2"}, "+1000000003", 2, 0, "+08", 0, "59 "},
               {{"-1"}, "+999999999", 2, 0, "-01"}};
  for (const auto& row : cases) {
    const Reported seen = reportsOf([&] {
      uint32_t sizeErrors = row.sizeErrors;
      const std::string result = raise(row.base, row.exponent, row.integers, row.fraction, &sizeErrors);
      return result + ' ' + std::to_string(sizeErrors - row.sizeErrors);
    });
    const std::string untouched =
        std::string(1 + row.integers + row.fraction, '#') + (row.sizeErrors != 0 ? " 1" : " 0");
    EXPECT_EQ(seen.numbers + seen.output, row.numbers + (row.result.empty() ? untouched : row.result + " 0"))
        << row.base.item << row.exponent;
  }
}

// Powers that a 64-bit integer holds are exact; so is each digit of their reciprocals.
TEST(Power, DecimalPowersAreExact) {
  for (int round = 0; round < 4000; ++round) {
    const int digits = 1 + below(9), times = below(18 / digits + 1), fraction = below(digits + 1);
    const int integers = 1 + below(20), places = below(20);
    const bool minus = below(2) != 0, inverse = below(2) != 0;
    std::string base = digitsOf(anyItem(digits), digits);
    base[0] = static_cast<char>('1' + below(9));
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
    expected.erase(0, expected.size() - (integers + places));
    const bool zero = expected.find_first_not_of('0') == std::string::npos;
    expected.insert(0, minus && times % 2 != 0 && !zero ? "-" : "+");
    uint32_t sizeError = 0;
    EXPECT_EQ(raise({(minus ? '-' : '+') + base, fraction}, (inverse ? "-0" : "+0") + std::to_string(times),
                    integers, places, &sizeError),
              expected)
        << base << ' ' << fraction << " ** " << times << ' ' << inverse;
  }
}

}  // namespace
