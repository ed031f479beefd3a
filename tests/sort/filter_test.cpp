// Conditions over random records against a naive evaluator, and what they make of numbers as text.
#include "extraction.h"
#include "layouts.h"

namespace {

using namespace qrt::test;
using namespace std::string_literals;

bool isInteger(std::string_view keyword) {
  return keyword.ends_with("int") ? !keyword.starts_with("sc")
                                  : keyword.ends_with("short") || keyword.ends_with("long");
}
bool isFloat(std::string_view keyword) {
  return keyword == "float" || keyword == "double" || keyword == "extended";
}
bool isDecimal(std::string_view keyword) {
  return keyword == "packed" || keyword == "zoned" || keyword.starts_with("ext") != (keyword == "extended");
}

long double numberOf(std::string_view keyword, std::string_view bytes) {
  long double number = 0;
  visitNative(keyword, [&]<typename T>(T) { number = native<T>(bytes); });
  return number;
}

bool areComparable(std::string_view left, std::string_view right) {
  if (isInteger(left) || isFloat(left)) return isInteger(right) || isFloat(right);
  if (isDecimal(left)) return isDecimal(right);
  return left == right;
}

// A random condition over the fields of a layout.
struct Condition {
  size_t left, right;  // a right field behind the last stands for a constant
  std::string leftModifiers, rightModifiers;
  std::string spelling, constant;
  int64_t number = 0;
  bool againstNull = false;
  size_t comparison;

  Condition(Random& random, const Layout& layout) : left(below(random, layout.fields.size())) {
    static constexpr const char* comparisons[] = {"eq", "ne", "gt", "ge", "lt", "le"};
    comparison = below(random, 6);
    right = layout.fields.size();
    const FieldPlan& field = layout.fields[left];
    const std::string keyword = field.kind->keyword;
    if (field.isText()) leftModifiers = someOf("df", 3, random);
    for (size_t tries = 0; tries < 8 && right == layout.fields.size(); ++tries) {
      const size_t other = below(random, layout.fields.size());
      if (below(random, 2) && areComparable(keyword, layout.fields[other].kind->keyword)) right = other;
    }
    std::string text;
    if (right < layout.fields.size()) {
      if (layout.fields[right].isText()) rightModifiers = someOf("df", 3, random);
      text = layout.fields[right].range(rightModifiers);
    } else if (field.nullable && below(random, 3) == 0) {
      againstNull = true;
      text = "NULL";
    } else if (field.isBytes()) {
      constant = randomValue(random, "char", 1 + below(random, 4));
      std::erase_if(constant, [](char byte) { return byte <= ' ' || byte == 127; });
      const bool asText = field.isText() && below(random, 2);
      text = asText ? "\"" + constant + "\"" : hex(constant);
      if (constant.empty()) text = "0x20", constant = " ";
      if (text[0] == '"' && leftModifiers.find('f') != std::string::npos) constant = modified("f", constant);
    } else if (isInteger(keyword) || isDecimal(keyword) || keyword == "fixed") {
      const int64_t least = keyword[0] == 'u' ? 0 : -3;
      number = least + static_cast<int64_t>(below(random, 120));
      text = "0d" + std::to_string(number);
    } else if (isFloat(keyword)) {
      number = static_cast<int64_t>(below(random, 5)) - 2;
      text = "0f" + std::to_string(number) + ".0";
    } else {
      right = left;
      text = field.range();
    }
    spelling = field.range(leftModifiers) + " " + comparisons[comparison] + " " + text;
  }

  static std::string hex(const std::string& bytes) {
    std::string text = "0x";
    for (const char byte : bytes) {
      text += "0123456789ABCDEF"[static_cast<uint8_t>(byte) >> 4];
      text += "0123456789ABCDEF"[byte & 0xF];
    }
    return text;
  }

  int order(const Layout& layout, const Record& record) const {
    const FieldValue& first = record.fields[left];
    const FieldValue none{againstNull, false, constant};
    const FieldValue& second = right < record.fields.size() ? record.fields[right] : none;
    if (first.isNull || second.isNull) return sign(!first.isNull, !second.isNull);
    if (first.isAbsent || second.isAbsent) return sign(!first.isAbsent, !second.isAbsent);
    const std::string keyword = layout.fields[left].kind->keyword;
    if (layout.fields[left].isBytes())
      return sign(modified(leftModifiers, first.bytes).compare(modified(rightModifiers, second.bytes)), 0);
    if (right == record.fields.size()) {
      if (isDecimal(keyword))
        return decodeDecimal(keyword, first.bytes)
            .compare(plainDecimal(number < 0, std::to_string(std::abs(number))));
      if (keyword == "fixed") return sign(decodeFixed(first.bytes), number);
      return sign(numberOf(keyword, first.bytes), static_cast<long double>(number));
    }
    const std::string other = layout.fields[right].kind->keyword;
    if (isInteger(keyword) || isFloat(keyword))
      return sign(numberOf(keyword, first.bytes), numberOf(other, second.bytes));
    if (isDecimal(keyword))
      return decodeDecimal(keyword, first.bytes).compare(decodeDecimal(other, second.bytes));
    return compareValues(keyword, first.bytes, second.bytes);
  }

  bool holds(const Layout& layout, const Record& record) const {
    const int order = this->order(layout, record);
    const bool results[] = {order == 0, order != 0, order > 0, order >= 0, order < 0, order <= 0};
    return results[comparison];
  }
};

TEST(Filter, KeepsWhatANaiveEvaluatorKeeps) {
  for (uint32_t seed = 0; seed < 2500; ++seed) {
    Random random(seed);
    const Layout layout(random, seed % 2, 1 + below(random, 4));
    const Condition condition(random, layout);
    const std::string options =
        "-s copy -x 'format " + layout.format + "' -x 'select " + condition.spelling + "'";
    SCOPED_TRACE("seed " + std::to_string(seed) + ": " + options);
    Extraction extraction(options);
    if (extraction.code == 18) continue;  // a number that the field's length can't hold
    ASSERT_EQ(extraction.code, 0) << extraction.told;
    std::string block, expected;
    for (size_t count = 0; count < 25; ++count) {
      const Record record = layout.record(random);
      block += record.bytes;
      if (condition.holds(layout, record)) expected += record.bytes;
    }
    ASSERT_EQ(extraction.extracted(block), expected);
  }
}

std::string keptOf(const std::string& options, const std::string& block) {
  Extraction extraction("-s copy " + options);
  EXPECT_EQ(extraction.code, 0) << options << ": " << extraction.told;
  return extraction.extracted(block);
}

TEST(Filter, NumbersAsTextAreComparedByValue) {
  struct Row {
    const char* condition;
    const char* kept;  // of the lines " 5", "5.0x", "-5", "1,000", "", "0x10", "5e1", "0.1"
  };
  const Row rows[] = {
      {"1n eq 0d5", " 5\n5.0x\n5e1\n"},
      {"1n gt 0d5", "1,000\n"},
      {"1n eq 0f0.1", "0.1\n"},
      {"1n lt 0d0", "-5\n"},
      {"1n eq 0d0", "\n0x10\n"},
      {"1n eq 0f1000", "1,000\n"},
      {"1n ge 0f5", " 5\n5.0x\n1,000\n5e1\n"},
      {"1n eq 0f0", "\n0x10\n"},
      {"1 = \"-5\"", "-5\n"},
  };
  for (const Row& row : rows)
    EXPECT_EQ(keptOf("-x 'select "s + row.condition + "'", " 5\n5.0x\n-5\n1,000\n\n0x10\n5e1\n0.1\n"),
              row.kept)
        << row.condition;
  for (const char* const type : {"int", "short", "float", "double"}) {
    std::string record = "  -12";
    visitNative(type, [&]<typename T>(T) {
      const T value = -12;
      record.append(reinterpret_cast<const char*>(&value), sizeof value);
    });
    for (const char* const condition : {"1n,1 eq 2", "2 eq 1n,1", "1n,1 le 2"})
      EXPECT_EQ(keptOf("-x 'format char 5 "s + type + "' -x 'select " + condition + "'", record), record)
          << type;
  }
}

TEST(Filter, ComparesBitsIndicatorsAndOffsets) {
  // The bits B5 9C, a null indicator of 1, and two characters.
  const std::string record = "\x07\0\xB5\x9C\1xy"s, format = "-x 'format rlength2 bin 2 null char 2' ";
  for (const char* holds : {"2.1.3,2.2.2 eq 0b11010110", "2.1.3,2.1.5 eq 0b110", "2.1.3,2.1.5 lt 0b1101",
                            "2 eq 0xB59C", "2 lt 0xB59C00", "3,3 eq NULL", "3,3 eq 0x01", "4,4 eq NULL",
                            "4,4 lt \"a\"", "1,1 eq 0d7", "1,1 gt 0d6", "not 2.1.3,2.1.5 eq 0xC0"}) {
    EXPECT_EQ(keptOf(format + "-x 'select " + holds + "'", record), record) << holds;
    EXPECT_EQ(keptOf(format + "-x 'select not (" + holds + ")'", record), "") << holds;
  }
  // A range that starts behind the end of its record is absent, which is below all others.
  const std::string cut = "\x04\0ab"s, whole = "\x06\0abcd"s;
  EXPECT_EQ(keptOf("-x 'format rlength2 char 4' -x 'select 2.3,2 lt \"a\"'", cut + whole), cut);
}

}  // namespace
