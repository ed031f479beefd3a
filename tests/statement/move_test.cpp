// Alphanumeric and national editing, figurative constants, the move that may overlap.
#include <random>

#include "statement/pictures.h"

namespace {

using namespace qrt::test;

// Both kinds of editing by the same rule. The pair is the double-byte blank, of alphanumeric pictures only;
// national characters are the bytes in another row, at odd addresses.
TEST(Move, RandomEditing) {
  std::mt19937 random(4);
  for (int round = 0; round < 20000; ++round) {
    const bool repeat = random() % 2 == 0;
    const std::string source = std::string("abcdefgh").substr(0, random() % 9);
    std::string wideSource(1, '.'), elements(1, repeat), runs{repeat, 0}, text, wideText;
    for (const char character : source) wideSource += {character, '\x30'};
    int pictured = 0;
    for (size_t left = random() % 6, next = 0; left > 0; --left) {
      const char character =
          "X\x81"
          "0/ "[random() % 5];
      const bool insertion = character != 'X' && character != '\x81';
      const int count = static_cast<int>(random() % 6) - 1;
      runs += {character, 0, static_cast<char>(count), static_cast<char>(count >> 8)};
      for (int position = 0; position < count; ++position, ++pictured) {
        if (!insertion && repeat && next == source.size()) next = 0;
        const bool taken = !insertion && next < source.size();
        elements += character;
        text += taken ? source[next++] : insertion ? character : ' ';
        wideText += {text.back(), taken ? '\x30' : '\0'};
      }
      if (random() % 4 == 0) elements += "\x81\x40", text += "\x81\x40", ++pictured;
    }
    const std::string item = itemAfter(text.size(), [&](uint8_t* out) {
      _qrtcMoveAlphaNumEdit(Record(pictured, elements), bytes(source), int(source.size()), out);
    });
    ASSERT_EQ(item, text);
    const std::string wide = itemAfter(1 + wideText.size(), [&](uint8_t* out) {
      const Record picture(int(runs.size() - 2), runs);
      _qrtcMoveUnicodeEdit(picture, &wideSource[1], int(source.size() * 2), out + 1);
    });
    ASSERT_EQ(wide, "#" + wideText);
  }
}

TEST(Move, FigurativeConstants) {
  for (const std::string literal : {"A", "AB", "ABC", "ABCDEFGHIJ"})
    for (int length = -40; length <= 40; ++length) {
      const size_t size = static_cast<size_t>(std::abs(length));
      std::string expected;
      while (expected.size() < size + literal.size()) expected += literal;
      if (length < 0) expected.erase(0, (literal.size() - size % literal.size()) % literal.size());
      expected.resize(size);
      const std::string text = itemAfter(size, [&](uint8_t* item) {
        _qrtcMoveFigConst(item, length, bytes(literal), static_cast<int32_t>(literal.size()));
      });
      EXPECT_EQ(text, expected) << literal << " " << length;
    }
}

TEST(Move, VariableLengthsAndOverlap) {
  std::mt19937 random(3);
  std::string letters(64, 'A');
  for (size_t at = 0; at < letters.size(); ++at) letters[at] = static_cast<char>('A' + at);
  for (int round = 0; round < 50000; ++round) {
    std::string area = letters, expected = letters;
    const int targetSize = random() % 24, sourceSize = random() % 24,
              count = std::min(targetSize, sourceSize);
    const int target = random() % 32, source = random() % 32;
    const bool right = targetSize > 0 && random() % 2 == 0, host = sourceSize > 0 && random() % 2 == 0;
    const int padding = targetSize - count, dropped = right ? sourceSize - count : 0;
    for (int at = 0; at < count; ++at)
      expected[target + (right ? padding : 0) + at] = expected[source + dropped + at];
    expected.replace(target + (right ? 0 : count), padding, padding, host ? '\x40' : ' ');
    auto* base = reinterpret_cast<uint8_t*>(area.data());
    _qrtcMoveVarLenOverlap(base + target, right ? -targetSize : targetSize, base + source,
                           host ? -sourceSize : sourceSize);
    ASSERT_EQ(area, expected) << target << " " << targetSize << " " << source << " " << sourceSize;
  }
}

}  // namespace
