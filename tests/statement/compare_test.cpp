// Comparison of text, and class conditions: against plain rules, and over every sign byte and character.
#include <array>
#include <random>

#include "statement/pictures.h"
#include "statement/plain_compare.h"

namespace {

using namespace qrt::test;
namespace plain = qrt::statement::plain;

using Table = std::array<uint8_t, 256>;

// The identity, a permutation, one that folds letters, and one of few values.
std::array<Table, 4> collatingTables() {
  std::array<Table, 4> tables;
  for (int byte = 0; byte < 256; ++byte) {
    tables[0][byte] = static_cast<uint8_t>(byte);
    tables[1][byte] = static_cast<uint8_t>(byte * 167 + 13);
    tables[2][byte] = static_cast<uint8_t>(toupper(byte));
    tables[3][byte] = static_cast<uint8_t>(byte % 3);
  }
  return tables;
}

int length(const std::string& text, bool figurative) {
  return figurative ? -static_cast<int>(text.size()) : static_cast<int>(text.size());
}

TEST(Compare, CollatedAgainstPlainRule) {
  const auto tables = collatingTables();
  std::mt19937 random(1);
  const auto text = [&](size_t least, size_t most) {
    std::string made(least + random() % (most - least + 1), 'N');
    for (uint32_t changes = random() % 4; changes > 0 && !made.empty(); --changes)
      made[random() % made.size()] = "Nn AaQ"[random() % 6];
    if (random() % 4 == 0) made.append(random() % 70, ' ');
    return made;
  };
  for (int round = 0; round < 200000; ++round) {
    const Table& table = tables[random() % tables.size()];
    const bool figurative = random() % 3 == 0, firstIsIt = random() % 2 == 0;
    std::string first = text(0, random() % 8 == 0 ? 200 : 40), second = first;
    if (random() % 2 == 0) second = text(0, 40);
    if (second.size() > 1 && random() % 4 == 0) second.resize(random() % second.size());
    if (figurative) second = text(1, random() % 4 == 0 ? 100 : 5);
    if (firstIsIt) first.swap(second);
    // Texts at the end of a block of their own: a read beyond them shows under the address sanitizer.
    const std::vector<char> one(first.begin(), first.end()), two(second.begin(), second.end());
    const int32_t order = _qrtcCmpACS(
        reinterpret_cast<const uint8_t*>(one.data()), length(first, figurative && firstIsIt),
        reinterpret_cast<const uint8_t*>(two.data()), length(second, figurative && !firstIsIt), table.data());
    ASSERT_EQ(order, plain::compareCollated(first, figurative && firstIsIt, second, figurative && !firstIsIt,
                                            table.data()))
        << first << "|" << second << "|" << figurative << firstIsIt;
  }
  EXPECT_EQ(_qrtcCmpACS(bytes("AB"), -2, bytes("AB "), -3, tables[0].data()), 0)
      << "two constants: plain texts";
}

TEST(Compare, LiteralOfSeveralBytes) {
  std::mt19937 random(2);
  for (int round = 0; round < 20000; ++round) {
    const std::string literal = std::string("AB\xC1 ").substr(random() % 3, 1 + random() % 3);
    std::string item = plain::repeated(literal, random() % 12);
    if (!item.empty() && random() % 2 == 0) item[random() % item.size()] = "A\xFF"[random() % 2];
    const int order = item.compare(plain::repeated(literal, item.size()));
    ASSERT_EQ(_qrtcCmpMultiByteFig(bytes(item), int(item.size()), bytes(literal), int(literal.size())),
              order < 0 ? -1 : order > 0)
        << item << " " << literal;
  }
  EXPECT_EQ(_qrtcCmpMultiByteFig(bytes("AB"), -2, bytes("X"), 1), 0);
}

TEST(Class, PackedOverEverySign) {
  for (const std::string& digits : {std::string(), std::string("\x12"), std::string("\x1A"),
                                    std::string("\xA1"), std::string("\x99\x99"), std::string(2, '\0')})
    for (int last = 0; last < 256; ++last)
      for (const bool strict : {false, true}) {
        const std::string item = digits + static_cast<char>(last);
        const int sign = last & 0x0F;
        const bool zero = digits.find_first_not_of('\0') == digits.npos && last < 0x10;
        bool holds = last < 0xA0 && digits != "\x1A" && digits != "\xA1" && sign >= 0xA;
        if (strict) holds = holds && (sign == 0xC || (sign == 0xD && !zero));
        EXPECT_EQ(_qrtcClasPackedDec(strict ? 0x0100 : 0, bytes(item), int(item.size())), holds)
            << last << strict << digits;
      }
}

TEST(Class, ZonedOverEverySign) {
  for (const std::string digits : {"", "12", "00", "1:", "/1"})
    for (int byte = 0; byte < 256; ++byte)
      for (const int form : {0, 1, 2, 3, 4})
        for (const bool strict : {false, true}) {
          const bool leading = form == 1 || form == 3, overpunch = form == 1 || form == 2;
          const auto sign = static_cast<char>(byte);
          const std::string item = leading ? sign + digits : digits + sign;
          const bool zeros = digits.find_first_not_of('0') == digits.npos;
          bool holds = digits != "1:" && digits != "/1";
          if (form == 0) holds = holds && byte >= '0' && byte <= '9';
          if (overpunch) holds = holds && byte % 16 <= 9;
          if (overpunch && strict)
            holds = holds && (byte >> 4 == 3 || (byte >> 4 == 7 && !(zeros && byte == 0x70)));
          if (form > 2) holds = holds && (byte == '+' || byte == '-');
          if (form > 2 && strict) holds = holds && !(byte == '-' && zeros);
          const uint32_t flags = static_cast<uint32_t>(form) | (strict ? QRT_CLASS_STRICT : 0);
          EXPECT_EQ(_qrtcClasZonedDec(flags, bytes(item), int(item.size())), holds) << item << form << strict;
          if (overpunch) continue;
          std::string wide("#");  // an odd address
          for (const char character : item) wide += {character, '\0'};
          EXPECT_EQ(_qrtuSClasNumeric(flags, &wide[1], int(wide.size() - 1)), holds)
              << item << form << strict;
        }
  EXPECT_EQ(_qrtcClasZonedDec(QRT_CLASS_TRAILING_SEPARATE, bytes(""), 0), 0);
  EXPECT_EQ(_qrtuSClasNumeric(QRT_CLASS_TRAILING_OVERPUNCH, "1\0002", 4), 1)
      << "no separate sign: digits only";
}

TEST(Class, EveryCharacter) {
  Table own{};
  own.fill(1);
  own['x'] = own['y'] = 0;
  for (int unit = 0; unit < 0x10000; ++unit) {
    const bool upper = (unit >= 'A' && unit <= 'Z') || unit == ' ',
               lower = (unit >= 'a' && unit <= 'z') || unit == ' ';
    const bool digit = unit >= '0' && unit <= '9';
    const std::string text{'x', 'Z', '5', ' ', static_cast<char>(unit)};
    const std::string wide{
        'x', 0, 'Z', 0, '5', 0, ' ', 0, static_cast<char>(unit), static_cast<char>(unit >> 8)};
    EXPECT_EQ(_qrtuClasNumeric(&wide[8], 2), digit) << unit;
    EXPECT_EQ(_qrtuClasAlpha(&wide[6], 4), upper || lower) << unit;
    EXPECT_EQ(_qrtuClasUpper(&wide[6], 4), upper) << unit;
    EXPECT_EQ(_qrtuClasLower(&wide[6], 4), lower) << unit;
    if (unit > 0xFF) continue;
    EXPECT_EQ(_qrtcClasAlpha(bytes(text) + 3, 2), upper || lower) << unit;
    EXPECT_EQ(_qrtcClasAlphaUpper(bytes(text) + 3, 2), upper) << unit;
    EXPECT_EQ(_qrtcClasAlphaLower(bytes(text) + 3, 2), lower) << unit;
    EXPECT_EQ(_qrtcClasUserDef(bytes(text) + 4, 1, own.data()), unit == 'x' || unit == 'y') << unit;
  }
  EXPECT_EQ(_qrtcClasAlpha(bytes("A1B"), 3), 0);
  EXPECT_EQ(_qrtuClasAlpha("A\0B", 3), 0) << "half a character";
}

}  // namespace
