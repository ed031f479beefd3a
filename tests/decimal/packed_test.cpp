// The packed-decimal core through its entries: beside its plain forms, beside exact arithmetic on digits, and
// on the cases where signs, spare nibbles and lengths meet.
#include <decimal/plain.h>
#include <qrtrlib.h>

#include <algorithm>
#include <random>

#include "reports.h"

namespace {

namespace plain = qrt::decimal::plain;
using qrt::decimal::packedBytes;
using qrt::test::hexadecimal;
using qrt::test::reportsOf;
using Bytes = std::vector<uint8_t>;

std::mt19937 random_(20261124);

int32_t upTo(int32_t most) {
  return static_cast<int32_t>(random_() % static_cast<uint32_t>(most + 1));
}

// A valid item: often with leading zeros, any sign nibble, now and then a digit in the spare nibble.
Bytes anyItem(int32_t digits) {
  Bytes item(packedBytes(digits));
  const int32_t zeros = upTo(2) == 0 ? upTo(digits) : 0;
  for (int32_t digit = 0; digit < digits - zeros; ++digit)
    item[item.size() - 1 - (digit + 1) / 2] |= static_cast<uint8_t>(digit % 2 == 0 ? upTo(9) << 4 : upTo(9));
  if (digits % 2 == 0 && upTo(7) == 0) item[0] |= static_cast<uint8_t>(upTo(9) << 4);
  item.back() |= static_cast<uint8_t>(10 + upTo(5));
  return item;
}

constexpr uint8_t guard = 0xE7;

// What `work` stores into an item of `digits`, in hexadecimal, with the bytes around it looked after.
template <typename Work>
std::string stored(int32_t digits, Work work) {
  Bytes storage(packedBytes(digits) + 8, guard);
  work(storage.data() + 4);
  EXPECT_TRUE(std::count(storage.begin(), storage.begin() + 4, guard) == 4 &&
              std::count(storage.end() - 4, storage.end(), guard) == 4);
  return hexadecimal(storage.data() + 4, storage.size() - 8);
}

using Binary = uint8_t*(const uint8_t*, const uint8_t*, uint8_t*, int32_t, int32_t, int32_t);
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
    const bool usual = upTo(1) == 0;
    int32_t digits1 = 1 + upTo((usual ? 18 : operation.mostDigits1) - 1);
    int32_t digits2 = 1 + upTo((usual ? 18 : operation.mostDigits2) - 1);
    if (operation.entry == _qrtcBCD_MPY_Pckd && upTo(7) == 0) {  // beside a short factor any length goes
      digits1 = 1 + upTo(126), digits2 = 1 + upTo(6);
      if (upTo(1) == 0) std::swap(digits1, digits2);
    }
    int32_t digits = 1 + upTo(usual ? 30 : 127);
    const Bytes op1 = anyItem(digits1), op2 = anyItem(digits2);
    if (operation.entry == _qrtcBCD_DIV_Pckd && isZero(op2)) continue;
    const auto expected = [&] {
      return stored(
          digits, [&](uint8_t* to) { operation.twin(op1.data(), op2.data(), to, digits, digits2, digits1); });
    };
    const auto call = [&](const uint8_t* a, const uint8_t* b, uint8_t* to) {
      EXPECT_EQ(operation.entry(a, b, to, digits, digits2, digits1), to);
    };
    const std::string operands = hexadecimal(op1.data(), op1.size()) + " " +
                                 hexadecimal(op2.data(), op2.size()) + " operation " +
                                 std::to_string(round % 4);
    ASSERT_EQ(stored(digits, [&](uint8_t* to) { call(op1.data(), op2.data(), to); }), expected()) << operands;

    // On an operand of the same address and length.
    digits = digits1;
    ASSERT_EQ(stored(digits,
                     [&](uint8_t* to) {
                       call(std::copy_n(op1.data(), op1.size(), to) - op1.size(), op2.data(), to);
                     }),
              expected())
        << operands;
    digits = digits2;
    ASSERT_EQ(stored(digits,
                     [&](uint8_t* to) {
                       call(op1.data(), std::copy_n(op2.data(), op2.size(), to) - op2.size(), to);
                     }),
              expected())
        << operands;
  }
}

TEST(Packed, RemaindersAreThoseOfThePlainForm) {
  for (int round = 0; round < 20000; ++round) {
    const int32_t digits1 = 1 + upTo(upTo(1) == 0 ? 30 : 90), digits2 = 1 + upTo(upTo(1) == 0 ? 16 : 40);
    const int32_t digits = 1 + upTo(40), restDigits = 1 + upTo(40);
    const Bytes op1 = anyItem(digits1), op2 = anyItem(digits2);
    if (isZero(op2)) continue;
    std::string rest, expectedRest;
    const std::string quotient = stored(digits, [&](uint8_t* to) {
      rest = stored(restDigits, [&](uint8_t* remainder) {
        _qrtcBCD_DIVR_Pckd(op1.data(), op2.data(), to, remainder, restDigits, digits, digits2, digits1);
      });
    });
    const std::string expected = stored(digits, [&](uint8_t* to) {
      expectedRest = stored(restDigits, [&](uint8_t* remainder) {
        plain::divideWithRemainder(op1.data(), op2.data(), to, remainder, restDigits, digits, digits2,
                                   digits1);
      });
    });
    ASSERT_EQ(quotient + " " + rest, expected + " " + expectedRest)
        << hexadecimal(op1.data(), op1.size()) << " by " << hexadecimal(op2.data(), op2.size());
  }
}

// Exact arithmetic on digit lists, least significant first, for what both forms could get wrong together.
using Number = std::vector<int>;

Number digitsOf(const Bytes& item) {
  Number digits;
  for (size_t byte = item.size(); byte-- > 0;) {
    if (byte + 1 < item.size()) digits.push_back(item[byte] & 15);
    digits.push_back(item[byte] >> 4);
  }
  return digits;
}

Number carried(Number digits) {
  for (size_t i = 0; i + 1 < digits.size(); ++i) {
    digits[i + 1] += digits[i] / 10;
    digits[i] %= 10;
  }
  return digits;
}

TEST(Packed, QuotientTimesDivisorPlusRemainderIsTheDividend) {
  for (int round = 0; round < 10000; ++round) {
    const int32_t digits1 = 1 + 2 * upTo(30), digits2 = 1 + 2 * upTo(upTo(1) == 0 ? 3 : 20);
    const Bytes dividend = anyItem(digits1), divisor = anyItem(digits2);
    if (isZero(divisor)) continue;
    Bytes quotient(packedBytes(digits1)), rest(packedBytes(digits1)), product(packedBytes(125));
    _qrtcBCD_DIVR_Pckd(dividend.data(), divisor.data(), quotient.data(), rest.data(), digits1, digits1,
                       digits2, digits1);
    const Number q = digitsOf(quotient), d = digitsOf(divisor), r = digitsOf(rest);
    Number sum(130), expected = digitsOf(dividend);
    for (size_t i = 0; i < q.size(); ++i)
      for (size_t j = 0; j < d.size(); ++j) sum[i + j] += q[i] * d[j];
    _qrtcBCD_MPY_Pckd(quotient.data(), divisor.data(), product.data(), 125, digits2, digits1);
    Number exactProduct = carried(sum);
    exactProduct.resize(125);
    ASSERT_EQ(digitsOf(product), exactProduct);
    for (size_t i = 0; i < r.size(); ++i) sum[i] += r[i];
    expected.resize(sum.size());
    ASSERT_EQ(carried(sum), expected);
    Bytes size(rest), by(divisor);
    size.back() = static_cast<uint8_t>((size.back() & 0xF0) | 0xC);
    by.back() = static_cast<uint8_t>((by.back() & 0xF0) | 0xC);
    ASSERT_EQ(_qrtcBCD_LES_Pckd(size.data(), by.data(), digits2, digits1), 1);
  }
}

TEST(Packed, ShiftsStoreWhatThePlainFormsStore) {
  using Shift = uint8_t*(const uint8_t*, uint8_t*, int32_t, int32_t, int32_t);
  const auto rounded = [](const uint8_t* source, uint8_t* destination, int32_t digits, int32_t sourceDigits,
                          int32_t shift) {
    plain::shiftRightRounded(source, destination, digits, sourceDigits, shift);
  };
  const std::pair<Shift*, void (*)(const uint8_t*, uint8_t*, int32_t, int32_t, int32_t)> shifts[] = {
      {_qrtcBCD_SHFD_Pckd_Left, plain::shiftLeft},
      {_qrtcBCD_SHFD_Pckd_Right, plain::shiftRight},
      {_qrtcBCD_SHFD_Pckd_RightRnd, rounded}};
  for (int round = 0; round < 60000; ++round) {
    const auto& [entry, twin] = shifts[round % 3];
    const int32_t most = upTo(2) == 0 ? 63 : 31;
    const int32_t sourceDigits = 1 + upTo(most - 1);
    const int32_t shift = upTo(upTo(1) == 0 ? 4 : sourceDigits + 5);
    int32_t digits = 1 + upTo(most - 1);
    const Bytes source = anyItem(sourceDigits);
    const auto expected = [&, twin = twin] {
      return stored(digits, [&](uint8_t* to) { twin(source.data(), to, digits, sourceDigits, shift); });
    };
    ASSERT_EQ(stored(digits, [&, entry = entry](
                                 uint8_t* to) { entry(source.data(), to, digits, sourceDigits, shift); }),
              expected())
        << hexadecimal(source.data(), source.size()) << " by " << shift << " kind " << round % 3;
    digits = sourceDigits;
    ASSERT_EQ(stored(digits,
                     [&, entry = entry](uint8_t* to) {
                       entry(std::copy_n(source.data(), source.size(), to) - source.size(), to, digits,
                             sourceDigits, shift);
                     }),
              expected());
  }
}

TEST(Packed, ComparesAsThePlainFormDoes) {
  for (int round = 0; round < 40000; ++round) {
    const int32_t digits1 = 1 + upTo(40), digits2 = upTo(2) == 0 ? digits1 : 1 + upTo(40);
    const Bytes op1 = anyItem(digits1);
    Bytes op2 = anyItem(digits2);
    if (digits1 == digits2 && upTo(1) == 0) {  // alike but for signs and a nibble
      op2 = op1;
      op2.back() = static_cast<uint8_t>((op2.back() & 0xF0) | (10 + upTo(5)));
      if (upTo(1) == 0) op2[upTo(static_cast<int32_t>(op2.size()) - 1)] ^= uint8_t{0x10};
    }
    const int32_t order = plain::compare(op1.data(), op2.data(), digits2, digits1);
    const auto relation = [&](auto entry) { return entry(op1.data(), op2.data(), digits2, digits1); };
    ASSERT_EQ(relation(_Compare_Pckd_BCD), order)
        << hexadecimal(op1.data(), op1.size()) << " " << hexadecimal(op2.data(), op2.size());
    ASSERT_TRUE(relation(_qrtcBCD_EQU_Pckd) == (order == 0) && relation(_qrtcBCD_NEQ_Pckd) == (order != 0) &&
                relation(_qrtcBCD_GRT_Pckd) == (order > 0) && relation(_qrtcBCD_GEQ_Pckd) == (order >= 0) &&
                relation(_qrtcBCD_LES_Pckd) == (order < 0) && relation(_qrtcBCD_LEQ_Pckd) == (order <= 0));
  }
}

Bytes bytesOf(const char* text) {
  Bytes bytes;
  for (; *text != 0; text += 2)
    bytes.push_back(static_cast<uint8_t>(std::stoi(std::string(text, 2), nullptr, 16)));
  return bytes;
}

TEST(Packed, SignsAndSpareNibbles) {
  const struct {
    Binary* entry;
    const char *op1, *op2;
    int32_t digits1, digits2, digits;
    const char* result;
  } rows[] = {
      {_qrtcBCD_ADD_Pckd, "999C", "1C", 3, 1, 3, "000C"}, {_qrtcBCD_ADD_Pckd, "5D", "5C", 1, 1, 1, "0C"},
      {_qrtcBCD_ADD_Pckd, "099D", "1D", 2, 1, 2, "000D"}, {_qrtcBCD_ADD_Pckd, "123F", "1F", 3, 1, 3, "124C"},
      {_qrtcBCD_ADD_Pckd, "123C", "1C", 2, 1, 2, "024C"}, {_qrtcBCD_SUB_Pckd, "5D", "5D", 1, 1, 1, "0C"},
      {_qrtcBCD_SUB_Pckd, "100C", "101C", 3, 3, 1, "1D"}, {_qrtcBCD_MPY_Pckd, "100D", "010C", 3, 2, 1, "0D"},
      {_qrtcBCD_DIV_Pckd, "7D", "2C", 1, 1, 1, "3D"},     {_qrtcBCD_DIV_Pckd, "1D", "2C", 1, 1, 1, "0C"},
  };
  for (const auto& row : rows) {
    const Bytes op1 = bytesOf(row.op1), op2 = bytesOf(row.op2);
    EXPECT_EQ(stored(row.digits,
                     [&](uint8_t* to) {
                       row.entry(op1.data(), op2.data(), to, row.digits, row.digits2, row.digits1);
                     }),
              row.result)
        << row.op1 << " " << row.op2;
  }
  const std::pair<const char*, const char*> negated[] = {
      {"0C", "0C"}, {"5F", "5D"}, {"5B", "5C"}, {"0D", "0C"}};
  for (const auto& [source, result] : negated)
    EXPECT_EQ(stored(1, [&](uint8_t* to) { _qrtcBCD_NEG_Pckd(bytesOf(source).data(), to, 9, 1); }), result);
  EXPECT_EQ(stored(2, [](uint8_t* to) { _qrtcBCD_ABS_Pckd(bytesOf("911D").data(), to, 9, 2); }), "011C");
}

TEST(Packed, ZonedShiftsMoveBytes) {
  const struct {
    uint8_t* (*entry)(const uint8_t*, uint8_t*, int32_t, int32_t, int32_t);
    const char* source;
    int32_t digits, shift;
    const char* result;
  } rows[] = {
      {_qrtcBCD_SHFD_ZndTO_Left, "12s", 5, 2, "1230p"},   {_qrtcBCD_SHFD_ZndTO_Right, "12s", 2, 1, "1r"},
      {_qrtcBCD_SHFD_ZndTS_Left, "123-", 5, 2, "12300-"}, {_qrtcBCD_SHFD_ZndTS_Right, "123-", 1, 2, "1-"},
      {_qrtcBCD_SHFD_ZndLO_Left, "q23", 4, 1, "q230"},    {_qrtcBCD_SHFD_ZndLO_Right, "q23", 2, 1, "q2"},
      {_qrtcBCD_SHFD_ZndLS_Left, "-123", 4, 1, "-1230"},  {_qrtcBCD_SHFD_ZndLS_Right, "-123", 2, 1, "-12"},
      {_qrtcBCD_SHFD_ZndUS_Left, "12s", 4, 1, "12s0"},    {_qrtcBCD_SHFD_ZndUS_Right, "123", 2, 1, "12"},
  };
  for (const auto& row : rows) {
    std::string storage(8, '#');
    row.entry(reinterpret_cast<const uint8_t*>(row.source), reinterpret_cast<uint8_t*>(storage.data()),
              row.digits, 3, row.shift);
    EXPECT_EQ(storage.substr(0, storage.find('#')), row.result) << row.source;
  }
}

TEST(Packed, BadOperandsAreReportedByteByByte) {
  const struct {
    Binary* entry;
    const char *op1, *op2;
    const char* reported;
  } rows[] = {
      {_qrtcBCD_ADD_Pckd, "AB1CCC", "00001C", "903 903 903 "},
      {_qrtcBCD_SUB_Pckd, "000015", "0000AC", "39 903 "},
      {_qrtcBCD_MPY_Pckd, "000A15", "12345C", "903 39 "},
      {_qrtcBCD_DIV_Pckd, "12345C", "00000C", "902 "},
      {_qrtcBCD_DIV_Pckd, "1234AC", "00000C", "903 902 "},
      {_qrtcBCD_ADD_Pckd, "00001A", "99999F", ""},
  };
  for (const auto& row : rows) {
    const auto reported = reportsOf([&] {
      return stored(
          5, [&](uint8_t* to) { row.entry(bytesOf(row.op1).data(), bytesOf(row.op2).data(), to, 5, 5, 5); });
    });
    EXPECT_EQ(reported.numbers, row.reported) << row.op1 << " " << row.op2;
    if (std::string(row.reported).find("902") != std::string::npos) {
      EXPECT_EQ(reported.output, "E7E7E7");
    }
  }
}

}  // namespace
