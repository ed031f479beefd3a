// Hexadecimal floats: every step beside the plain twin, and beside the values themselves cut to the bits that
// fit.
#include <gtest/gtest.h>
#include <qrtrlib.h>

#include <cfloat>
#include <random>

#include "decimal/plain_float.h"
#include "reports.h"

namespace {

using namespace qrt::decimal;
using qrt::test::reportsOf;

std::mt19937_64 random_(1964);

// Bits that are random in runs, so that leading zeros, full exponents and zero words all come up.
uint64_t anyBits() {
  uint64_t bits = random_();
  if (random_() % 4 == 0) bits >>= random_() % 64;
  if (random_() % 4 == 0) bits <<= random_() % 64;
  if (random_() % 8 == 0) bits |= 0x7FF0ull << 48;
  return bits;
}

TEST(HexFloat, EightBytesAsTakenBitByBit) {
  for (int round = 0; round < 300000; ++round) {
    const uint64_t bits = anyBits();
    const double result = _qrtcConvHex8toIEEE(&bits);
    ASSERT_EQ(std::bit_cast<uint64_t>(result), std::bit_cast<uint64_t>(plainHex8ToIeee(bits)))
        << std::hex << bits;

    const auto value = std::bit_cast<double>(bits);
    uint64_t expected[3] = {1, 2, 3}, items[3] = {1, 2, 3};  // the outer ones are guards
    const int32_t status = plainIeeeToHex8(value, expected[1]);
    ASSERT_EQ(_qrtdConvIEEE8toHex(value, &items[1]), status) << value;
    ASSERT_TRUE(std::equal(items, items + 3, expected)) << value;
    // Any double in range survives the way there and back.
    if (status == 0 && expected[1] << 8 != 0) {
      ASSERT_EQ(_qrtcConvHex8toIEEE(&items[1]), value);
    }
  }
}

// A magnitude cut to 24 bits, or to a denormal's bits, or to the digits of a Hex4.
float cutToSingle(long double value) {
  auto single = static_cast<float>(value);
  if (std::fabs(static_cast<long double>(single)) > std::fabs(value)) single = std::nextafter(single, 0.0f);
  return single;
}

TEST(HexFloat, FourBytesByTheirValue) {
  for (int round = 0; round < 300000; ++round) {
    const auto bits = static_cast<uint32_t>(anyBits());
    const long double value = plainHexValue(bits, 6), magnitude = std::fabs(value);
    // Too small are all values but those whose exponent field comes to 0: they keep the bits behind the
    // first.
    const long double kept = magnitude >= FLT_MIN         ? magnitude
                             : magnitude < FLT_MIN / 2.0L ? 0
                                                          : magnitude * 2 - FLT_MIN;
    float result = 7;
    ASSERT_EQ(_qrtdConvHex4toIEEE(bits, &result), magnitude > FLT_MAX ? 53 : 0) << std::hex << bits;
    ASSERT_EQ(result, magnitude > FLT_MAX ? 7 : std::copysign(cutToSingle(kept), value)) << std::hex << bits;
    if (magnitude <= FLT_MAX) {
      ASSERT_EQ(std::signbit(result), value < 0);
    }

    const auto single = std::bit_cast<float>(bits);
    uint32_t item = 7;
    const int32_t fault = std::isinf(single) ? 53 : std::isnan(single) ? 54 : 0;
    ASSERT_EQ(_qrtdConvIEEE4toHex(single, &item), fault);
    if (fault != 0 || single == 0) {
      ASSERT_EQ(item, fault != 0 ? 7u : 0u);
      continue;
    }
    ASSERT_NE(item & 0x00F00000, 0u);  // normalized
    ASSERT_EQ(item >> 31, std::signbit(single));
    // What is cut is less than one in the last digit.
    const long double lost = std::fabs(single) - std::fabs(plainHexValue(item, 6));
    ASSERT_TRUE(lost >= 0 && lost < plainHexValue((item & 0x7F000000u) | 1, 6)) << single;
  }
}

TEST(HexFloat, KnownItems) {
  EXPECT_EQ(_qrtcConvHex4toIEEE(0x41100000), 1.0f);
  EXPECT_EQ(_qrtcConvIEEE4toHex(1.0f), 0x41100000u);
  EXPECT_EQ(_qrtcConvIEEE4toHex(-118.625f), 0xC276A000u);
  EXPECT_FALSE(std::signbit(_qrtcConvHex4toIEEE(0xC1000000)));
  EXPECT_EQ(_qrtcConvIEEE4toHex(FLT_TRUE_MIN), 0x1B800000u);
  EXPECT_EQ(_qrtcConvHex4toIEEE(0x21300000), 0x1p-127f);  // exponent field 0
  uint64_t item = 0;
  _qrtcConvIEEE8toHex(0.1, &item);
  EXPECT_EQ(item, 0x401999999999999Aull);
  item = 0x40FFFFFFFFFFFFFFull;  // three bits more than a double has
  EXPECT_EQ(_qrtcConvHex8toIEEE(&item), 1 - 0x1p-53);
  item = 0x00000000FFFFFFFFull;  // the higher word decides
  EXPECT_EQ(_qrtcConvHex8toIEEE(&item), 0);
  _qrtcConvIEEE8toHex(-1e-300, &item);
  EXPECT_EQ(item, 0x8000000000000000ull);
}

TEST(HexFloat, FaultsAreReportedOrReturned) {
  const auto seen = reportsOf([] {
    uint64_t item = 5;
    for (const double value : {HUGE_VAL, 1e300, -std::nan("")}) _qrtcConvIEEE8toHex(value, &item);
    const bool zeros = _qrtcConvIEEE4toHex(HUGE_VALF) == 0 && _qrtcConvIEEE4toHex(std::nanf("")) == 0 &&
                       _qrtcConvHex4toIEEE(0x61100000) == 0;
    return std::to_string(item) + (zeros ? "" : " not zero");
  });
  EXPECT_EQ(seen.numbers, "53 53 54 53 54 53 ");
  EXPECT_EQ(seen.output, "5");
}

}  // namespace
