// Conditions: targets against a naive evaluator, constants against their values.
#include "fixture.h"

namespace {

using namespace qrt::sort;
using namespace std::string_literals;
using qrt::test::Prepared;

// A random expression as text, evaluated while it is written: field n is named in condition n only, and its
// outcome is bit n - 1 of `outcomes`.
struct Writer {
  std::mt19937& random;
  uint32_t outcomes;
  int32_t conditions = 0;
  std::string text;

  template <size_t count>
  std::string pick(const char* const (&words)[count]) {
    return words[random() % count];
  }

  bool condition() {
    static constexpr const char* const comparisons[] = {" eq ", "=", " == ", "!<>", " !>< "};
    const bool outcome = (outcomes >> conditions++ & 1) != 0;
    text += std::to_string(conditions) + pick(comparisons) + (random() % 2 ? "\"x\"" : "2 * \"y\"");
    return outcome;
  }

  bool term(int32_t depth) {
    bool negated = false;
    while (random() % 3 == 0) {
      text += random() % 2 ? "!" : " not ";
      negated = !negated;
    }
    if (depth == 0 || random() % 2 == 0) return condition() != negated;
    text += "(";
    const bool outcome = expression(depth - 1);
    text += ")";
    return outcome != negated;
  }

  bool expression(int32_t depth) {
    static constexpr const char* const conjunctions[] = {" and ", "&", "&& "};
    static constexpr const char* const disjunctions[] = {" or ", "|", "|| "};
    bool outcome = term(depth);
    for (uint32_t more = random() % 3; more > 0; --more) {
      const bool conjunction = random() % 2 == 0;
      text += conjunction ? pick(conjunctions) : pick(disjunctions);
      const bool right = term(depth);
      outcome = conjunction ? outcome && right : outcome || right;
    }
    return outcome;
  }
};

bool keeps(const SortOptions& options, uint32_t outcomes) {
  int32_t at = 0;
  for (int32_t steps = 0; at >= 0; ++steps) {
    if (steps > options.conditions.count) return ADD_FAILURE() << "endless", false;
    const SelectCondition& condition = options.conditions[at];
    at = (outcomes >> condition.left.startField & 1) != 0 ? condition.ifTrue : condition.ifFalse;
  }
  return at == SelectCondition::keep;
}

TEST(Select, TargetsOfRandomExpressions) {
  std::mt19937 random(9);
  for (int32_t count = 0; count < 5000; ++count) {
    Writer writer{random, random(), 0, {}};
    const bool expected = writer.expression(3);
    if (writer.conditions > 32) continue;
    Prepared prepared("-x 'select " + writer.text + "'");
    ASSERT_EQ(prepared.code, 0) << writer.text << ": " << prepared.told;
    ASSERT_EQ(prepared.options().conditions.count, writer.conditions);
    ASSERT_EQ(keeps(prepared.options(), writer.outcomes), expected) << writer.text;
  }
}

TEST(Select, SymbolsMeanWords) {
  const struct {
    const char* spellings;
    Comparison comparison;
  } cases[] = {{"eq = == !<> !><", Comparison::equal}, {"ne <> >< != !==", Comparison::notEqual},
               {"gt > !<= !=<", Comparison::greater},  {"ge >= => !<", Comparison::greaterOrEqual},
               {"lt < !>= !=>", Comparison::less},     {"le <= =< !>", Comparison::lessOrEqual}};
  for (const auto& each : cases) {
    std::string spellings = each.spellings;
    for (char* word = strtok(spellings.data(), " "); word != nullptr; word = strtok(nullptr, " "))
      for (const char* blank : {" ", ""}) {
        if (*blank == 0 && isalpha(*word)) continue;
        Prepared prepared("-x 'filter 1,1"s + blank + word + blank + "2b,2.3'");
        ASSERT_EQ(prepared.code, 0) << word;
        EXPECT_EQ(prepared.options().conditions[0].comparison, each.comparison) << word;
        EXPECT_EQ(prepared.options().conditions[0].rightRange.endByte, 3);
      }
  }
}

// The bytes of the right side of "field operator constant"; "18" or another number for a message.
std::string bytesOf(const std::string& field, const std::string& constant) {
  const bool isText = field.starts_with("text");
  const std::string format = isText ? "" : "-x 'format " + field + " char 1' ";
  Prepared prepared(format + "-x 'select 1" + (isText ? field.substr(4) : "") + " = " + constant + "'");
  if (prepared.code != 0) return std::to_string(prepared.code);
  const Constant& right = prepared.options().conditions[0].rightConstant;
  return {reinterpret_cast<const char*>(right.bytes), static_cast<size_t>(right.length)};
}

template <typename Value>
std::string native(Value value) {
  return {reinterpret_cast<const char*>(&value), sizeof(value)};
}

TEST(Select, ConstantsTakeTheFormOfTheLeftType) {
  const std::string extended = "\0\0\0\0\0\0\0\xA0\0\x40\0\0\0\0\0\0"s;
  const struct {
    const char* field;
    std::string constant, bytes;
  } cases[] = {
      {"int", "0d-2147483648", native(INT32_MIN)},
      {"int", "0D+2147483647", native(INT32_MAX)},
      {"uint", "0d4294967295", native(UINT32_MAX)},
      {"uint", "0d-0", native(0)},
      {"short", "0d-32768", native(int16_t{INT16_MIN})},
      {"ushort", "0d65535", native(uint16_t{UINT16_MAX})},
      {"float", "0f1.5e2", native(150.0F)},
      {"float", "0f-3.4028235E38", native(-3.4028235e38F)},
      {"float", "0d1", "19"},
      {"double", "0F+.5", native(0.5)},
      {"extended", "0f2.5", extended},
      {"fixed 2", "0d32767", "\xF0\2\x7F\xFF"},
      {"fixed 2", "0d-32768", "\0\xFD\x7F\xFF"s},
      {"fixed 2", "0d-2", "\0\xFE\xFD"s},
      {"packed 5", "0d-00123", "\0\xFD\xFE\xDC"s},
      {"zoned 5", "0d-0", "\xF0\0"s},
      {"exttns 5", "0d" + std::string(509, '9'), "\xF0\xFF\x09" + std::string(254, '\x99')},
      {"packed 5", "0d" + std::string(510, '0'), "18"},
      {"scint", "0d1", "19"},
      {"textn,1", "0d-1.5", "\x01\xFF\xFE\xDF\x9F\xFF"},
      {"textn,1", "0d01234", "\2\0\4\x23\x45\0"s},
      {"textn,1", "0d-0.00", "\2\0\0\0\0"s},
      {"textn,1", "0f1.5", native(1.5)},
      {"text,1", R"("\n\t\r\v\"\\\q'")", "\n\t\r\v\"\\q'"},
      {"text,1", "2*\"ab\"", "abab"},
      {"textf,1", "\"aZ{\"", "AZ{"},
      {"textq,1", "\"2026\"", "2026"},
      {"char 5", "0X4a4B", "JK"},
      {"bin 5", "0b101", "\xA0"},
      {"bin 5", "3*0B101", "\xB6\x80"},
      {"bin 5", "3*0x0102", "\x01\x02\x01\x02\x01\x02"},
      {"bin 5", "\"a\"", "19"},
  };
  for (const auto& each : cases)
    EXPECT_EQ(bytesOf(each.field, each.constant), each.bytes) << each.field << each.constant;
  const std::pair<const char*, const char*> refused[] = {
      {"long", "0d2147483648"},  {"long", "0d-2147483649"},
      {"int", "0d1.5"},          {"int", "0d99999999999999999999999"},
      {"ulong", "0d4294967296"}, {"uint", "0d-1"},
      {"short", "0d32768"},      {"ushort", "0d65536"},
      {"float", "0f1e39"},       {"float", "0finf"},
      {"double", "0f1e309"},     {"fixed 2", "0d32768"},
      {"fixed 2", "0d-32769"},   {"fixed 2", "0d65536"},
      {"packed 5", "0d1.0"},     {"text,1n", "0d1,5"},
      {"text,1", "0x"},          {"text,1", "0b2"}};
  for (const auto& [field, constant] : refused)
    EXPECT_EQ(bytesOf(field, constant), "18") << field << constant;

  Prepared nulls("-x 'format null int char 5' -x 'select 2,2 = NULL or 1,1 = 0x01 and 3n,3 = 0d1.50'");
  ASSERT_EQ(nulls.code, 0) << nulls.told;
  EXPECT_EQ(nulls.options().conditions[0].rightConstant.type, FieldType::nullConstant);
  EXPECT_STREQ(nulls.options().conditions[2].rightConstant.digits, "1.50");
  Prepared bits("-x 'format bin 5' -x 'select 1.1.3,1.2.2 = 0b1011'");
  EXPECT_EQ(bits.options().conditions[0].rightConstant.bits, 4);
}

}  // namespace
