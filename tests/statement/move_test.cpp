// Alphanumeric and national editing, figurative constants, the move that may overlap.
#include <random>

#include "statement/pictures.h"

namespace {

using namespace qrt::test;

TEST(Move, AlphanumericEditing) {
  const struct {
    const char* elements;
    int count;
    bool repeat;
    const char *source, *text;
  } cases[] = {
      {"XX/XX", 5, false, "AB", "AB/  "},
      {"XX/XX", 5, true, "AB", "AB/AB"},
      {"XX/XX", 5, true, "ABCDE", "AB/CD"},
      {"A0 9", 4, false, "YZ", "Y0 Z"},
      {"X\x81\x40X", 3, false, "AB",
       "A\x81\x40"
       "B"},
      {"X\x81X", 3, false, "ABC", "ABC"},
      {"XXXXXXX", 7, true, "ABC", "ABCABCA"},
      {"X/X", 3, true, "", " / "},
      {"X", 0, true, "A", ""},
      {"X", -1, true, "A", ""},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.elements);
    const RecordOf<QrtAlphaNumEditPicture> picture(one.count, std::string(1, one.repeat) + one.elements);
    Guarded item(strlen(one.text));
    _qrtcMoveAlphaNumEdit(picture, bytes(one.source), static_cast<int32_t>(strlen(one.source)), item.data());
    EXPECT_EQ(item.text(), one.text);
    EXPECT_TRUE(item.intact());
  }
}

std::string utf16(std::u16string_view text) {
  return {reinterpret_cast<const char*>(text.data()), text.size() * 2};
}

TEST(Move, NationalEditing) {
  const struct {
    std::vector<QrtUnicodeEditRun> runs;
    bool repeat;
    std::u16string source, text;
  } cases[] = {
      {{{'N', 2}, {'/', 2}, {'N', 3}}, false, u"\u4E00b\u00E9", u"\u4E00b//\u00E9  "},
      {{{'N', 2}, {'0', 1}, {'N', 5}}, true, u"abc", u"ab0cabca"},
      {{{'N', 2}, {' ', 1}, {'N', 1}}, true, u"", u"    "},
      {{{'N', 0}, {'/', -3}, {'N', 1}}, false, u"ab", u"a"},
  };
  for (const auto& one : cases) {
    std::string rest{static_cast<char>(one.repeat), 0};
    rest.append(reinterpret_cast<const char*>(one.runs.data()), one.runs.size() * 4);
    const int size = static_cast<int>(one.runs.size() * 4);
    const std::string source = "." + utf16(one.source);  // at an odd distance, as items may lie
    Guarded item(one.text.size() * 2);
    _qrtcMoveUnicodeEdit(RecordOf<QrtUnicodeEditPicture>(size, rest), source.data() + 1,
                         static_cast<int32_t>(source.size() - 1), item.data());
    EXPECT_EQ(item.text(), utf16(one.text));
    EXPECT_TRUE(item.intact());
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
      Guarded item(size);
      _qrtcMoveFigConst(item.data(), length, bytes(literal), static_cast<int32_t>(literal.size()));
      EXPECT_EQ(item.text(), expected) << literal << " " << length;
      EXPECT_TRUE(item.intact());
    }
}

TEST(Move, VariableLengthsAndOverlap) {
  std::mt19937 random(3);
  for (int round = 0; round < 50000; ++round) {
    std::string area;
    for (int at = 0; at < 64; ++at) area += static_cast<char>('A' + at);
    std::string expected = area;
    const int targetAt = random() % 32, sourceAt = random() % 32;
    const int targetSize = random() % 24, sourceSize = random() % 24,
              count = std::min(targetSize, sourceSize);
    const bool right = targetSize > 0 && random() % 2 == 0, host = sourceSize > 0 && random() % 2 == 0;
    const int to = right ? targetAt + targetSize - count : targetAt;
    const int from = right ? sourceAt + sourceSize - count : sourceAt;
    for (int at = 0; at < count; ++at) expected[to + at] = expected[from + at];
    for (int at = 0; at < targetSize - count; ++at)
      expected[right ? targetAt + at : targetAt + count + at] = host ? '\x40' : ' ';
    auto* base = reinterpret_cast<uint8_t*>(area.data());
    _qrtcMoveVarLenOverlap(base + targetAt, right ? -targetSize : targetSize, base + sourceAt,
                           host ? -sourceSize : sourceSize);
    ASSERT_EQ(area, expected) << targetAt << " " << targetSize << " " << sourceAt << " " << sourceSize;
  }
}

}  // namespace
