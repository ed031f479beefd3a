// Conversions between packed items and floats: exact where a float holds the number, and beside the plain
// twins, with the C library's own powers of ten.
#include "decimal/plain_float.h"
#include "operands.h"

namespace {

using namespace qrt::decimal;
using namespace qrt::test;

TEST(ConvertFloat, PackedToEveryFloat) {
  for (int round = 0; round < 20000; ++round) {
    const int32_t count = 1 + below(33), scale = below(63) - 31;
    Bytes item = anyItem(count);
    if (count % 2 == 0) item[0] &= 15;
    const std::string digits = digitsOf(item, count);
    const bool minus = hasMinus(item);
    double value = plainPackedValue<double>(digits, [](bool, size_t) { return true; });
    long double extended =
        plainPackedValue<long double>(digits, [](bool, size_t before) { return before < 10; });
    ASSERT_TRUE(count > 15 || value == strtod(digits.c_str(), nullptr)) << digits;
    ASSERT_TRUE(count > 19 || extended == strtold(digits.c_str(), nullptr)) << digits;
    value = (minus ? -value : value) * powerOfTen(strtod, -scale);
    const double result = _qrtcBCD_CONV_Pckd_To_LFlt(item.data(), count, scale);
    ASSERT_EQ(result, value) << digits << ' ' << scale;
    ASSERT_EQ(std::signbit(result), minus);  // a negative zero too
    ASSERT_EQ(_qrtcBCD_CONV_Pckd_To_SFlt(item.data(), count, scale), static_cast<float>(value));

    extended *= powerOfTen(strtold, -scale);
    if (extended > 1.001e31L) extended = HUGE_VALL;
    if (extended < 1e-19L) extended = 0;
    const long double wide = _qrtcBCD_CONV_Pckd_To_EFlt(item.data(), count, scale);
    ASSERT_EQ(wide, minus ? -extended : extended) << digits << ' ' << scale;
    ASSERT_EQ(std::signbit(wide), minus && extended != 0);
  }
}

std::string convert(long double value, int32_t digits, int32_t scale) {
  return stored(digits / 2 + 1,
                [&](uint8_t* to) { EXPECT_EQ(_qrtcBCD_CONV_EFlt_To_Pckd(value, to, digits, scale), to); });
}

TEST(ConvertFloat, ExtendedToPackedByRule) {
  for (int round = 0; round < 60000; ++round) {
    const int32_t digits = 1 + below(35), scale = below(63) - 31, magnitude = below(80) - 21;
    const long double value =
        static_cast<long double>(static_cast<int64_t>(random_())) / 0x1p63L * powerOfTen(strtold, magnitude);
    ASSERT_EQ(convert(value, digits, scale), hexadecimal(plainPacked(value, digits, scale)))
        << static_cast<double>(value) << ' ' << digits << ' ' << scale;
  }
}

TEST(ConvertFloat, EdgesOfTheRange) {
  const struct {
    long double value;
    int32_t digits, scale;
    const char* expected;
  } cases[] = {
      {1.5, 3, -1, "015C"},
      {-9007199254740991.0L, 17, 0, "09007199254740991D"},
      {1e-19L, 3, -20, "010C"},
      {nextafterl(1e-19L, 0), 3, -20, "000C"},
      {HUGE_VALL, 3, 0, "000C"},
      {std::nanl(""), 3, 0, "000C"},
      {-123456789.0L, 3, 0, "789D"},  // too many digits, cleared from 9 - 4 bytes behind the first on
      {-100000000000000055.0L, 3, 0, "000C"},      // cleared from the first byte on: positive
      {-100000000000000000055.0L, 3, 0, "000D"}};  // from ahead of the first byte on
  for (const auto& [value, digits, scale, expected] : cases)
    EXPECT_EQ(convert(value, digits, scale), expected) << static_cast<double>(value);
  EXPECT_EQ(stored(2, [](uint8_t* to) { _qrtcBCD_CONV_SFlt_To_Pckd(-0.25f, to, 2, -2); }), "025D");
  EXPECT_EQ(stored(2, [](uint8_t* to) { _qrtcBCD_CONV_LFlt_To_Pckd(-0.125, to, 3, -3); }), "125D");
}

}  // namespace
