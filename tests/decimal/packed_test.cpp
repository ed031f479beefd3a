// The packed-decimal core through its entries: beside its plain forms, beside exact arithmetic on digits, and
// on the cases where signs, spare nibbles and lengths meet.
#include <decimal/plain.h>

#include "operands.h"

namespace {

namespace plain = qrt::decimal::plain;
using namespace qrt::test;
using qrt::decimal::packedBytes;

using Binary = uint8_t*(const uint8_t*, const uint8_t*, uint8_t*, int32_t, int32_t, int32_t);
using Shift = uint8_t*(const uint8_t*, uint8_t*, int32_t, int32_t, int32_t);
using PlainBinary = void(const uint8_t*, const uint8_t*, uint8_t*, int32_t, int32_t, int32_t);

struct Operation {
  Binary* entry;
  PlainBinary* twin;
  int32_t mostDigits1, mostDigits2;
};
const Operation operations[] = {{_qrtcBCD_ADD_Pckd, plain::add, 63, 63},
                                {_qrtcBCD_SUB_Pckd, plain::subtract, 63, 63},
                                {_qrtcBCD_MPY_Pckd, plain::multiply, 63, 63},
                                {_qrtcBCD_DIV_Pckd, plain::divide, 91, 127}};

bool isZero(const Bytes& item) {
  return _qrtcBCD_NOT_Pckd(item.data(), static_cast<int32_t>(item.size()) * 2 - 1) == 1;
}

TEST(Packed, ArithmeticStoresWhatThePlainFormsStore) {
  for (int round = 0; round < 60000; ++round) {
    const Operation& operation = operations[round % 4];
    const bool usual = below(2) == 0;
    int32_t digits1 = 1 + below(usual ? 18 : operation.mostDigits1);
    int32_t digits2 = 1 + below(usual ? 18 : operation.mostDigits2);
    if (operation.entry == _qrtcBCD_MPY_Pckd && below(8) == 0) {  // beside a short factor any length goes
      digits1 = 1 + below(127), digits2 = 1 + below(7);
      if (below(2) == 0) std::swap(digits1, digits2);
    }
    const Bytes op1 = anyItem(digits1), op2 = anyItem(digits2);
    if (operation.entry == _qrtcBCD_DIV_Pckd && isZero(op2)) continue;
    // Into an item of its own, then on an operand of the same address and length.
    for (const Bytes* onto : {(const Bytes*)nullptr, &op1, &op2}) {
      const int32_t digits = onto == &op1 ? digits1 : onto == &op2 ? digits2 : 1 + below(usual ? 31 : 128);
      const auto result = [&](auto operate, const Bytes* place) {
        return stored(packedBytes(digits), [&](uint8_t* to) {
          if (place != nullptr) std::ranges::copy(*place, to);
          operate(place == &op1 ? to : op1.data(), place == &op2 ? to : op2.data(), to, digits, digits2,
                  digits1);
        });
      };
      ASSERT_EQ(result(operation.entry, onto), result(operation.twin, nullptr))
          << hexadecimal(op1) << " " << hexadecimal(op2) << " operation " << round % 4;
    }
  }
}

// The digits of an item modulo a prime, for what both forms could get wrong together.
uint64_t residue(const std::string& item) {
  uint64_t value = 0;
  for (size_t at = 0; at + 1 < item.size(); ++at) value = (10 * value + (item[at] - '0')) % INT32_MAX;
  return value;
}

// Into items of any length as the plain form does; where all digits fit, the law of division holds.
TEST(Packed, QuotientsAndRemainders) {
  for (int round = 0; round < 20000; ++round) {
    const bool fits = round % 2 == 0;
    const int32_t digits1 = (1 + below(below(2) == 0 ? 31 : fits ? 61 : 91)) | fits;
    const int32_t digits2 = (1 + below(below(2) == 0 ? 17 : 41)) | fits;
    const int32_t digits = fits ? digits1 : 1 + below(41), restDigits = fits ? 41 : 1 + below(41);
    const Bytes op1 = anyItem(digits1), op2 = anyItem(digits2);
    if (isZero(op2)) continue;
    const auto results = [&](auto divide) {
      std::string rest;
      std::string quotient = stored(packedBytes(digits), [&](uint8_t* to) {
        rest = stored(packedBytes(restDigits), [&](uint8_t* remainder) {
          divide(op1.data(), op2.data(), to, remainder, restDigits, digits, digits2, digits1);
        });
      });
      return std::pair(quotient, rest);
    };
    const auto [quotient, rest] = results(_qrtcBCD_DIVR_Pckd);
    ASSERT_EQ(std::pair(quotient, rest), results(plain::divideWithRemainder))
        << hexadecimal(op1) << " by " << hexadecimal(op2);
    if (!fits) continue;
    const std::string product = stored(packedBytes(125), [&](uint8_t* to) {
      _qrtcBCD_MPY_Pckd(fromHexadecimal(quotient).data(), op2.data(), to, 125, digits2, digits1);
    });
    const std::string dividend = packedText(digitsOf(op1, digits1), 61, false);
    const std::string divisor = packedText(digitsOf(op2, digits2), 61, false);
    ASSERT_EQ(residue(product), residue(quotient) * residue(divisor) % INT32_MAX);
    ASSERT_EQ((residue(product) + residue(rest)) % INT32_MAX, residue(dividend));
    ASSERT_LT(packedText(rest.substr(0, 41), 61, false), divisor);
  }
}

TEST(Packed, ShiftsStoreWhatThePlainFormsStore) {
  const auto rounded = [](auto... arguments) { plain::shiftRightRounded(arguments...); };
  const std::pair<Shift*, void (*)(const uint8_t*, uint8_t*, int32_t, int32_t, int32_t)> shifts[] = {
      {_qrtcBCD_SHFD_Pckd_Left, plain::shiftLeft},
      {_qrtcBCD_SHFD_Pckd_Right, plain::shiftRight},
      {_qrtcBCD_SHFD_Pckd_RightRnd, rounded}};
  for (int round = 0; round < 60000; ++round) {
    const auto& [entry, twin] = shifts[round % 3];
    const int32_t most = below(3) == 0 ? 63 : 31, sourceDigits = 1 + below(most);
    const int32_t shift = below(below(2) == 0 ? 5 : sourceDigits + 6);
    const Bytes source = anyItem(sourceDigits);
    for (const bool inPlace : {false, true}) {
      const int32_t digits = inPlace ? sourceDigits : 1 + below(most);
      const auto result = [&](auto move, bool onto) {
        return stored(packedBytes(digits), [&](uint8_t* to) {
          if (onto) std::ranges::copy(source, to);
          move(onto ? to : source.data(), to, digits, sourceDigits, shift);
        });
      };
      ASSERT_EQ(result(entry, inPlace), result(twin, false))
          << hexadecimal(source) << " by " << shift << " kind " << round % 3;
    }
  }
}

TEST(Packed, ComparesAsThePlainFormDoes) {
  for (int round = 0; round < 40000; ++round) {
    const int32_t digits1 = 1 + below(41), digits2 = below(3) == 0 ? digits1 : 1 + below(41);
    const Bytes op1 = anyItem(digits1);
    Bytes op2 = anyItem(digits2);
    if (digits1 == digits2 && below(2) == 0) {  // alike but for signs and a nibble
      op2 = op1;
      op2.back() = static_cast<uint8_t>((op2.back() & 0xF0) | (10 + below(6)));
      if (below(2) == 0) op2[below(static_cast<int32_t>(op2.size()))] ^= uint8_t{0x10};
    }
    const int32_t order = plain::compare(op1.data(), op2.data(), digits2, digits1);
    const auto relation = [&](auto entry) { return entry(op1.data(), op2.data(), digits2, digits1); };
    ASSERT_EQ(relation(_Compare_Pckd_BCD), order) << hexadecimal(op1) << " " << hexadecimal(op2);
    ASSERT_TRUE(relation(_qrtcBCD_EQU_Pckd) == (order == 0) && relation(_qrtcBCD_NEQ_Pckd) == (order != 0) &&
                relation(_qrtcBCD_GRT_Pckd) == (order > 0) && relation(_qrtcBCD_GEQ_Pckd) == (order >= 0) &&
                relation(_qrtcBCD_LES_Pckd) == (order < 0) && relation(_qrtcBCD_LEQ_Pckd) == (order <= 0));
  }
}

TEST(Packed, SignsSpareNibblesAndBadBytes) {
  const struct {
    Binary* entry;
    const char *op1, *op2;
    int32_t digits1, digits2, digits;
    std::string result;  // empty where it means nothing
    const char* reported = "";
  } rows[] = {
      {_qrtcBCD_ADD_Pckd, "123C", "1C", 2, 1, 2, "024C"},
      {_qrtcBCD_ADD_Pckd, "AB1CCC", "00001C", 5, 5, 5, "", "903 903 903 "},
      {_qrtcBCD_SUB_Pckd, "000015", "0000AC", 5, 5, 5, "", "39 903 "},
      {_qrtcBCD_MPY_Pckd, "000A15", "12345C", 5, 5, 5, "", "903 39 "},
      {_qrtcBCD_DIV_Pckd, "12345C", "00000C", 5, 5, 5, "232323", "902 "},
      {_qrtcBCD_DIV_Pckd, "1234AC", "00000C", 5, 5, 5, "232323", "903 902 "},
  };
  for (const auto& row : rows) {
    const Bytes op1 = fromHexadecimal(row.op1), op2 = fromHexadecimal(row.op2);
    const auto seen = reportsOf([&] {
      return stored(packedBytes(row.digits), [&](uint8_t* to) {
        EXPECT_EQ(row.entry(op1.data(), op2.data(), to, row.digits, row.digits2, row.digits1), to);
      });
    });
    EXPECT_EQ(seen.numbers, row.reported) << row.op1 << " " << row.op2;
    EXPECT_TRUE(row.result.empty() || row.result == seen.output) << row.op1 << " " << row.op2 << seen.output;
  }
  const std::pair<const char*, const char*> negated[] = {
      {"0C", "0C"}, {"5F", "5D"}, {"5B", "5C"}, {"0D", "0C"}};
  for (const auto& [source, result] : negated)
    EXPECT_EQ(stored(1, [&](uint8_t* to) { _qrtcBCD_NEG_Pckd(fromHexadecimal(source).data(), to, 9, 1); }),
              result);
  EXPECT_EQ(stored(2, [](uint8_t* to) { _qrtcBCD_ABS_Pckd(fromHexadecimal("911D").data(), to, 9, 2); }),
            "011C");
}

TEST(Packed, ZonedShiftsMoveBytes) {
  const struct {
    Shift* entry;
    const char* source;
    int32_t digits, shift;
    std::string result;
  } rows[] = {
      {_qrtcBCD_SHFD_ZndTO_Left, "12s", 5, 2, "1230p"},   {_qrtcBCD_SHFD_ZndTO_Right, "12s", 2, 1, "1r"},
      {_qrtcBCD_SHFD_ZndTS_Left, "123-", 5, 2, "12300-"}, {_qrtcBCD_SHFD_ZndTS_Right, "123-", 1, 2, "1-"},
      {_qrtcBCD_SHFD_ZndLO_Left, "q23", 4, 1, "q230"},    {_qrtcBCD_SHFD_ZndLO_Right, "q23", 2, 1, "q2"},
      {_qrtcBCD_SHFD_ZndLS_Left, "-123", 4, 1, "-1230"},  {_qrtcBCD_SHFD_ZndLS_Right, "-123", 2, 1, "-12"},
      {_qrtcBCD_SHFD_ZndUS_Left, "12s", 4, 1, "12s0"},    {_qrtcBCD_SHFD_ZndUS_Right, "123", 2, 1, "12"},
  };
  for (const auto& row : rows) {
    const auto shift = [&](uint8_t* to) { row.entry(bytes(row.source), to, row.digits, 3, row.shift); };
    EXPECT_EQ(itemAfter(row.result.size(), shift), row.result);
  }
}

}  // namespace
