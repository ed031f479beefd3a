// Double-byte text: comparison by the C locale's collation, the move with its pads, and the classes KANJI and
// DBCS, of native text in a process whose code pages are UTF-8 and QMC-1399.
#include <stdlib.h>

#include <algorithm>
#include <random>

#include "statement/pictures.h"
#include "statement/plain_compare.h"
#include "support/process.h"

namespace {

using namespace qrt::test;
namespace plain = qrt::statement::plain;

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
    const int order = _qrtcDBCSCmp(bytes(one), int(one.size()), bytes(two), int(two.size()));
    const int figurative =
        _qrtcDBCSCmpMultiByteFig(bytes(one), int(one.size()), bytes(literal), int(literal.size()));
    literal = plain::repeated(literal, one.size());
    ASSERT_EQ(signOf(figurative), signOf(strcmp(one.c_str(), literal.c_str()))) << one << " " << literal;
    const size_t size = std::max(one.size(), two.size());
    for (std::string* side : {&one, &two}) *side += plain::repeated("\x81\x40", size - side->size());
    ASSERT_EQ(signOf(order), signOf(strcmp(one.c_str(), two.c_str()))) << one << " " << two;
  }
}

TEST(DoubleByte, MovesWithPairsOfPads) {
  const auto moved = [](int targetLength, const std::string& source, bool host) {
    return itemAfter(static_cast<size_t>(std::abs(targetLength)), [&](uint8_t* item) {
      _qrtcDBCSMoveVarLenOverlap(item, targetLength, bytes(source),
                                 host ? -int(source.size()) : int(source.size()));
    });
  };
  EXPECT_EQ(moved(6, "AB", true), "AB@@@@");
  EXPECT_EQ(moved(-5, "AB", true), "@@@AB");
  EXPECT_EQ(moved(-2, "ABCD", true) + moved(2, "ABCD", false), "CDAB");
  EXPECT_EQ(moved(6, "AB", false), "AB    ") << "a single-byte locale has blanks";
}

TEST(DoubleByte, Classes) {
  const Ended japanese = inChild([] {
    setenv("LC_ALL", "C.UTF-8", 1);
    setenv("EBCDIC_CODEPAGE", "QMC-1399", 1);
    qrtUTerm();  // whatever the parent had settled: a new process record settles the pair again
    _qrtPgmInit(nullptr);
    const struct {
      const char* text;
      int length;  // 0 for that of the text
      const char* classes;
    } cases[] = {
        {"\u6F22\u5B57", 0, "11"},
        {"\u3000\u6F22", 0, "11"},
        {"\u6F22A", 0, "00"},
        {"A\u6F22", 0, "00"},
        {"\u6F22 \u5B57", 0, "00"},
        {"AB", 0, "00"},
        {"\x41\x41\x7F\xFE\x40\x40", -6, "11"},
        {"\x80\x41\xFE\xFE", -4, "01"},
        {"\x40\x41", -2, "00"},
        {"\x41\x40", -2, "00"},
        {"\x41\xFF", -2, "00"},
        {"\xFF\x41", -2, "00"},
        {"\x0E\x41\x41\x0F", -4, "00"},
        {"\x41\x41\x41", -3, "00"},
    };
    for (const auto& [text, given, classes] : cases) {
      const int length = given != 0 ? given : int(strlen(text));
      if (_qrtcClasKanji(bytes(text), length) != classes[0] - '0' ||
          _qrtcClasDBCS(bytes(text), length) != classes[1] - '0')
        printf("%s %d\n", text, length);
    }
    const std::string many = plain::repeated("\u6F22", 3 * 200);
    printf("%d%d%d\n", _qrtcClasKanji(bytes(many), 600), _qrtcClasKanji(bytes(many), 599),
           _qrtcClasDBCS(bytes(""), 0));
  });
  EXPECT_EQ(japanese.out, "100\n") << japanese.err;
}

}  // namespace
