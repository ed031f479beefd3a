// Hexadecimal floats: every step beside the plain twin, and beside the values themselves cut to the bits that
// fit.
#include "decimal/plain_float.h"
#include "operands.h"

namespace {

using namespace qrt::decimal;
using namespace qrt::test;

// Bits that are random in runs, so that leading zeros, full exponents and zero words all come up.
uint64_t anyBits() {
  uint64_t bits = random_();
  if (below(4) == 0) bits >>= below(64);
  if (below(4) == 0) bits <<= below(64);
  if (below(8) == 0) bits |= 0x7FF0ull << 48;
  return bits;
}

TEST(HexFloat, EightBytesAsTakenBitByBit) {
  for (int round = 0; round < 300000; ++round) {
    const uint64_t bits = anyBits();
    ASSERT_EQ(std::bit_cast<uint64_t>(_qrtcConvHex8toIEEE(&bits)),
              std::bit_cast<uint64_t>(plainHex8ToIeee(bits)))
        << std::hex << bits;

    const auto value = std::bit_cast<double>(bits);
    uint64_t expected[3] = {1, 2, 3}, items[3] = {1, 2, 3};  // the outer ones are guards
    const int32_t status = plainIeeeToHex8(value, expected[1]);
    ASSERT_EQ(_qrtdConvIEEE8toHex(value, &items[1]), status) << value;
    ASSERT_TRUE(std::ranges::equal(items, expected)) << value;
    // Any double in range survives the way there and back.
    ASSERT_TRUE(status != 0 || expected[1] << 8 == 0 || _qrtcConvHex8toIEEE(&items[1]) == value) << value;
  }
}

// A magnitude cut to 24 bits, or to a denormal's bits, or to the digits of a Hex4.
float cutToSingle(long double value) {
  const auto single = static_cast<float>(value);
  return std::fabs(static_cast<long double>(single)) > std::fabs(value) ? std::nextafter(single, 0.0f)
                                                                        : single;
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
    const bool fits = magnitude <= FLT_MAX;
    float result = 7;
    ASSERT_EQ(_qrtdConvHex4toIEEE(bits, &result), fits ? 0 : 53) << std::hex << bits;
    ASSERT_EQ(result, fits ? std::copysign(cutToSingle(kept), value) : 7) << std::hex << bits;
    ASSERT_EQ(std::signbit(result), fits && value < 0) << std::hex << bits;

    const auto single = std::bit_cast<float>(bits);
    uint32_t item = 7;
    const int32_t fault = std::isinf(single) ? 53 : std::isnan(single) ? 54 : 0;
    ASSERT_EQ(_qrtdConvIEEE4toHex(single, &item), fault);
    // What is cut is less than one in the last digit of a normalized item.
    const long double lost = std::fabs(single) - std::fabs(plainHexValue(item, 6));
    ASSERT_TRUE(fault != 0    ? item == 7
                : single == 0 ? item == 0
                              : (item & 0x00F00000) != 0 && item >> 31 == std::signbit(single) && lost >= 0 &&
                                    lost < plainHexValue((item & 0x7F000000u) | 1, 6))
        << single;
  }
}

TEST(HexFloat, KnownItemsAndFaults) {
  EXPECT_EQ(_qrtcConvHex4toIEEE(0x41100000), 1.0f);
  EXPECT_EQ(_qrtcConvIEEE4toHex(-118.625f), 0xC276A000u);
  uint64_t item = 0;
  _qrtcConvIEEE8toHex(0.1, &item);
  EXPECT_EQ(item, 0x401999999999999Aull);
  const auto seen = reportsOf([&] {
    for (const double value : {HUGE_VAL, 1e300, -std::nan("")}) _qrtcConvIEEE8toHex(value, &item);
    const bool zeros = _qrtcConvIEEE4toHex(HUGE_VALF) == 0 && _qrtcConvIEEE4toHex(std::nanf("")) == 0 &&
                       _qrtcConvHex4toIEEE(0x61100000) == 0;
    return zeros && item == 0x401999999999999A ? "" : "stored";
  });
  EXPECT_EQ(seen.numbers + seen.output, "53 53 54 53 54 53 ");
}

}  // namespace
