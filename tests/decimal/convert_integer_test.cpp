// Conversions between packed items and integers of every width, beside decimal text.
#include <qrtrlib.h>

#include <cstring>
#include <random>

#include "reports.h"

namespace {

using qrt::test::hexadecimal;
using qrt::test::reportsOf;
using Bytes = std::vector<uint8_t>;

std::mt19937_64 random_(1725);

uint32_t below(uint32_t bound) {
  return static_cast<uint32_t>(random_() % bound);
}

// The low-order digits of a number as a packed item.
Bytes packedOf(const std::string& digits, int32_t count, uint8_t sign) {
  Bytes item(count / 2 + 1, 0);
  for (int32_t i = 0; i < std::min<int32_t>(count, static_cast<int32_t>(digits.size())); ++i) {
    const auto digit = static_cast<uint8_t>(digits[digits.size() - 1 - i] - '0');
    const int32_t nibble = 2 * (count / 2) - i;
    item[nibble / 2] |= static_cast<uint8_t>(nibble % 2 == 0 ? digit << 4 : digit);
  }
  item.back() |= sign;
  return item;
}

template <typename Integer>
Integer anyInteger() {
  using Limits = std::numeric_limits<Integer>;
  static constexpr Integer corners[] = {
      0, 1, 9, 10, 99, 100, Limits::max(), Limits::min(), Limits::min() + 1};
  if (below(5) == 0) return corners[below(std::size(corners))];
  return static_cast<Integer>(static_cast<Integer>(random_()) >> below(8 * sizeof(Integer)));
}

template <typename Integer, typename Entry>
void checkToPacked(Entry entry) {
  for (int round = 0; round < 4000; ++round) {
    const auto value = anyInteger<Integer>();
    const int32_t digits = static_cast<int32_t>(1 + below(33)), bytes = digits / 2 + 1;
    std::string text = std::to_string(value);
    const bool minus = text[0] == '-';
    if (minus) text.erase(0, 1);
    Bytes expected = packedOf(text, digits, 0);
    const bool zero = expected == Bytes(bytes, 0);
    expected.back() |= minus && !zero ? 0xD : 0xC;
    Bytes area(bytes + 16, 0xEE);
    ASSERT_EQ(entry(value, area.data() + 8, digits), area.data() + 8);
    ASSERT_EQ(hexadecimal(area.data() + 8, bytes), hexadecimal(expected.data(), bytes))
        << text << ' ' << digits;
    ASSERT_EQ(Bytes(area.begin(), area.begin() + 8), Bytes(8, 0xEE));
    ASSERT_EQ(Bytes(area.end() - 8, area.end()), Bytes(8, 0xEE));
  }
}

TEST(ConvertInteger, IntegersToPackedAsTheirTextReads) {
  checkToPacked<int8_t>(_qrtcBCD_CONV_Int1_To_Pckd);
  checkToPacked<uint8_t>(_qrtcBCD_CONV_Uns1_To_Pckd);
  checkToPacked<int16_t>(_qrtcBCD_CONV_Int2_To_Pckd);
  checkToPacked<uint16_t>(_qrtcBCD_CONV_Uns2_To_Pckd);
  checkToPacked<int32_t>(_qrtcBCD_CONV_Int4_To_Pckd);
  checkToPacked<uint32_t>(_qrtcBCD_CONV_Uns4_To_Pckd);
  checkToPacked<int64_t>(_qrtcBCD_CONV_Int8_To_Pckd);
  checkToPacked<uint64_t>(_qrtcBCD_CONV_Uns8_To_Pckd);
}

template <typename Integer, typename Entry>
void checkToInteger(Entry entry) {
  for (int round = 0; round < 4000; ++round) {
    const auto digits = static_cast<int32_t>(1 + below(33));
    std::string text(digits, '0');
    for (size_t i = below(digits); i < text.size(); ++i) text[i] = static_cast<char>('0' + below(10));
    const auto sign = static_cast<uint8_t>(10 + below(6));
    Bytes item = packedOf(text, digits, sign);
    if (digits % 2 == 0) item[0] |= static_cast<uint8_t>(below(10) << 4);  // checked, but not used
    uint64_t value = 0;
    for (char digit : text) value = 10 * value + (digit - '0');
    if (std::is_signed_v<Integer> && (sign == 0xB || sign == 0xD)) value = 0 - value;
    ASSERT_EQ(entry(item.data(), digits), static_cast<Integer>(value))
        << hexadecimal(item.data(), item.size());
  }
}

template <typename Integer>
auto stored(void (*entry)(const uint8_t*, int32_t, Integer*)) {
  return [=](const uint8_t* source, int32_t digits) {
    uint8_t area[sizeof(Integer) + 3];
    memset(area, 0xEE, sizeof area);
    entry(source, digits, reinterpret_cast<Integer*>(area + 1));
    EXPECT_TRUE(area[0] == 0xEE && area[sizeof(Integer) + 1] == 0xEE && area[sizeof(Integer) + 2] == 0xEE);
    Integer value;
    memcpy(&value, area + 1, sizeof value);
    return value;
  };
}

TEST(ConvertInteger, PackedToIntegersModuloTheirWidth) {
  checkToInteger<int8_t>(_qrtcBCD_CONV_Pckd_To_Int1);
  checkToInteger<uint8_t>(_qrtcBCD_CONV_Pckd_To_Uns1);
  checkToInteger<int16_t>(_qrtcBCD_CONV_Pckd_To_Int2);
  checkToInteger<uint16_t>(_qrtcBCD_CONV_Pckd_To_Uns2);
  checkToInteger<int32_t>(_qrtcBCD_CONV_Pckd_To_Int4);
  checkToInteger<uint32_t>(_qrtcBCD_CONV_Pckd_To_Uns4);
  checkToInteger<int64_t>(stored(_qrtcBCD_CONV_Pckd_To_Int8));
  checkToInteger<uint64_t>(stored(_qrtcBCD_CONV_Pckd_To_Uns8));
}

TEST(ConvertInteger, EveryBadByteIsReported) {
  const struct {
    Bytes item;
    int32_t digits;
    const char* numbers;
  } cases[] = {
      {{0x12, 0x33}, 3, "39 "},           {{0x12, 0xAC}, 3, "903 "},
      {{0xA0, 0x1C}, 2, "903 "},          {{0x1F, 0xA1, 0x2C}, 5, "903 903 "},
      {{0x1F, 0x12, 0x30}, 5, "903 39 "}, {{0x12, 0x3A}, 3, ""},
  };
  for (const auto& [item, digits, numbers] : cases)
    EXPECT_EQ(reportsOf([&] {
                _qrtcBCD_CONV_Pckd_To_Int4(item.data(), digits);
                return std::string();
              }).numbers,
              numbers);
}

}  // namespace
