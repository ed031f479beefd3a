// Conversions between packed items and integers of every width, beside decimal text.
#include <qrtrlib.h>

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
    Integer area[] = {0x5A, 0x5A, 0x5A};
    entry(source, digits, area + 1);
    EXPECT_TRUE(area[0] == 0x5A && area[2] == 0x5A);
    return area[1];
  };
}

TEST(ConvertInteger, FollowsTheTextBothWaysInEveryWidth) {
#define BOTH_WAYS(type, name, from)                    \
  checkToPacked<type>(_qrtcBCD_CONV_##name##_To_Pckd); \
  checkToInteger<type>(from(_qrtcBCD_CONV_Pckd_To_##name));
  BOTH_WAYS(int8_t, Int1, )
  BOTH_WAYS(uint8_t, Uns1, )
  BOTH_WAYS(int16_t, Int2, )
  BOTH_WAYS(uint16_t, Uns2, )
  BOTH_WAYS(int32_t, Int4, )
  BOTH_WAYS(uint32_t, Uns4, )
  BOTH_WAYS(int64_t, Int8, stored)
  BOTH_WAYS(uint64_t, Uns8, stored)
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
