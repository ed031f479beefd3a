// Conversions between packed and zoned items beside a naive model that works digit by digit from the rules,
// and beside the plain movers of digits.
#include <decimal/plain.h>
#include <qrtrlib.h>

#include <random>

#include "reports.h"

namespace {

namespace plain = qrt::decimal::plain;
using qrt::test::hexadecimal;
using qrt::test::Reported;
using qrt::test::reportsOf;
using Bytes = std::vector<uint8_t>;

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

int32_t bytesOf(Form form, int32_t digits) {
  return digits + separate(form);
}

// The digits of an item, zones included.
Bytes digitsOf(const Bytes& item, Form form) {
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
  const Bytes all = digitsOf(source, from);
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

std::mt19937 random_(1648);

int32_t anyLength() {
  return static_cast<int32_t>(random_() % 4 == 0 ? 1 + random_() % 63 : 1 + random_() % 34);
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

Bytes anyPacked(int32_t digits, uint8_t sign) {
  Bytes item(digits / 2 + 1);
  const int32_t zeros = random_() % 2 == 0 ? static_cast<int32_t>(random_() % (item.size() + 1)) : 0;
  for (size_t i = zeros; i < item.size(); ++i)
    item[i] = static_cast<uint8_t>(random_() % 10 << 4 | random_() % 10);
  item.back() = (item.back() & 0xF0) | sign;
  return item;
}

// Runs a conversion with guard bytes around the destination.
Bytes convert(QrtDecimalConversion* member, const Bytes& source, int32_t sourceDigits, int32_t digits,
              int32_t bytes) {
  constexpr int32_t margin = 24;
  Bytes area(bytes + 2 * margin, 0xEE);
  uint8_t* const destination = area.data() + margin;
  EXPECT_EQ(member(source.data(), destination, digits, sourceDigits), destination);
  EXPECT_EQ(std::count(area.begin(), area.begin() + margin, 0xEE), margin);
  EXPECT_EQ(std::count(area.end() - margin, area.end(), 0xEE), margin);
  return Bytes(destination, destination + bytes);
}

TEST(ConvertZoned, AllRowsFollowTheirRules) {
  for (int round = 0; round < 2000; ++round)
    for (int from = TO; from <= US; ++from)
      for (int to = TO; to <= US; ++to) {
        const int32_t digits = anyLength(), sourceDigits = anyLength();
        // A target without a sign doesn't look at the sign byte.
        const Bytes source = anyZoned(Form(from), sourceDigits, to == US);
        const Bytes result =
            convert(zonedToZoned[from][to], source, sourceDigits, digits, bytesOf(Form(to), digits));
        ASSERT_EQ(result, model(Form(from), Form(to), source, digits))
            << from << " to " << to << ' ' << hexadecimal(source.data(), source.size());
      }
}

TEST(ConvertZoned, BadSeparateSignsAreReportedAndCopied) {
  for (const Form from : {TS, LS})
    for (int to = TO; to <= US; ++to)
      for (const bool zero : {false, true}) {
        Bytes source = zero ? Bytes{'0', '0'} : Bytes{'1', '2'};
        source.insert(from == LS ? source.begin() : source.end(), 'x');
        Bytes result(bytesOf(Form(to), 2));
        const Reported reported = reportsOf([&] {
          zonedToZoned[from][to](source.data(), result.data(), 2, 2);
          return hexadecimal(result.data(), result.size());
        });
        const Bytes expected = model(from, Form(to), source, 2);
        EXPECT_EQ(reported.output, hexadecimal(expected.data(), expected.size()));
        EXPECT_EQ(reported.numbers, to == US ? "" : "40 ");
      }
  const Bytes item = {'4', '2', 'x'};
  const Reported reported = reportsOf([&] {
    uint8_t packed[2];
    _qrtcBCD_CONV_ZndTS_To_Pckd(item.data(), packed, 2, 2);
    return hexadecimal(packed, 2);
  });
  EXPECT_EQ(reported.numbers, "40 ");
  EXPECT_EQ(reported.output, "042C");
}

TEST(ConvertZoned, PackedToZonedAndBack) {
  for (int round = 0; round < 10000; ++round) {
    const auto form = Form(round % 5);
    const int32_t digits = anyLength(), sourceDigits = anyLength();
    uint32_t nonZero;
    const uint8_t sign = static_cast<uint8_t>(10 + random_() % 6);
    const Bytes packed = anyPacked(sourceDigits, sign);
    Bytes expected(digits);
    plain::unpackDigits(packed.data(), expected.data(), digits, sourceDigits, &nonZero);
    bool minus = (sign == 0xB || sign == 0xD) && (nonZero != 0 || form == LS);
    if (minus && (form == TO || form == LO)) expected[form == TO ? digits - 1 : 0] |= 0x40;
    if (separate(form)) expected.insert(form == LS ? expected.begin() : expected.end(), minus ? '-' : '+');
    ASSERT_EQ(convert(packedToZoned[form], packed, sourceDigits, digits, bytesOf(form, digits)), expected)
        << form << ' ' << digits << ' ' << hexadecimal(packed.data(), packed.size());

    const Bytes zoned = anyZoned(form, sourceDigits, false);
    expected.resize(digits / 2 + 1);
    plain::packDigits(digitsOf(zoned, form).data(), expected.data(), digits, sourceDigits, &nonZero);
    const uint8_t signByte = form == TO || form == TS ? zoned.back() : zoned.front();
    minus = form != US && (separate(form) ? signByte == '-' : (signByte & 0x40) != 0);
    if (minus && nonZero != 0) expected.back() ^= 0xC ^ 0xD;
    ASSERT_EQ(convert(zonedToPacked[form], zoned, sourceDigits, digits, digits / 2 + 1), expected)
        << form << ' ' << hexadecimal(zoned.data(), zoned.size());
  }
}

// Every byte of items of every length is looked at, whatever part of the item is moved.
TEST(ConvertZoned, BadPackedBytesAreReported) {
  std::string expected;
  const Reported reported = reportsOf([&] {
    uint8_t zoned[4];
    for (int32_t digits = 1; digits <= 32; ++digits)
      for (int32_t nibble = 0; nibble <= 2 * (digits / 2) + 1; ++nibble) {
        Bytes item = anyPacked(digits, 0xC);
        const bool isSign = nibble == 2 * (digits / 2) + 1;
        const auto bad = static_cast<uint8_t>(isSign ? random_() % 10 : 10 + random_() % 6);
        uint8_t& byte = item[nibble / 2];
        byte = static_cast<uint8_t>(nibble % 2 == 0 ? (byte & 15) | bad << 4 : (byte & 0xF0) | bad);
        _qrtcBCD_CONV_Pckd_To_ZndUS(item.data(), zoned, 1, digits);
        expected += isSign ? "39 " : "903 ";
      }
    return expected;
  });
  EXPECT_EQ(reported.numbers, reported.output);
}

}  // namespace
