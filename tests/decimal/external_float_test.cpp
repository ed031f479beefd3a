// External floating-point items: known ones, and random records, values and texts beside the plain twins.
#include "decimal/plain_float.h"
#include "operands.h"

namespace {

using namespace qrt::decimal;
using namespace qrt::test;

template <typename Choice>
Choice oneOf(std::initializer_list<Choice> choices) {
  return choices.begin()[below(static_cast<int32_t>(choices.size()))];
}

std::string toExternal(const QrtExternalFloat& control, long double value) {
  const auto narrow = static_cast<double>(value);
  const auto item = [&](auto entry, const void* from) {
    return itemAfter(std::abs(control.length), [&](uint8_t* to) { entry(&control, from, to); });
  };
  const std::string text = item(_qrtcConvIntEFltToExtFlt, &value);
  EXPECT_TRUE(narrow < value || narrow > value || item(_qrtcConvIntFltToExtFlt, &narrow) == text) << text;
  return text;
}

// Sizes of numbers as they come up, and beyond what each float holds.
long double anyValue() {
  if (below(50) == 0) return oneOf({HUGE_VALL, -HUGE_VALL, std::nanl(""), 0.0L, -0.0L});
  const long double mantissa = below(4) == 0 ? below(2000) / 1000.0L : static_cast<long double>(random_());
  const int32_t exponent = below(3) == 0 ? below(32000) - 16000 : below(200) - 100;
  const long double value = std::ldexp(mantissa, exponent);
  return below(3) == 0 ? static_cast<double>(value) : below(2) == 0 ? -value : value;
}

TEST(ExternalFloat, TextIsThatOfThePrint) {
  for (int round = 0; round < 50000; ++round) {
    const auto before = static_cast<int16_t>(below(12)),
               after = static_cast<int16_t>(below(12) + (before == 0));
    const QrtExternalFloat control{static_cast<int16_t>(below(60) - 30),
                                   after,
                                   before,
                                   oneOf<uint8_t>({'+', '-'}),
                                   oneOf<uint8_t>({'+', '-'}),
                                   oneOf<uint8_t>({'.', ','})};
    const long double value = anyValue();
    ASSERT_EQ(toExternal(control, value), plainExternal(control, value))
        << before << ' ' << after << ' ' << value;
  }
}

void expectAsRead(const std::string& text, bool storedPoint, int16_t before) {
  for (const int16_t size : {int16_t{4}, int16_t{8}, int16_t{10}}) {
    const auto length = static_cast<int16_t>(storedPoint ? text.size() : -text.size());
    const QrtExternalFloatSource control{length, 0, before, size};
    const PlainFloat expected = plainExternalValue(control, text);
    std::string area(20, '\xEE');
    ASSERT_EQ(_qrtcConvExtFltToIntFlt(&control, bytes(text), area.data(), 0), expected.result) << text;
    ASSERT_EQ(area, plainStored(expected, size).append(4, '\xEE'))
        << '"' << text << "\" " << storedPoint << before << " size " << size;
  }
}

TEST(ExternalFloat, ValueIsThatOfTheText) {
  EXPECT_EQ(plainNumberText(-10, 2, "+12345E+02"), "+12.345E+02");
  EXPECT_EQ(plainNumberText(13, 2, " 1x+2,3.4E 5-6"), "12.34E+56");
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
  const auto seen = reportsOf([] {
    const QrtExternalFloatSource control{7, 0, 1, 4};
    float result = 0;
    for (const int32_t report : {0, 1})
      for (const char* text : {"-1E+400", "-1E-400"})
        _qrtcConvExtFltToIntFlt(&control, bytes(text), &result, report);
    return "";
  });
  EXPECT_EQ(seen.numbers, "53 55 ");
}

}  // namespace
