// Conditions: from words to a table of conditions with the targets of both outcomes, and their types.
#include <algorithm>
#include <charconv>

#include "sort/engine/constants.h"
#include "sort/engine/lists.h"
#include "sort/engine/messages.h"
#include "sort/engine/ranges.h"
#include "sort/engine/words.h"

namespace qrt::sort {
namespace {

constexpr int32_t invalidExtendedOperand = 9;
constexpr int32_t selectSyntax = 17;
constexpr int32_t invalidConstant = 18;
constexpr int32_t constantNotComparable = 19;
constexpr int32_t fieldNotComparable = 20;

enum class Word : uint8_t { comparison, negation, conjunction, disjunction, open, close, repeat, operand };

struct Spelling {
  std::string_view text;
  Word word;
  Comparison comparison;
};

// Symbols need no blanks around them; the words that come last do.
constexpr Spelling spellings[] = {
    {"=", Word::comparison, Comparison::equal},
    {"==", Word::comparison, Comparison::equal},
    {"!<>", Word::comparison, Comparison::equal},
    {"!><", Word::comparison, Comparison::equal},
    {"<>", Word::comparison, Comparison::notEqual},
    {"><", Word::comparison, Comparison::notEqual},
    {"!=", Word::comparison, Comparison::notEqual},
    {"!==", Word::comparison, Comparison::notEqual},
    {">", Word::comparison, Comparison::greater},
    {"!<=", Word::comparison, Comparison::greater},
    {"!=<", Word::comparison, Comparison::greater},
    {">=", Word::comparison, Comparison::greaterOrEqual},
    {"=>", Word::comparison, Comparison::greaterOrEqual},
    {"!<", Word::comparison, Comparison::greaterOrEqual},
    {"<", Word::comparison, Comparison::less},
    {"!>=", Word::comparison, Comparison::less},
    {"!=>", Word::comparison, Comparison::less},
    {"<=", Word::comparison, Comparison::lessOrEqual},
    {"=<", Word::comparison, Comparison::lessOrEqual},
    {"!>", Word::comparison, Comparison::lessOrEqual},
    {"!", Word::negation, {}},
    {"&", Word::conjunction, {}},
    {"&&", Word::conjunction, {}},
    {"|", Word::disjunction, {}},
    {"||", Word::disjunction, {}},
    {"(", Word::open, {}},
    {")", Word::close, {}},
    {"*", Word::repeat, {}},
    {"eq", Word::comparison, Comparison::equal},
    {"ne", Word::comparison, Comparison::notEqual},
    {"gt", Word::comparison, Comparison::greater},
    {"ge", Word::comparison, Comparison::greaterOrEqual},
    {"lt", Word::comparison, Comparison::less},
    {"le", Word::comparison, Comparison::lessOrEqual},
    {"not", Word::negation, {}},
    {"and", Word::conjunction, {}},
    {"or", Word::disjunction, {}},
};
constexpr size_t symbolCount = std::size(spellings) - 9;

struct Symbols {
  std::string_view texts[symbolCount];

  constexpr Symbols() {
    for (size_t index = 0; index < symbolCount; ++index) texts[index] = spellings[index].text;
  }
};
constexpr Symbols symbols;

const Spelling* spellingOf(std::string_view token) {
  const auto found = std::find_if(std::begin(spellings), std::end(spellings),
                                  [&](const Spelling& spelling) { return spelling.text == token; });
  return found == std::end(spellings) ? nullptr : found;
}

// A level of parentheses that is open.
struct Level {
  int32_t firstCondition;
  bool negated;
};

struct Reader {
  SortSession& session;
  const char* option;
  GrowingTable<SelectCondition>& conditions;
  WordTable tokens;
  GrowingTable<Level> levels;  // the first one is the whole expression
  int32_t at = 0;

  bool atEnd() const { return at == tokens.count; }
  Word word() const {
    const Spelling* const spelling = spellingOf(tokens[at]);
    return spelling == nullptr ? Word::operand : spelling->word;
  }
  bool nextIs(Word wanted) const { return !atEnd() && word() == wanted; }

  int32_t operandFault() { return message(invalidExtendedOperand, option); }

  bool openLevel(bool negated) {
    Level* const level = levels.add(session.memory);
    if (level == nullptr) return false;
    *level = {conditions.count, negated};
    return true;
  }

  // Sends what keeps the record, or what omits it, on to the next condition in the current level.
  void settle(int32_t open) {
    for (int32_t index = levels[levels.count - 1].firstCondition; index < conditions.count; ++index)
      for (int32_t* const target : {&conditions[index].ifTrue, &conditions[index].ifFalse})
        if (*target == open) *target = conditions.count;
  }

  void closeLevel() {
    const Level level = levels[--levels.count];
    if (!level.negated) return;
    const auto exchange = [](int32_t& target) {
      if (target == SelectCondition::keep)
        target = SelectCondition::omit;
      else if (target == SelectCondition::omit)
        target = SelectCondition::keep;
    };
    for (int32_t index = level.firstCondition; index < conditions.count; ++index) {
      exchange(conditions[index].ifTrue);
      exchange(conditions[index].ifFalse);
    }
  }

  int32_t readConstantOperand(std::string_view token, int32_t repeat, SelectCondition& condition) {
    condition.rightKind = SelectCondition::RightKind::constant;
    switch (readConstant(session.memory, token, repeat, condition.rightConstant)) {
      case ConstantFault::none:
        return 0;
      case ConstantFault::noMemory:
        return noMemory(sizeof(Constant));
      default:
        return message(invalidConstant);
    }
  }

  int32_t readRepeated(SelectCondition& condition) {
    const std::string_view count = tokens[at];
    at += 2;
    int32_t repeat = 0;
    const auto [end, fault] = std::from_chars(count.data(), count.data() + count.size(), repeat);
    if (atEnd() || fault != std::errc{} || end != count.data() + count.size()) return operandFault();
    if (repeat <= 0 || !looksLikeConstant(tokens[at])) return message(invalidConstant);
    if (const int32_t code = readConstantOperand(tokens[at++], repeat, condition); code != 0) return code;
    const FieldType type = condition.rightConstant.type;
    const bool repeatable =
        type == FieldType::charConstant || type == FieldType::hexConstant || type == FieldType::bitConstant;
    return repeatable ? 0 : message(invalidConstant);
  }

  int32_t readRight(SelectCondition& condition) {
    if (!nextIs(Word::operand)) return operandFault();
    if (at + 1 < tokens.count && tokens[at + 1] == "*") return readRepeated(condition);
    if (looksLikeConstant(tokens[at])) return readConstantOperand(tokens[at++], 1, condition);
    return readRange(tokens[at++], condition.rightRange) ? 0 : operandFault();
  }

  int32_t readCondition(bool negated) {
    SelectCondition* const condition = conditions.add(session.memory);
    if (condition == nullptr) return noMemory(sizeof(*condition));
    condition->ifTrue = negated ? SelectCondition::omit : SelectCondition::keep;
    condition->ifFalse = negated ? SelectCondition::keep : SelectCondition::omit;
    condition->depth = levels.count - 1;
    condition->link = conditions.count - 2;
    if (!nextIs(Word::operand) || !readRange(tokens[at++], condition->left)) return operandFault();
    if (!nextIs(Word::comparison)) return message(selectSyntax);
    condition->comparison = spellingOf(tokens[at++])->comparison;
    return readRight(*condition);
  }

  bool takeNegations() {
    bool negated = false;
    for (; nextIs(Word::negation); ++at) negated = !negated;
    return negated;
  }

  // The parentheses that open a term, the condition, and those that close it.
  int32_t readTerm() {
    bool negated = takeNegations();
    for (; nextIs(Word::open); negated = takeNegations()) {
      ++at;
      if (!openLevel(negated)) return noMemory(sizeof(Level));
    }
    if (const int32_t code = readCondition(negated); code != 0) return code;
    for (; nextIs(Word::close); ++at) {
      if (levels.count == 1) return operandFault();
      closeLevel();
    }
    return 0;
  }

  int32_t readExpression() {
    if (!openLevel(false)) return noMemory(sizeof(Level));
    for (;; ++at) {
      if (const int32_t code = readTerm(); code != 0) return code;
      if (atEnd()) return levels.count == 1 ? 0 : operandFault();
      if (!nextIs(Word::conjunction) && !nextIs(Word::disjunction)) return message(selectSyntax);
      settle(nextIs(Word::conjunction) ? SelectCondition::keep : SelectCondition::omit);
    }
  }
};

// Sets of types, one bit for each.
using TypeSet = uint64_t;

template <typename... Types>
constexpr TypeSet setOf(Types... types) {
  return ((TypeSet{1} << static_cast<int32_t>(types)) | ...);
}

using enum FieldType;
constexpr TypeSet integers =
    setOf(int32, uint32, int16, uint16, long32, ulong32, rlength2, rlength2x, rlength4, rlength4x);
constexpr TypeSet floats = setOf(float32, float64, extended);
constexpr TypeSet decimals = setOf(packed, zoned, extlss, exttss, extlns, exttns);

constexpr bool contains(TypeSet set, FieldType type) {
  return (set >> static_cast<int32_t>(type) & 1) != 0;
}

// What may stand on the right of a type.
TypeSet comparableTo(FieldType left) {
  if (contains(integers, left)) return integers | floats | setOf(numericText, flength, decimalConstant);
  if (contains(floats, left)) return floats | integers | setOf(numericText, flength, floatConstant);
  if (contains(decimals, left)) return decimals | setOf(decimalConstant);
  switch (left) {
    case numericText:
      return integers | floats | setOf(numericText, flength, decimalConstant, floatConstant);
    case dateText:
      return setOf(dateText, charConstant);
    case fixed:
      return setOf(fixed, decimalConstant);
    case bin:
      return setOf(bin, null, bitConstant, hexConstant);
    case character:
      return setOf(character, charConstant, hexConstant);
    case flength:
      return setOf(flength, numericText, decimalConstant) | integers | floats;
    case null:
      return setOf(null, bin, hexConstant, nullConstant);
    default:
      return setOf(left);
  }
}

// A range of a condition is one range: without an end it stops at the first field of another kind.
bool settleOperand(const SortOptions& options, SortKey& range) {
  const bool openEnd = range.endField == toRecordEnd;
  if (!placeRange(options, range)) return false;
  if (leavesBarrier(options, range)) {
    if (!openEnd) return false;
    range = takePiece(options, range);
  }
  settleRange(options, range, true);
  return true;
}

bool isNullable(const SortOptions& options, const SortKey& range) {
  return options.binary && options.format[range.startField].nullable;
}

int32_t settleCondition(SortSession& session, const char* option, SelectCondition& condition) {
  SortOptions& options = *session.options;
  SortKey& left = condition.left;
  const bool comparesConstant = condition.rightKind == SelectCondition::RightKind::constant;
  if (!settleOperand(options, left) || (!comparesConstant && !settleOperand(options, condition.rightRange)))
    return message(invalidExtendedOperand, option);

  const FieldType right = comparesConstant ? condition.rightConstant.type : condition.rightRange.type;
  const bool asksForNull = right == FieldType::nullConstant && isNullable(options, left);
  if (!asksForNull && !contains(comparableTo(left.type), right)) {
    const char* const leftName = rowOf(left.type).keyword.data();
    const char* const rightName = rowOf(right).keyword.data();
    return comparesConstant ? message(constantNotComparable, rightName, leftName)
                            : message(fieldNotComparable, leftName, rightName);
  }
  if (!comparesConstant) return 0;
  const int32_t leftLength = options.binary ? options.format[left.startField].length : 0;
  switch (convertForSelect(session.memory, left, leftLength, condition.rightConstant)) {
    case ConstantFault::none:
      return 0;
    case ConstantFault::noMemory:
      return noMemory(sizeof(Constant));
    default:
      return message(invalidConstant);
  }
}

}  // namespace

int32_t readSelect(SortSession& session, const char* option, std::string_view list) {
  Reader reader{session, option, session.options->conditions, {}, {}};
  const int32_t code = splitTokens(session.memory, list, symbols.texts, symbolCount, reader.tokens);
  return code != 0 ? code : reader.readExpression();
}

int32_t settleConditions(SortSession& session, const char* option) {
  for (SelectCondition& condition : session.options->conditions)
    if (const int32_t code = settleCondition(session, option, condition); code != 0) return code;
  return 0;
}

}  // namespace qrt::sort
