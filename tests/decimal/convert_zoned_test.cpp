// Conversions between packed and zoned items beside their plain twins.
#include <decimal/plain.h>
#include <decimal/plain_zoned.h>

#include "operands.h"

namespace {

using namespace qrt::decimal::plain;
using namespace qrt::test;

#define ROW(x)                                                                                         \
  {                                                                                                    \
    _qrtcBCD_CONV_Znd##x##_To_ZndTO, _qrtcBCD_CONV_Znd##x##_To_ZndTS, _qrtcBCD_CONV_Znd##x##_To_ZndLO, \
        _qrtcBCD_CONV_Znd##x##_To_ZndLS, _qrtcBCD_CONV_Znd##x##_To_ZndUS                               \
  }
QrtDecimalConversion* const zonedToZoned[5][5] = {ROW(TO), ROW(TS), ROW(LO), ROW(LS), ROW(US)};
QrtDecimalConversion* const packedToZoned[5] = {_qrtcBCD_CONV_Pckd_To_ZndTO, _qrtcBCD_CONV_Pckd_To_ZndTS,
                                                _qrtcBCD_CONV_Pckd_To_ZndLO, _qrtcBCD_CONV_Pckd_To_ZndLS,
                                                _qrtcBCD_CONV_Pckd_To_ZndUS};
QrtDecimalConversion* const zonedToPacked[5] = {_qrtcBCD_CONV_ZndTO_To_Pckd, _qrtcBCD_CONV_ZndTS_To_Pckd,
                                                _qrtcBCD_CONV_ZndLO_To_Pckd, _qrtcBCD_CONV_ZndLS_To_Pckd,
                                                _qrtcBCD_CONV_ZndUS_To_Pckd};

int32_t anyLength() {
  return 1 + below(below(4) == 0 ? 63 : 34);
}

// Zoned bytes, often with leading zeros, sometimes with odd zones; the sign byte is bad only when asked for.
Bytes anyZoned(Form form, int32_t digits, bool badSign) {
  const bool oddZones = random_() % 3 == 0;
  const int32_t zeros = random_() % 2 == 0 ? static_cast<int32_t>(random_() % (digits + 1)) : 0;
  Bytes item(digits);
  for (int32_t i = 0; i < digits; ++i)
    item[i] = static_cast<uint8_t>((i < zeros ? 0 : random_() % 10) | (oddZones ? random_() & 0xF0 : 0x30));
  if (separate(form)) return zonedItem(item, form, badSign ? ' ' : below(2) == 0 ? '+' : '-');
  return zonedItem(item, form, below(2) == 0 ? 'p' : asItIs);
}

// What a conversion stores, in hexadecimal.
std::string convert(QrtDecimalConversion* member, const Bytes& source, int32_t sourceDigits, int32_t digits,
                    size_t bytes) {
  return stored(bytes, [&](uint8_t* to) { EXPECT_EQ(member(source.data(), to, digits, sourceDigits), to); });
}

TEST(ConvertZoned, AllRowsFollowTheirRules) {
  for (int round = 0; round < 50000; ++round) {
    const auto from = Form(round % 5), to = Form(round / 5 % 5);
    const int32_t digits = anyLength(), sourceDigits = anyLength();
    // A target without a sign doesn't look at the sign byte.
    const Bytes source = anyZoned(from, sourceDigits, to == US);
    ASSERT_EQ(convert(zonedToZoned[from][to], source, sourceDigits, digits, bytesOf(to, digits)),
              hexadecimal(convertZoned(from, to, source, digits)))
        << from << " to " << to << ' ' << hexadecimal(source);
  }
}

TEST(ConvertZoned, BadSeparateSignsAreReportedAndCopied) {
  for (const Form from : {TS, LS})
    for (const Form to : {TO, TS, LO, LS, US})
      for (const char digit : {'0', '2'}) {
        const Bytes source = zonedItem(Bytes(2, digit), from, 'x');
        const Reported reported =
            reportsOf([&] { return convert(zonedToZoned[from][to], source, 2, 2, bytesOf(to, 2)); });
        EXPECT_EQ(reported.output, hexadecimal(convertZoned(from, to, source, 2)));
        EXPECT_EQ(reported.numbers, to == US ? "" : "40 ");
      }
  const Reported packed = reportsOf([] { return convert(zonedToPacked[TS], {'4', '2', 'x'}, 2, 2, 2); });
  EXPECT_EQ(packed.numbers + packed.output, "40 042C");
}

TEST(ConvertZoned, PackedToZonedAndBack) {
  for (int round = 0; round < 10000; ++round) {
    const auto form = Form(round % 5);
    const int32_t digits = anyLength(), sourceDigits = anyLength();
    uint32_t nonZero;
    const Bytes packed = anyItem(sourceDigits);
    Bytes expected(digits);
    unpackDigits(packed.data(), expected.data(), digits, sourceDigits, &nonZero);
    const bool minus = hasMinus(packed) && (nonZero != 0 || form == LS);
    expected = zonedItem(expected, form, separate(form) ? (minus ? '-' : '+') : minus ? 'p' : asItIs);
    ASSERT_EQ(convert(packedToZoned[form], packed, sourceDigits, digits, bytesOf(form, digits)),
              hexadecimal(expected))
        << form << ' ' << digits << ' ' << hexadecimal(packed);

    const Bytes zoned = anyZoned(form, sourceDigits, false);
    std::string text;
    for (const uint8_t digit : zonedDigitsOf(zoned, form)) text += static_cast<char>('0' + (digit & 15));
    ASSERT_EQ(convert(zonedToPacked[form], zoned, sourceDigits, digits, digits / 2 + 1),
              packedText(text, digits, hasMinus(zoned, form)))
        << form << ' ' << hexadecimal(zoned);
  }
}

// Every byte of items of every length is looked at, whatever part of the item is moved.
TEST(ConvertZoned, BadPackedBytesAreReported) {
  std::string expected;
  const Reported reported = reportsOf([&] {
    uint8_t zoned[4];
    for (int32_t digits = 1; digits <= 32; ++digits)
      for (size_t nibble = 0, last = digits / 2 * 2 + 1; nibble <= last; ++nibble) {
        std::string item = hexadecimal(anyItem(digits));
        item[nibble] = nibble == last ? "0123456789"[below(10)] : "ABCDEF"[below(6)];
        _qrtcBCD_CONV_Pckd_To_ZndUS(fromHexadecimal(item).data(), zoned, 1, digits);
        _qrtcBCD_CONV_Pckd_To_Int4(fromHexadecimal(item).data(), digits);
        expected += nibble == last ? "39 39 " : "903 903 ";
      }
    return expected;
  });
  EXPECT_EQ(reported.numbers, reported.output);
}

}  // namespace
