// Comparison of text, and class conditions: against plain rules, and over every sign byte and character.
// Double-byte text in the C locale, its classes in a process whose code pages are UTF-8 and QMC-1399.

#include "statement/pictures.h"
#include "statement/plain_compare.h"
#include "support/allocation.h"
#include "support/process.h"

namespace {

using namespace qrt::test;
namespace plain = qrt::statement::plain;

TEST(Compare, CollatedAgainstPlainRule) {
  uint8_t tables[4][256];  // the identity, a permutation, one that folds letters, one of few values
  for (int byte = 0; byte < 256; ++byte) {
    const int mapped[] = {byte, byte * 167 + 13, toupper(byte), byte % 3};
    for (int table = 0; table < 4; ++table) tables[table][byte] = static_cast<uint8_t>(mapped[table]);
  }
  std::mt19937 random(1);
  const auto text = [&](size_t least, size_t most) {
    std::string made(least + random() % (most - least + 1), 'N');
    for (uint32_t changes = random() % 4; changes > 0 && !made.empty(); --changes)
      made[random() % made.size()] = "Nn AaQ"[random() % 6];
    if (random() % 4 == 0) made.append(random() % 70, ' ');
    return made;
  };
  for (int round = 0; round < 100000; ++round) {
    const uint8_t* const table = tables[random() % 4];
    const bool figurative = random() % 3 == 0, firstIsIt = random() % 2 == 0, secondIsIt = !firstIsIt;
    std::string first = text(0, random() % 8 == 0 ? 200 : 40), second = first;
    if (random() % 2 == 0) second = text(0, 40);
    if (second.size() > 1 && random() % 4 == 0) second.resize(random() % second.size());
    if (figurative) second = text(1, random() % 4 == 0 ? 100 : 5);
    if (firstIsIt) first.swap(second);
    // Texts at the end of a block of their own: a read beyond them shows under the address sanitizer.
    const std::vector<uint8_t> one(first.begin(), first.end()), two(second.begin(), second.end());
    const int size1 = int(one.size()), size2 = int(two.size());
    ASSERT_EQ(_qrtcCmpACS(one.data(), figurative && firstIsIt ? -size1 : size1, two.data(),
                          figurative && secondIsIt ? -size2 : size2, table),
              plain::compareCollated(first, figurative && firstIsIt, second, figurative && secondIsIt, table))
        << first << "|" << second << "|" << figurative << firstIsIt;
  }
  EXPECT_EQ(_qrtcCmpACS(bytes("AB"), -2, bytes("AB "), -3, tables[0]), 0) << "two constants are texts";
}

TEST(Class, PackedOverEverySign) {
  for (const std::string digits : {"", "\x12", "\x1A", "\xA1", "\x99\x99", "Z"})
    for (int last = 0; last < 256; ++last)
      for (const bool strict : {false, true}) {
        const std::string item = (digits == "Z" ? std::string(2, '\0') : digits) + static_cast<char>(last);
        const int sign = last & 0x0F;
        const bool zero = (digits.empty() || digits == "Z") && last < 0x10;
        bool holds = last < 0xA0 && digits != "\x1A" && digits != "\xA1" && sign >= 0xA;
        if (strict) holds = holds && (sign == 0xC || (sign == 0xD && !zero));
        EXPECT_EQ(_qrtcClasPackedDec(strict ? QRT_CLASS_STRICT : 0, bytes(item), int(item.size())), holds)
            << last << strict << digits;
      }
}

TEST(Class, ZonedAndNationalOverEverySign) {
  for (const std::string digits : {"", "12", "00", "1:", "/1"})
    for (int sign = 0; sign < 256; ++sign)
      for (const int form : {0, 1, 2, 3, 4})
        for (const bool strict : {false, true}) {
          const bool leading = form % 2 == 1, overpunch = form == 1 || form == 2;
          std::string item = digits, wide("#");  // the latter at an odd address
          item.insert(leading ? 0 : item.size(), 1, static_cast<char>(sign));
          for (const char character : item) wide += {character, '\0'};
          const bool zeros = digits.find_first_not_of('0') == digits.npos;
          const int minus = overpunch ? 0x70 : '-', zone = sign >> 4;
          bool holds = overpunch  ? sign % 16 <= 9 && (!strict || zone == 3 || zone == 7)
                       : form > 2 ? sign == '+' || sign == '-'
                                  : sign >= '0' && sign <= '9';
          if (digits == "1:" || digits == "/1" || (form > 0 && strict && zeros && sign == minus))
            holds = false;
          const uint32_t flags = static_cast<uint32_t>(form) | (strict ? QRT_CLASS_STRICT : 0);
          EXPECT_EQ(_qrtcClasZonedDec(flags, bytes(item), int(item.size())), holds) << item << form << strict;
          if (overpunch) holds = digits.find_first_of(":/") == digits.npos && sign >= '0' && sign <= '9';
          EXPECT_EQ(_qrtuSClasNumeric(flags, &wide[1], int(wide.size() - 1)), holds)
              << item << form << strict;
        }
  EXPECT_EQ(_qrtcClasZonedDec(QRT_CLASS_TRAILING_SEPARATE, bytes(""), 0), 0);
}

TEST(Class, EveryCharacter) {
  uint8_t own[256];
  for (int byte = 0; byte < 256; ++byte) own[byte] = byte != 'x' && byte != 'y';
  for (int unit = 0; unit < 0x10000; ++unit) {
    const bool upper = (unit >= 'A' && unit <= 'Z') || unit == ' ',
               lower = (unit >= 'a' && unit <= 'z') || unit == ' ', alphabetic = upper || lower;
    const char wide[] = {' ', 0, static_cast<char>(unit), static_cast<char>(unit >> 8)};
    const std::vector<int> national{_qrtuClasNumeric(wide + 2, 2), _qrtuClasAlpha(wide, 4),
                                    _qrtuClasUpper(wide, 4), _qrtuClasLower(wide, 4)};
    EXPECT_EQ(national, (std::vector<int>{unit >= '0' && unit <= '9', alphabetic, upper, lower})) << unit;
    if (unit > 0xFF) continue;
    const uint8_t text[] = {' ', static_cast<uint8_t>(unit)};
    const std::vector<int> native{_qrtcClasAlpha(text, 2), _qrtcClasAlphaUpper(text, 2),
                                  _qrtcClasAlphaLower(text, 2), _qrtcClasUserDef(text + 1, 1, own)};
    EXPECT_EQ(native, (std::vector<int>{alphabetic, upper, lower, unit == 'x' || unit == 'y'})) << unit;
  }
  EXPECT_EQ(_qrtcClasAlpha(bytes("A1B"), 3) + _qrtuClasAlpha("A\0B", 3), 0)
      << "the latter has half a character";
}

int signOf(int order) {
  return order < 0 ? -1 : order > 0;
}

TEST(DoubleByte, ComparesPaddedStrings) {
  std::mt19937 random(1);
  const auto text = [&](size_t most) {
    std::string made;
    for (size_t left = random() % most; left > 0; --left) made += "AA\x81\x40 \x82"[random() % 6];
    if (random() % 8 == 0 && !made.empty()) made[random() % made.size()] = '\0';
    return made;
  };
  for (int round = 0; round < 20000; ++round) {
    std::string one = text(random() % 16 == 0 ? 600 : 8), two = random() % 2 == 0 ? one : text(8);
    if (random() % 2 == 0) two.resize(two.size() / 2);
    std::string literal = text(5) + "A";
    if (random() % 2 == 0) one = plain::repeated(literal, one.size());
    if (random() % 4 == 0 && !one.empty()) one.back() = '\xFF';
    const auto compared = [&](auto entry, const std::string& other) {
      return signOf(entry(bytes(one), int(one.size()), bytes(other), int(other.size())));
    };
    const int order = compared(_qrtcDBCSCmp, two), figurative = compared(_qrtcDBCSCmpMultiByteFig, literal),
              plainly = compared(_qrtcCmpMultiByteFig, literal);
    literal = plain::repeated(literal, one.size());
    ASSERT_EQ(plainly, signOf(one.compare(literal))) << one << " " << literal;
    ASSERT_EQ(figurative, signOf(strcmp(one.c_str(), literal.c_str()))) << one << " " << literal;
    const size_t size = std::max(one.size(), two.size());
    for (std::string* side : {&one, &two}) *side += plain::repeated("\x81\x40", size - side->size());
    ASSERT_EQ(order, signOf(strcmp(one.c_str(), two.c_str()))) << one << " " << two;
  }
  EXPECT_EQ(_qrtcCmpMultiByteFig(bytes("AB"), -2, bytes("X"), 1), 0);
  if (!canFailAllocations) return;
  const std::string longText(600, 'A');
  const Ended short907 = inChild([&] {
    const FailingAllocation failing(1);
    _qrtcDBCSCmp(bytes(longText), 600, bytes("A"), 1);
  });
  EXPECT_EQ(short907.err.find("QRT907"), 0) << short907.err;
}

TEST(DoubleByte, MovesWithPairsOfPads) {
  const auto moved = [](int targetLength, std::string_view source, int sourceLength) {
    return itemAfter(static_cast<size_t>(std::abs(targetLength)), [&](uint8_t* item) {
      _qrtcDBCSMoveVarLenOverlap(item, targetLength, bytes(source), sourceLength);
    });
  };
  EXPECT_EQ(moved(6, "AB", -2) + moved(-5, "AB", -2), "AB@@@@@@@AB");
  EXPECT_EQ(moved(-2, "ABCD", -4) + moved(2, "ABCD", 4), "CDAB");
  EXPECT_EQ(moved(6, "AB", 2), "AB    ") << "a single-byte locale has blanks";
}

TEST(DoubleByte, Classes) {
  const Ended japanese = inChild([] {
    setenv("LC_ALL", "C.UTF-8", 1);
    setenv("EBCDIC_CODEPAGE", "QMC-1399", 1);
    qrtUTerm();  // whatever the parent had settled: a new process record settles the pair again
    _qrtPgmInit(nullptr);
    const std::string many = plain::repeated("\u6F22", 3 * 200);
    const auto expect = [](int sign, const std::string& rows) {  // each ends in the digits for KANJI and DBCS
      for (const std::string& row : split(rows, "|")) {
        const int length = sign * int(row.size() - 2);
        const std::string found = std::to_string(_qrtcClasKanji(bytes(row), length)) +
                                  std::to_string(_qrtcClasDBCS(bytes(row), length));
        if (!row.ends_with(found)) printf("%s is %s\n", row.c_str(), found.c_str());
      }
    };
    expect(1, "\u3000\u6F22\u5B5711|" + many + "11|00|\u6F22A00|A\u6F2200|\u6F22 \u5B5700");
    expect(1, many.substr(1) + "01");  // a broken character becomes the pair 0xFE 0xFE
    expect(-1,
           "AA\x7F\xFE@@11|\x80\x41\xFE\xFE"
           "01|@A00|A@00|A\xFF"
           "00|\xFF"
           "A00|\x0E"
           "AA\x0F"
           "00|AAA00");
    puts("done");
  });
  EXPECT_EQ(japanese.out, "done\n") << japanese.err;
}

}  // namespace
