// Scanners and keys: the order of extracted keys against a stable sort of decoded values, and what is said
// about records that are cut anywhere.
#include "extraction.h"
#include "layouts.h"
#include "sort/engine/plain_keys.h"

namespace {

using namespace qrt::test;
using qrt::sort::plain::TextRange, qrt::sort::plain::textOfRange;
using namespace std::string_literals;
namespace sort = qrt::sort;

// ---- Binary records

// A key over one whole field.
struct Key {
  size_t field;
  bool reverse;
  std::string modifiers;  // besides r
};

struct KeyedCase {
  Layout layout;
  std::vector<Record> records;
  std::vector<Key> keys;
  std::string options;
  bool nullsHighest;

  KeyedCase(Random& random, bool variable) : layout(random, variable, 1 + below(random, 5)) {
    for (size_t count = 20 + below(random, 30); count > 0; --count) records.push_back(layout.record(random));
    nullsHighest = below(random, 2);
    options = "-x 'format " + layout.format + "' " + (nullsHighest ? "-x nullhighest" : "");
    for (size_t count = 1 + below(random, 3); count > 0; --count) addKey(random);
    if (keys.empty()) keys.push_back({0, false, ""}), spell(keys.back());
  }

  void addKey(Random& random) {
    Key key{below(random, layout.fields.size()), below(random, 2) == 0, ""};
    const FieldPlan& field = layout.fields[key.field];
    // Where nothing marks a field's presence, an absent one is ordered by the bytes of the others.
    const bool isSometimesUnmarked = layout.isVariable() && !field.flength;
    if (isSometimesUnmarked && !field.isBytes() && key.field > 0) return;
    if (field.isText() && !isSometimesUnmarked) key.modifiers = someOf("bdefi", 4, random);
    keys.push_back(key);
    spell(key);
  }
  void spell(const Key& key) {
    options += " -k " + layout.fields[key.field].range(key.modifiers + (key.reverse ? "r" : ""));
  }

  int compare(size_t leftNumber, size_t rightNumber) const {
    for (const Key& key : keys) {
      const FieldValue& left = records[leftNumber].fields[key.field];
      const FieldValue& right = records[rightNumber].fields[key.field];
      const int direction = key.reverse ? -1 : 1;
      int order = sign(left.isNull, right.isNull) * (nullsHighest ? direction : -direction);
      if (order == 0 && left.isNull) continue;
      if (order == 0) order = -direction * sign(left.isAbsent, right.isAbsent);
      if (order == 0 && !left.isAbsent) {
        const FieldPlan& field = layout.fields[key.field];
        const std::string first = modified(key.modifiers, left.bytes),
                          second = modified(key.modifiers, right.bytes);
        order = compareValues(field.kind->keyword, first, second);
        if (key.reverse && !std::string_view(field.kind->keyword).starts_with("kx70")) order = -order;
      }
      if (order != 0) return order;
    }
    return 0;
  }
};

class Keys : public testing::TestWithParam<bool> {};

TEST_P(Keys, OrderRecordsLikeTheirDecodedValues) {
  for (uint32_t seed = 0; seed < 800; ++seed) {
    Random random(seed);
    const KeyedCase keyed(random, GetParam());
    SCOPED_TRACE("seed " + std::to_string(seed) + ": " + keyed.options);
    Extraction extraction(keyed.options, seed % 2 ? 3 : 0);
    ASSERT_EQ(extraction.code, 0) << extraction.told;
    const std::vector<Stored> all = extraction.extract(blockOf(keyed.records));
    ASSERT_EQ(all.size(), keyed.records.size()) << extraction.told;
    for (size_t at = 0; at < all.size(); ++at) ASSERT_EQ(all[at].record, keyed.records[at].bytes);
    ASSERT_EQ(orderOf(all),
              stableOrder(all.size(), [&](size_t a, size_t b) { return keyed.compare(a, b) < 0; }));
  }
}
INSTANTIATE_TEST_SUITE_P(OfRecords, Keys, testing::Bool(),
                         [](const auto& about) { return about.param ? "Variable" : "Fixed"; });

// Every cut and many changed bytes: nothing is touched outside of block and buffer, and what is taken is
// taken whole.
TEST(Scanner, SurvivesRecordsThatAreCutAndChanged) {
  for (uint32_t seed = 0; seed < 300; ++seed) {
    Random random(seed);
    const KeyedCase keyed(random, seed % 4 != 0);
    std::string block = blockOf(keyed.records);
    for (size_t change = below(random, 4); change > 0; --change)
      block[below(random, block.size())] = static_cast<char>(random());
    block.resize(below(random, block.size() + 1));
    Extraction extraction(keyed.options + " -s " + std::array{"sort", "merge", "copy"}[below(random, 3)]);
    ASSERT_EQ(extraction.code, 0);
    const std::string taken = extraction.extracted(block);
    EXPECT_EQ(taken, block.substr(0, taken.size()));
    EXPECT_EQ(std::ranges::count(std::array{0, 31, 32, 54, 55}, extraction.code), 1) << extraction.code;
  }
}

TEST(Scanner, TellsWhatIsWrongWithARecord) {
  struct Row {
    const char* options;
    std::string record;  // the fifth one
    int32_t code;
  };
  const Row rows[] = {
      {"-x 'format rlength2 char 4'", "\x01\0abcd"s, 31},
      {"-x 'format rlength2 char 4'", "\x09\0abcdefg"s, 32},
      {"-x 'format rlength2 char 4'", "\x08\0abcdef"s, 32},
      {"-x 'format rlength2 char 4'", "\x03\0a"s, 0},
      {"-x 'format rlength2 char 4'", "\x02\0"s, 0},
      {"-x 'format rlength2 char 4'", "\x06\0ab"s, 0},  // more is needed
      {"-x 'format rlength2 short short'", "\x05\0abc"s, 31},
      {"-x 'format rlength2 flength char 3 char 2'", "\x06\0\x04\0ab"s, 54},
      {"-x 'format rlength2 flength char 3 char 2'", "\x05\0\x02\0a"s, 54},
      {"-x 'format rlength2 char 2 flength char 3'", "\x06\0ab\x02\0"s, 55},
      {"-x 'format rlength2 char 2 flength char 3'", "\x06\0ab\0\0"s, 0},
      {"-x 'format rlength2 char 2 flength char 3'", "\x05\0ab\1"s, 31},
      {"-x 'format rlength2 char 3 null char 3'", "\x06\0abc\0"s, 55},
      {"-x 'format rlength4x char 4'", "\xFF\xFF\xFF\xFF"s, 32},
      {"-z 5", "12345\n", 0},
      {"-z 5", "12345\r\n", 0},
      {"-z 5", "123456\r\n", 32},
  };
  for (const Row& row : rows) {
    Extraction extraction(row.options);
    ASSERT_EQ(extraction.code, 0) << row.options;
    extraction.run.sequence = 4;
    extraction.extract(row.record);
    EXPECT_EQ(extraction.code, row.code) << row.options;
    const bool isNumbered = row.code == 31 || row.code == 32;
    EXPECT_TRUE(!isNumbered || extraction.told.find("number 5 within <source_1>") != std::string::npos);
  }
}

// A null indicator that lies in front of a field of length 0, and one that isn't there.
TEST(Keys, NullFieldsOfNoLengthAreNull) {
  Extraction extraction("-x 'format rlength2 null flength char 3' -k 4");
  const std::vector<Stored> all =
      extraction.extract("\x05\0\1\0\0"s + "\x05\0\0\0\0"s + "\x02\0"s + "\x06\0\0\1\0a"s);
  ASSERT_EQ(all.size(), 4U);
  const uint32_t starts[] = {0, 0x44010000, 0x44010000, 0x44446100};
  for (size_t at = 0; at < 4; ++at) EXPECT_EQ(all[at].key[0], starts[at]);
}

// The bytes of keys, not only their order: other phases and intermediate files keep them.
TEST(Keys, AreThoseOfThePlainBuilder) {
  for (uint32_t seed = 0; seed < 300; ++seed) {
    Random random(seed);
    const size_t packed = 1 + below(random, 20), zoned = 1 + below(random, 40), text = 1 + below(random, 40);
    Extraction extraction("-x 'format packed " + std::to_string(packed) + " zoned " + std::to_string(zoned) +
                          " char " + std::to_string(text) + "' -k 1,1 -k 2,2 -k 3,3");
    Extraction line("-k 1,1");
    std::string block, lines;
    std::vector<std::vector<uint32_t>> expected, ofLines;
    for (uint32_t number = 0; number < 10; ++number) {
      const std::string fields[] = {randomValue(random, "packed", packed),
                                    randomValue(random, "zoned", zoned), randomValue(random, "char", text)};
      sort::plain::Key key, lineKey;
      key.addPacked(fields[0]);
      key.addZoned(fields[1]);
      key.addBytes(fields[2]);
      expected.push_back(key.words(number));
      block += fields[0] + fields[1] + fields[2];
      lineKey.addLineField(fields[2].substr(0, fields[2].find_first_of(" \t")));
      ofLines.push_back(lineKey.words(number));
      lines += fields[2] + "\n";
    }
    const std::vector<Stored> all = extraction.extract(block), allLines = line.extract(lines);
    for (size_t at = 0; at < 10; ++at) {
      ASSERT_EQ(all[at].key, expected[at]) << "seed " << seed;
      ASSERT_EQ(allLines[at].key, ofLines[at]) << "seed " << seed;
    }
  }
}

TEST(Keys, BitRangesAreMaskedAndOffsetsTellPresence) {
  struct Row {
    const char* key;
    std::string bytes;  // at the start of the key, of a record B5 9C
  };
  const Row rows[] = {
      {"2.1.3,2.2.5", "\x35\x98\0\0"s}, {"2.1.3r,2.1.6", "\x08\xFF\xFF"s}, {"2.3,2.4", "\1"s},
      {"2.2", "\x44\x9C\0\0"s},         {"2.2r", "\x44\x63\xFF\xFF"s},     {"2.4r", "\xFE"s},
  };
  for (const Row& row : rows) {
    Extraction extraction("-x 'format rlength2 bin 4' -k "s + row.key);
    ASSERT_EQ(extraction.code, 0) << row.key;
    const std::vector<Stored> all = extraction.extract("\x04\0\xB5\x9C"s);
    ASSERT_EQ(all.size(), 1U);
    std::string bytes;
    for (const uint32_t word : all[0].key)
      for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(word >> shift);
    EXPECT_EQ(bytes.substr(0, row.bytes.size()), row.bytes) << row.key;
  }
}

// ---- Lines

// A number as text: integer and fraction digits that count.
struct TextNumber {
  Decimal integer;
  std::string fraction;

  explicit TextNumber(const std::string& text) {
    size_t at = std::min(text.find_first_not_of(" \t"), text.size());
    const bool negative = at < text.size() && text[at] == '-';
    if (at < text.size() && (text[at] == '-' || text[at] == '+')) ++at;
    for (; at < text.size() && (isdigit(text[at]) || text[at] == ','); ++at)
      if (text[at] != ',') integer.digits += text[at];
    if (at < text.size() && text[at] == '.')
      for (++at; at < text.size() && isdigit(text[at]); ++at) fraction += text[at];
    fraction.erase(fraction.find_last_not_of('0') + 1);
    integer = plainDecimal(false, integer.digits);
    integer.negative = negative && (!integer.digits.empty() || !fraction.empty());
  }
  int compare(const TextNumber& other) const {
    const int order = integer.compare(other.integer);
    if (order != 0) return order;
    return sign(fraction.compare(other.fraction), 0) * (integer.negative ? -1 : 1);
  }
};

struct LineCase {
  char separator;
  std::vector<TextRange> ranges;
  std::vector<std::string> lines;
  std::string options;

  explicit LineCase(Random& random) : separator(below(random, 2) ? 0 : ':') {
    if (separator != 0) options = "-t :";
    for (size_t count = 1 + below(random, 3); count > 0; --count) {
      TextRange range{int(1 + below(random, 3)), int(1 + below(random, 3)), 0, 0, "", ""};
      range.startModifiers = someOf("bdefinr", 5, random);
      if (below(random, 3) != 0) {
        range.endField = int(1 + below(random, 4));
        range.endByte = int(below(random, 4));
        if (range.endByte != 0 && below(random, 3) == 0) range.endModifiers = "b";
      }
      options += " -k " + range.spell();
      ranges.push_back(range);
    }
    for (size_t count = 20 + below(random, 30); count > 0; --count) {
      const std::string_view letters =
          below(random, 3) == 0 ? "0019 ,.-:" : std::string_view("abAB  \t::,.-+019\1\7~\xE9");
      std::string line = below(random, 4) == 0 ? "-" : "";
      for (size_t length = below(random, below(random, 2) ? 6 : 24); length > 0; --length)
        line += letters[below(random, letters.size())];
      lines.push_back(line);
    }
  }

  // What stands in the range of a line, as the given modifiers of the range change it.
  std::string part(size_t line, const TextRange& range, std::string_view counting) const {
    std::string modifiers = range.startModifiers;
    std::erase_if(modifiers, [&](char letter) { return counting.find(letter) == std::string_view::npos; });
    return modified(modifiers, textOfRange(lines[line], separator, range));
  }

  bool isLess(size_t left, size_t right) const {
    for (const TextRange& range : ranges) {
      const auto has = [&](char letter) { return range.startModifiers.find(letter) != std::string::npos; };
      const std::string_view counting = has('n') ? "e" : "defi";
      const std::string first = part(left, range, counting), second = part(right, range, counting);
      const int order =
          has('n') ? TextNumber(first).compare(TextNumber(second)) : sign(first.compare(second), 0);
      if (order != 0) return has('r') ? order > 0 : order < 0;
    }
    return false;
  }
};

TEST(Keys, OrderLinesLikeTheRangesOfTheirText) {
  for (uint32_t seed = 0; seed < 1000; ++seed) {
    Random random(seed);
    const LineCase lined(random);
    SCOPED_TRACE("seed " + std::to_string(seed) + ": " + lined.options);
    Extraction extraction(lined.options + (seed % 5 == 0 ? " -z 40" : ""), seed % 2 ? 3 : 0);
    ASSERT_EQ(extraction.code, 0);
    std::string block;
    for (size_t at = 0; at < lined.lines.size(); ++at)
      block += lined.lines[at] + (at % 3 == 0 ? "\r\n" : "\n");
    const std::vector<Stored> all = extraction.extract(block);
    ASSERT_EQ(all.size(), lined.lines.size()) << extraction.told;
    std::string records;
    for (const Stored& stored : all) records += stored.record;
    ASSERT_EQ(records, block);
    ASSERT_EQ(orderOf(all), stableOrder(all.size(), [&](size_t a, size_t b) { return lined.isLess(a, b); }));
  }
}

TEST(Keys, ManyKeysOverTheSameBytesAllCount) {
  std::string options;
  for (int key = 0; key < 60; ++key) options += " -k 1n,1";
  Extraction extraction(options + " -k 2r,2", 2);
  const std::vector<Stored> all = extraction.extract("\n1 a\n1 b\n\n\n1 a\n"s);
  EXPECT_EQ(orderOf(all), (std::vector<size_t>{0, 3, 4, 2, 1, 5}));
}

TEST(Keys, EmptyRangesAtTheEndOfTheBlockReadNothing) {
  Extraction extraction("-x 'format char 8' -k 1.8,1.6 -k 1.7r,1.5");
  EXPECT_EQ(orderOf(extraction.extract("12345678abcdefgh")), (std::vector<size_t>{0, 1}));
}

TEST(Keys, CollatingTableReplacesBytesAndLocale) {
  uint8_t table[256];
  for (int byte = 0; byte < 256; ++byte) table[byte] = static_cast<uint8_t>(255 - byte);
  const std::pair<const char*, std::vector<size_t>> rows[] = {{"-k 1", {2, 4, 1, 0, 3}},
                                                              {"-k 1r", {3, 0, 1, 4, 2}}};
  for (const auto& [options, expected] : rows) {
    Extraction extraction(options);
    extraction.options().collatingTable = table;
    ASSERT_EQ(InitExtract(*extraction.session), 0);
    EXPECT_EQ(orderOf(extraction.extract("a\nb\n\nab\n\xFF\n")), expected);
  }
}

// The system's own locale of UTF-8 orders by code points.
TEST(Keys, LocaleWalksCharacters) {
  if (!Extraction("-x 'locale C.UTF-8'").options().localeCollation) GTEST_SKIP();
  Extraction extraction("-x 'locale C.UTF-8' -k 1f,1 -k 2,2");
  ASSERT_EQ(extraction.code, 0);
  const std::vector<Stored> all = extraction.extract("\u00E9 1\n\u00C9 0\nz 5\nZ\u3042\nz\n\u00DF\n");
  EXPECT_EQ(orderOf(all), (std::vector<size_t>{4, 2, 3, 1, 0, 5}));
  EXPECT_EQ(extraction.code, 0);
  extraction.extract("good\nbad \xFF\n");
  EXPECT_EQ(extraction.code, 62);
  EXPECT_NE(extraction.told.find("number 8 within <source_1>"), std::string::npos);
  // Positions count characters, b passes over the locale's blanks, and f folds a constant as it does a field.
  Extraction counted("-x 'locale C.UTF-8' -k 1.2b,1.2b -x 'select 1.2f,1.2 ne \"\u00E9\"'");
  ASSERT_EQ(counted.code, 0);
  const std::vector<Stored> kept = counted.extract("x\u00C8\na\u3042c\nx\u00C9\nxz\n\u3000\u00C8b\n");
  EXPECT_EQ(orderOf(kept), (std::vector<size_t>{3, 2, 0, 1}));
  Extraction fixed("-x 'locale C.UTF-8' -x 'format char 3' -k 1.2,1.2");
  EXPECT_EQ(orderOf(fixed.extract("\u00E9bxza")), (std::vector<size_t>{0, 1}));
}

// ---- Reformat

TEST(Reformat, PutsFieldsAndConstantsTogether) {
  for (uint32_t seed = 0; seed < 400; ++seed) {
    Random random(seed);
    Layout layout(random, seed % 3 == 0, 1 + below(random, 4));
    if (layout.format.find("flength") != std::string::npos) continue;
    static constexpr const char* lengthFields[] = {"", "rlength2", "rlength2x", "rlength4", "rlength4x"};
    const std::string lengthField = lengthFields[below(random, 5)];
    struct Item {
      size_t field;  // or behind the last for a constant
      std::string modifiers, constant;
    };
    std::vector<Item> items;
    std::string list = lengthField;
    for (size_t count = 1 + below(random, 5); count > 0; --count) {
      Item item{below(random, layout.fields.size() + 1), "", ""};
      if (item.field == layout.fields.size()) {
        static constexpr std::pair<const char*, const char*> constants[] = {
            {"\"x y\"", "x y"}, {"3*\"ab\"", "ababab"}, {"0x41FF", "A\xFF"}, {"0d-2", "\xFE\xFF\xFF\xFF"}};
        const auto& [spelling, value] = constants[below(random, 4)];
        list += std::string(" ") + spelling;
        item.constant = value;
      } else {
        const FieldPlan& field = layout.fields[item.field];
        if (field.isText()) item.modifiers = someOf("bdefi", 4, random);
        list += " " + field.range(item.modifiers);
      }
      items.push_back(item);
    }
    std::string block;
    Records expected;
    for (size_t count = 0; count < 20; ++count) {
      const Record record = layout.record(random);
      block += record.bytes;
      std::string text;
      for (const Item& item : items)
        if (item.field == layout.fields.size())
          text += item.constant;
        else if (!record.fields[item.field].isNull)
          text += modified(item.modifiers, record.fields[item.field].bytes);
      expected.push_back(withLength(lengthField, text));
    }
    const std::string options = "-x 'format " + layout.format + "' -x 'reformat " + list + "'";
    SCOPED_TRACE("seed " + std::to_string(seed) + ": " + options);
    Extraction extraction(options, seed % 2 ? 2 : 0), copy(options + " -s copy");
    ASSERT_EQ(extraction.code, 0) << extraction.told;
    const std::vector<Stored> all = extraction.extract(block);
    ASSERT_EQ(all.size(), expected.size());
    for (size_t at = 0; at < all.size(); ++at) ASSERT_EQ(all[at].record, expected[at]);
    EXPECT_EQ(copy.extracted(block), joined(expected));
  }
}

TEST(Reformat, TakesRangesOfLines) {
  for (uint32_t seed = 0; seed < 300; ++seed) {
    Random random(seed);
    const LineCase lined(random);
    std::string options = lined.separator != 0 ? "-t : " : "";
    options += "-s copy -x 'reformat";
    for (const TextRange& range : lined.ranges) options += " " + range.spell();
    Extraction extraction(options + " 0x0A'");
    ASSERT_EQ(extraction.code, 0) << options << extraction.told;
    std::string block, expected;
    for (size_t line = 0; line < lined.lines.size(); ++line) {
      block += lined.lines[line] + "\n";
      for (const TextRange& range : lined.ranges) expected += lined.part(line, range, "defi");
      expected += "\n";
    }
    ASSERT_EQ(extraction.extracted(block), expected) << "seed " << seed << ": " << options;
  }
}

TEST(Extract, StopsBehindTheSameRecordInBuffersOfAnySize) {
  for (const int32_t roomFor : {0, 1}) {
    Extraction extraction("-x 'skiprec 1' -x 'stopaft 3' -z 2", roomFor);
    EXPECT_EQ(extraction.extracted("1a\n2a\n3b\n4a\n5a\n6b\n"), "2a\n3b\n4a\n");
  }
}

}  // namespace
