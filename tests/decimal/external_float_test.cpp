// External floating-point items: known ones, and random records, values and texts beside the plain twins.
#include <gtest/gtest.h>
#include <qrtrlib.h>

#include <random>

#include "decimal/plain_float.h"
#include "reports.h"

namespace {

using namespace qrt::decimal;

std::mt19937_64 random_(1958);

int32_t below(uint32_t bound) {
  return static_cast<int32_t>(random_() % bound);
}

template <typename Choice>
Choice oneOf(std::initializer_list<Choice> choices) {
  return choices.begin()[below(static_cast<uint32_t>(choices.size()))];
}

const uint8_t* bytes(const std::string& text) {
  return reinterpret_cast<const uint8_t*>(text.data());
}

std::string toExternal(const QrtExternalFloat& control, long double value) {
  const size_t length = std::abs(control.length);
  const auto narrow = static_cast<double>(value);
  std::string area(length + 8, '#'), other = area;
  _qrtcConvIntEFltToExtFlt(&control, &value, reinterpret_cast<uint8_t*>(area.data() + 4));
  if (narrow == value) {
    _qrtcConvIntFltToExtFlt(&control, &narrow, reinterpret_cast<uint8_t*>(other.data() + 4));
    EXPECT_EQ(other, area);
  }
  EXPECT_EQ(area.substr(0, 4) + area.substr(length + 4), "########");
  return area.substr(4, length);
}

// Sizes of numbers as they come up, and beyond what each float holds.
long double anyValue() {
  const long double mantissa = below(4) == 0 ? below(2000) / 1000.0L : static_cast<long double>(random_());
  const int32_t exponent = below(3) == 0 ? below(32000) - 16000 : below(200) - 100;
  const long double value = std::ldexp(mantissa, exponent);
  return below(3) == 0 ? static_cast<double>(value) : below(2) == 0 ? -value : value;
}

TEST(ExternalFloat, TextIsThatOfThePrint) {
  const QrtExternalFloat plus{11, 3, 2, '+', '+', '.'}, minus{11, 3, 2, '-', '-', '.'};
  const QrtExternalFloat implied{-8, 2, 0, '-', '+', ','}, one{8, 0, 1, '+', '-', ','};
  EXPECT_EQ(toExternal(plus, 1234.5L), "+12.345E+02");
  EXPECT_EQ(toExternal(minus, 1234.5L), " 12.345E 02");
  EXPECT_EQ(toExternal(minus, -0.0L), " 00.000E 00");
  EXPECT_EQ(toExternal(implied, -0.0625L), "-62E-01 ");  // halves go to the even digit
  EXPECT_EQ(toExternal(one, 96.0L), "+1,E 02 ");
  EXPECT_EQ(toExternal(plus, 1e300L), "+10.000E+29");  // cut
  EXPECT_EQ(toExternal(minus, HUGE_VALL), " INFINITY  ");
  EXPECT_EQ(toExternal(one, -HUGE_VALL), "-INFINIT");
  EXPECT_EQ(toExternal(minus, std::nanl("")), " NAN       ");
  for (int round = 0; round < 50000; ++round) {
    QrtExternalFloat control{static_cast<int16_t>(below(30)), static_cast<int16_t>(below(12)),
                             static_cast<int16_t>(below(12)), oneOf<uint8_t>({'+', '-'}),
                             oneOf<uint8_t>({'+', '-'}),      oneOf<uint8_t>({'.', ','})};
    if (below(2) == 0) control.length = static_cast<int16_t>(-control.length);
    if (control.before + control.after == 0) control.before = 1;
    const long double value = anyValue();
    ASSERT_EQ(toExternal(control, value), plainExternal(control, value))
        << control.before << ' ' << control.after << ' ' << value;
  }
}

void expectAsRead(const std::string& text, bool storedPoint, int16_t before) {
  for (const int size : {4, 8, 10}) {
    const auto length = static_cast<int16_t>(text.size());
    const QrtExternalFloatSource control{storedPoint ? length : static_cast<int16_t>(-length), 0, before,
                                         static_cast<int16_t>(size)};
    const PlainFloat expected = plainExternalValue(control, text);
    const std::string guard(4, '\xEE');
    std::string area(20, '\xEE');
    ASSERT_EQ(_qrtcConvExtFltToIntFlt(&control, bytes(text), area.data(), 0), expected.result) << text;
    ASSERT_EQ(area, plainStored(expected, size) + guard)
        << '"' << text << "\" " << storedPoint << before << " size " << size;
  }
}

TEST(ExternalFloat, ValueIsThatOfTheText) {
  EXPECT_EQ(plainNumberText(11, 2, "+12.345E+02"), "+12.345E+02");
  EXPECT_EQ(plainNumberText(-10, 2, "+12345E+02"), "+12.345E+02");
  EXPECT_EQ(plainNumberText(13, 2, " 1x+2,3.4E 5-6"), "12.34E+56");
  EXPECT_EQ(plainNumberText(4, 2, "+E12"), "");
  for (const char* text :
       {"", "+E12", "-0.0E-99", "-1E+400", "2.2250738585072014E-308", "2.22507385850720139E-308",
        "1.79769313486232E308", "1.797693134862321E+308", "1.1754943E-38", "3.4028235E38", "3.4028236E38",
        "1E5000", "-1E-5000", "-0E9999", "3E-4945", "1E99999999999", "0.00000000000000000000000001E26",
        "123456789012345678901234567890E-10", "+1 2R.x5,6E7+8"})
    expectAsRead(text, true, 0);
  // Arbitrary bytes, each class often, with the "E" of a number more often than not.
  for (int round = 0; round < 60000; ++round) {
    std::string text;
    const int32_t digits = below(10) + 11;
    for (int32_t left = below(25); left > 0; --left) text += "0123456789 .+-,EeR*-."[below(digits)];
    if (below(3) != 0) text += "E" + std::to_string(below(oneOf({30, 350, 5500})) * oneOf({1, -1}));
    expectAsRead(text, below(2) == 0, static_cast<int16_t>(below(12)));
  }
}

TEST(ExternalFloat, FaultsAreReportedOnDemand) {
  const auto seen = qrt::test::reportsOf([] {
    float result[2] = {};
    std::string codes;
    for (const int32_t report : {0, 1})
      for (const std::string text : {"-1E+400", "-1E-400"}) {
        const QrtExternalFloatSource control{7, 0, 1, 4};
        codes +=
            std::to_string(_qrtcConvExtFltToIntFlt(&control, bytes(text), &result[text[3] == '-'], report));
      }
    return codes + (result[0] == -FLT_MAX && result[1] == 0 && !std::signbit(result[1]) ? " stored" : "");
  });
  EXPECT_EQ(seen.numbers, "53 55 ");
  EXPECT_EQ(seen.output, "2121 stored");
}

}  // namespace
