// Conversions between packed and zoned items beside a naive model that works digit by digit from the rules,
// and beside the plain movers of digits.
#include <decimal/plain.h>

#include "operands.h"

namespace {

namespace plain = qrt::decimal::plain;
using namespace qrt::test;

enum Form { TO, TS, LO, LS, US };

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

bool separate(Form form) {
  return form == TS || form == LS;
}

size_t bytesOf(Form form, int32_t digits) {
  return digits + separate(form);
}

// The digits of an item, zones included.
Bytes zonedDigitsOf(const Bytes& item, Form form) {
  return Bytes(item.begin() + (form == LS), item.end() - (form == TS));
}

// What a member does after the move: which byte is cleaned, by the source's form, and where the sign comes
// from and goes to.
enum Cleaned { nothing, lastByte, firstMoved };
enum Placed { noSign, zone, signOfZone, zoneOfSign, sign, plus };
const Cleaned cleaned[5] = {lastByte, nothing, firstMoved, nothing, lastByte};
const Placed placed[5][5] = {{zone, signOfZone, zone, signOfZone, noSign},
                             {zoneOfSign, sign, zoneOfSign, sign, noSign},
                             {zone, signOfZone, zone, signOfZone, noSign},
                             {zoneOfSign, sign, zoneOfSign, sign, noSign},
                             {noSign, plus, noSign, plus, noSign}};

Bytes model(Form from, Form to, const Bytes& source, int32_t digits) {
  const Placed row = placed[from][to];
  const Bytes all = zonedDigitsOf(source, from);
  const auto count = static_cast<int32_t>(all.size());
  Bytes result(digits, '0');
  bool nonZero = false;
  for (int32_t i = 1; i <= std::min(count, digits); ++i) {
    result[digits - i] = all[count - i];
    nonZero = nonZero || (all[count - i] & 15) != 0;
  }
  const auto setZone = [&](size_t at, uint8_t zone) { result[at] = (result[at] & 15) | (zone & 0xF0); };
  if (cleaned[from] == lastByte) setZone(digits - 1, 0x30);
  if (cleaned[from] == firstMoved) setZone(std::max(0, digits - count), 0x30);
  const size_t signed_ = to == TO ? digits - 1 : 0;
  const uint8_t sourceSign = from == TO || from == TS ? source.back() : source.front();
  uint8_t separateSign = '+';
  if (row == zone) setZone(signed_, nonZero ? sourceSign : 0x30);
  if (row == zoneOfSign && sourceSign == '-' && nonZero) setZone(signed_, 0x70);
  if (row == signOfZone && (sourceSign & 0x40) != 0 && nonZero) separateSign = '-';
  if (row == sign && nonZero) separateSign = sourceSign;
  if (separate(to)) result.insert(to == LS ? result.begin() : result.end(), separateSign);
  return result;
}

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
  if (form == TO && random_() % 2) item.back() |= 0x40;
  if (form == LO && random_() % 2) item.front() |= 0x40;
  if (separate(form)) {
    const uint8_t sign = badSign ? ' ' : random_() % 2 == 0 ? '+' : '-';
    item.insert(form == LS ? item.begin() : item.end(), sign);
  }
  return item;
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
              hexadecimal(model(from, to, source, digits)))
        << from << " to " << to << ' ' << hexadecimal(source);
  }
}

TEST(ConvertZoned, BadSeparateSignsAreReportedAndCopied) {
  for (const Form from : {TS, LS})
    for (const Form to : {TO, TS, LO, LS, US})
      for (const char digit : {'0', '2'}) {
        Bytes source(3, digit);
        (from == LS ? source.front() : source.back()) = 'x';
        const Reported reported =
            reportsOf([&] { return convert(zonedToZoned[from][to], source, 2, 2, bytesOf(to, 2)); });
        EXPECT_EQ(reported.output, hexadecimal(model(from, to, source, 2)));
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
    plain::unpackDigits(packed.data(), expected.data(), digits, sourceDigits, &nonZero);
    bool minus = hasMinus(packed) && (nonZero != 0 || form == LS);
    if (minus && (form == TO || form == LO)) expected[form == TO ? digits - 1 : 0] |= 0x40;
    if (separate(form)) expected.insert(form == LS ? expected.begin() : expected.end(), minus ? '-' : '+');
    ASSERT_EQ(convert(packedToZoned[form], packed, sourceDigits, digits, bytesOf(form, digits)),
              hexadecimal(expected))
        << form << ' ' << digits << ' ' << hexadecimal(packed);

    const Bytes zoned = anyZoned(form, sourceDigits, false);
    std::string text;
    for (const uint8_t digit : zonedDigitsOf(zoned, form)) text += static_cast<char>('0' + (digit & 15));
    const uint8_t signByte = form == TO || form == TS ? zoned.back() : zoned.front();
    minus = form != US && (separate(form) ? signByte == '-' : (signByte & 0x40) != 0);
    ASSERT_EQ(convert(zonedToPacked[form], zoned, sourceDigits, digits, digits / 2 + 1),
              packedText(text, digits, minus))
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
        expected += nibble == last ? "39 " : "903 ";
      }
    return expected;
  });
  EXPECT_EQ(reported.numbers, reported.output);
}

}  // namespace
