// Alphanumeric and national editing, figurative constants, the move that may overlap.
#include <random>

#include "statement/pictures.h"

namespace {

using namespace qrt::test;

std::string alphanumericEdited(std::string_view elements, int count, bool repeat, std::string_view source,
                               size_t size) {
  const Record picture(count, std::string(1, repeat) += elements);
  return itemAfter(size, [&](uint8_t* item) {
    _qrtcMoveAlphaNumEdit(picture, bytes(source), static_cast<int32_t>(source.size()), item);
  });
}

TEST(Move, DoubleByteBlanks) {
  EXPECT_EQ(alphanumericEdited("X\x81\x40X", 3, false, "AB", 4), "A\x81@B");
  EXPECT_EQ(alphanumericEdited("X\x81X", 3, false, "ABC", 3), "ABC");
  EXPECT_EQ(alphanumericEdited("X", -1, true, "A", 1), "#");
}

// Both kinds of editing by the same rule; national characters are those of the bytes, far from the spaces and
// at odd addresses.
TEST(Move, RandomEditing) {
  std::mt19937 random(4);
  for (int round = 0; round < 20000; ++round) {
    const bool repeat = random() % 2 == 0;
    const std::string source = std::string("abcdefgh").substr(0, random() % 9);
    std::string wideSource(1, '.'), elements, runs{repeat, 0}, text, wideText;
    for (const char character : source) wideSource += {character, '\x30'};
    for (size_t left = random() % 6, next = 0; left > 0; --left) {
      const char character = "X90/ "[random() % 5];
      const bool insertion = character != 'X' && character != '9';
      const int count = static_cast<int>(random() % 6) - 1;
      runs += {character, 0, static_cast<char>(count), static_cast<char>(count >> 8)};
      for (int position = 0; position < count; ++position) {
        if (!insertion && repeat && next == source.size()) next = 0;
        const bool taken = !insertion && next < source.size();
        elements += character;
        text += taken ? source[next++] : insertion ? character : ' ';
        wideText += {text.back(), taken ? '\x30' : '\0'};
      }
    }
    ASSERT_EQ(alphanumericEdited(elements, static_cast<int>(elements.size()), repeat, source, text.size()),
              text);
    const auto wideLength = static_cast<int32_t>(source.size() * 2);
    const std::string wide = itemAfter(1 + wideText.size(), [&](uint8_t* item) {
      _qrtcMoveUnicodeEdit(Record(static_cast<int>(runs.size() - 2), runs), &wideSource[1], wideLength,
                           item + 1);
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
