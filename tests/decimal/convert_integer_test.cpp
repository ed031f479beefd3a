// Conversions between packed items and integers of every width, beside decimal text.
#include "operands.h"

namespace {

using namespace qrt::test;

template <typename Integer>
Integer anyInteger() {
  using Limits = std::numeric_limits<Integer>;
  static constexpr Integer corners[] = {
      0, 1, 9, 10, 99, 100, Limits::max(), Limits::min(), Limits::min() + 1};
  if (below(5) == 0) return corners[below(std::size(corners))];
  return static_cast<Integer>(static_cast<Integer>(random_()) >> below(8 * sizeof(Integer)));
}

template <typename Integer, typename ToPacked, typename ToInteger>
void checkBothWays(ToPacked toPacked, ToInteger toInteger) {
  for (int round = 0; round < 4000; ++round) {
    const auto value = anyInteger<Integer>();
    const int32_t digits = 1 + below(33);
    const std::string text = std::to_string(value);
    const bool minus = text[0] == '-';
    ASSERT_EQ(stored(digits / 2 + 1, [&](uint8_t* to) { EXPECT_EQ(toPacked(value, to, digits), to); }),
              packedText(text.substr(minus), digits, minus))
        << text << ' ' << digits;

    const Bytes item = anyItem(digits);
    uint64_t magnitude = 0;
    for (const char digit : digitsOf(item, digits)) magnitude = 10 * magnitude + (digit - '0');
    if (std::is_signed_v<Integer> && hasMinus(item)) magnitude = 0 - magnitude;
    ASSERT_EQ(toInteger(item.data(), digits), static_cast<Integer>(magnitude)) << hexadecimal(item);
  }
}

// The entries that store eight bytes, like those that return them.
template <typename Integer>
auto returned(void (*entry)(const uint8_t*, int32_t, Integer*)) {
  return [=](const uint8_t* source, int32_t digits) {
    Integer area[] = {0x5A, 0x5A, 0x5A};
    entry(source, digits, area + 1);
    EXPECT_TRUE(area[0] == 0x5A && area[2] == 0x5A);
    return area[1];
  };
}

TEST(ConvertInteger, FollowsTheTextBothWaysInEveryWidth) {
#define BOTH_WAYS(type, name, from) \
  checkBothWays<type>(_qrtcBCD_CONV_##name##_To_Pckd, from(_qrtcBCD_CONV_Pckd_To_##name));
  BOTH_WAYS(int8_t, Int1, )
  BOTH_WAYS(uint8_t, Uns1, )
  BOTH_WAYS(int16_t, Int2, )
  BOTH_WAYS(uint16_t, Uns2, )
  BOTH_WAYS(int32_t, Int4, )
  BOTH_WAYS(uint32_t, Uns4, )
  BOTH_WAYS(int64_t, Int8, returned)
  BOTH_WAYS(uint64_t, Uns8, returned)
}

}  // namespace
