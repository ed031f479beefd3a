// Format, keys, reformat and sum: reading, and checking against the format.
#include "sort/engine/lists.h"

#include <charconv>
#include <optional>

#include "sort/engine/constants.h"
#include "sort/engine/messages.h"
#include "sort/engine/ranges.h"
#include "sort/engine/words.h"

namespace qrt::sort {
namespace {

constexpr int32_t invalidOperand = 8;
constexpr int32_t invalidExtendedOperand = 9;
constexpr int32_t formatSyntax = 21;
constexpr int32_t reformatSyntax = 22;
constexpr int32_t reformatConstant = 23;
constexpr int32_t sumSyntax = 24;
constexpr int32_t sumNotAllowed = 30;
constexpr int32_t mostRecordBytes = 65535;

std::optional<FieldType> typeOf(std::string_view keyword) {
  for (int32_t type = 0; type < fieldTypeCount; ++type)
    if (fieldTypes[type].inFormat && fieldTypes[type].keyword == keyword) return static_cast<FieldType>(type);
  return std::nullopt;
}

std::optional<int32_t> numberOf(std::string_view text) {
  int32_t value;
  const auto [end, fault] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (fault != std::errc{} || end != text.data() + text.size() || text.starts_with('-')) return std::nullopt;
  return value;
}

// Whether a field of this type may have a null indicator.
bool isData(FieldType type) {
  return !isLengthField(type) && type != FieldType::flength && type != FieldType::null;
}

// Links each field to the "null" and "flength" in front of it; false when one of them stands wrongly.
bool linkIndicators(GrowingTable<FormatField>& format) {
  for (int32_t index = 0; index < format.count; ++index) {
    const FieldType type = format[index].type;
    if (isLengthField(type) && index > 0) return false;
    if (type != FieldType::flength && type != FieldType::null) continue;
    if (index + 1 == format.count) return false;
    FormatField& next = format[index + 1];
    if (type == FieldType::flength) {
      if (!rowOf(next.type).hasLength || !isLengthField(format[0].type)) return false;
      next.hasFlength = true;
      next.nullable = format[index].nullable;
      format[index].nullable = false;
    } else {
      if (!isData(next.type) && next.type != FieldType::flength) return false;
      next.nullable = true;
    }
  }
  return true;
}

// Offsets and barriers; false when the record gets too long.
bool layOut(GrowingTable<FormatField>& format) {
  int32_t offset = 0, varying = 0;
  for (FormatField& field : format) {
    field.offset = offset;
    field.endOffset = offset += field.length;
    field.fieldsBefore = varying;
    varying += field.hasFlength;
    if (offset > mostRecordBytes) return false;
  }
  for (int32_t index = format.count; index-- > 0;) {
    const bool joined = index + 1 < format.count && isByteString(format[index].type) &&
                        format[index].type == format[index + 1].type;
    format[index].barrier = joined ? format[index + 1].barrier : index + 1;
  }
  return true;
}

int32_t faultCode(ConstantFault fault, int32_t invalid) {
  if (fault == ConstantFault::none) return 0;
  return fault == ConstantFault::noMemory ? noMemory(sizeof(Constant)) : message(invalid);
}

int32_t addConstant(SortSession& session, std::string_view token, int32_t repeat) {
  ReformatItem* const item = session.options->reformat.add(session.memory);
  if (item == nullptr) return noMemory(sizeof(*item));
  item->kind = ReformatItem::Kind::constant;
  ConstantFault fault = readConstant(session.memory, token, repeat, item->constant);
  const FieldType type = item->constant.type;
  if (repeat > 1 && type != FieldType::charConstant && type != FieldType::hexConstant)
    fault = ConstantFault::invalid;
  if (fault == ConstantFault::none) fault = convertForReformat(session.memory, item->constant);
  return faultCode(fault, reformatConstant);
}

int32_t addRange(SortSession& session, std::string_view token) {
  ReformatItem* const item = session.options->reformat.add(session.memory);
  if (item == nullptr) return noMemory(sizeof(*item));
  return readRange(token, item->range) ? 0 : message(reformatSyntax);
}

bool repeatsAt(const WordTable& tokens, int32_t index) {
  return index + 1 < tokens.count && tokens[index + 1] == "*";
}

// A number of repetitions, "*" and a constant.
int32_t addRepeated(SortSession& session, const WordTable& tokens, int32_t index) {
  const std::optional<int32_t> repeat = numberOf(tokens[index]);
  if (!repeat || index + 2 >= tokens.count) return message(reformatSyntax);
  if (*repeat == 0 || !looksLikeConstant(tokens[index + 2])) return message(reformatConstant);
  if (const int32_t code = addConstant(session, tokens[index + 2], *repeat); code != 0) return code;
  const FieldType type = session.options->reformat[session.options->reformat.count - 1].constant.type;
  return type == FieldType::charConstant || type == FieldType::hexConstant ? 0 : message(reformatConstant);
}

// Adds what a placed range stands for to `pieces`: one range, or one for each run of joined fields.
template <typename Add>
bool addPieces(const SortOptions& options, SortKey range, Add&& add) {
  while (leavesBarrier(options, range))
    if (!add(takePiece(options, range))) return false;
  return add(range);
}

// A key's piece of the record, unless it is an indicator, which shows in the key of the field behind it.
bool addKey(SortSession& session, SortKey piece) {
  SortOptions& options = *session.options;
  if (options.binary && options.format[piece.startField].type == FieldType::null) return true;
  settleRange(options, piece, true);
  SortKey* const key = options.keys.add(session.memory);
  if (key != nullptr) *key = piece;
  return key != nullptr;
}

bool mayStartKey(const SortOptions& options, const SortKey& range) {
  if (!options.binary || range.startField >= options.format.count) return true;
  const FieldType type = options.format[range.startField].type;
  return rowOf(type).asKey && !isLengthField(type);
}

void takeModifiers(SortKey& range, const SortKey& from) {
  range.blankStart = from.blankStart;
  range.blankEnd = from.blankEnd;
  range.dictionary = from.dictionary;
  range.trimEnd = from.trimEnd;
  range.fold = from.fold;
  range.printable = from.printable;
  range.numeric = from.numeric;
  range.date = from.date;
  range.reverse = from.reverse;
  range.yearWindow = from.yearWindow;
}

bool isSummable(FieldType type) {
  return (type >= FieldType::int32 && type <= FieldType::extended) ||
         (type >= FieldType::fixed && type <= FieldType::zoned) || type == FieldType::bin;
}

// How often the field stands in the reformat list, and whether it lies in an item in which it can't be found.
struct Uses {
  int32_t whole = 0;
  bool hidden = false;
};

Uses usesOf(const SortOptions& options, int32_t field) {
  Uses uses;
  for (const ReformatItem& item : options.reformat) {
    const SortKey& range = item.range;
    if (item.kind != ReformatItem::Kind::range || range.startField > field) continue;
    const bool endsInside = range.endByte != 0;
    if (range.endField + endsInside <= field) continue;
    const bool startsInside = range.startByte != 0 && range.startField == field;
    const bool cut = startsInside || (endsInside && range.endField == field);
    if (cut || hasModifiers(range))
      uses.hidden = true;
    else
      ++uses.whole;
  }
  return uses;
}

int32_t addSum(SortSession& session, const SortKey& range) {
  SortOptions& options = *session.options;
  const FormatField& field = options.format[range.startField];
  for (const SumField& earlier : options.sums)
    if (earlier.field == range.startField) return message(sumSyntax);
  const Uses uses = usesOf(options, range.startField);
  if (options.reformat.count > 0) {
    if (uses.hidden || (options.binary && options.variableLength) || field.nullable)
      return message(sumNotAllowed);
    if (uses.whole == 0) return message(sumSyntax);
  }
  SumField* const sum = options.sums.add(session.memory);
  if (sum == nullptr) return noMemory(sizeof(*sum));
  *sum = {field.type, range.startField, uses.whole};
  return 0;
}

}  // namespace

int32_t readFormat(SortSession& session, std::string_view list) {
  SortOptions& options = *session.options;
  WordTable words;
  if (const int32_t code = splitTokens(session.memory, list, nullptr, 0, words); code != 0) return code;
  for (int32_t index = 0; index < words.count; ++index) {
    const std::optional<FieldType> type = typeOf(words[index]);
    if (!type) return message(formatSyntax);
    const FieldTypeRow& row = rowOf(*type);
    int32_t length = row.least;
    if (row.hasLength) {
      const std::optional<int32_t> given = ++index < words.count ? numberOf(words[index]) : std::nullopt;
      if (!given || *given < row.least || *given > row.most) return message(formatSyntax);
      length = *given;
    }
    FormatField* const field = options.format.add(session.memory);
    if (field == nullptr) return noMemory(sizeof(*field));
    field->type = *type;
    field->length = length;
    options.hasFlengthFields |= *type == FieldType::flength;
  }
  return linkIndicators(options.format) && layOut(options.format) ? 0 : message(formatSyntax);
}

int32_t readReformat(SortSession& session, std::string_view list) {
  static constexpr std::string_view symbols[] = {"*"};
  SortOptions& options = *session.options;
  WordTable tokens;
  if (const int32_t code = splitTokens(session.memory, list, symbols, 1, tokens); code != 0) return code;
  for (int32_t index = 0; index < tokens.count; ++index) {
    const std::optional<FieldType> type = typeOf(tokens[index]);
    if (type && isLengthField(*type)) {
      if (index > 0) return message(invalidExtendedOperand, "reformat");
      options.reformatLengthField = *type;
      options.reformatStartsWithLength = true;
      continue;
    }
    int32_t code;
    if (repeatsAt(tokens, index)) {
      code = addRepeated(session, tokens, index);
      index += 2;
    } else if (looksLikeConstant(tokens[index])) {
      code = addConstant(session, tokens[index], 1);
    } else {
      code = addRange(session, tokens[index]);
    }
    if (code != 0) return code;
  }
  return options.reformat.count > 0 ? 0 : message(reformatSyntax);
}

int32_t readSum(SortSession& session, std::string_view list, GrowingTable<SortKey>& ranges) {
  WordTable words;
  if (const int32_t code = splitTokens(session.memory, list, nullptr, 0, words); code != 0) return code;
  for (const std::string_view word : words) {
    SortKey* const range = ranges.add(session.memory);
    if (range == nullptr) return noMemory(sizeof(*range));
    if (!readRange(word, *range)) return message(sumSyntax);
  }
  return 0;
}

void settleRecord(SortOptions& options, int32_t textLength) {
  constexpr int32_t defaultTextLength = 4096;
  options.binary = options.format.count > 0;
  if (!options.binary) {
    options.variableLength = true;
    options.recordLength = textLength >= 0 ? textLength : defaultTextLength;
    return;
  }
  options.recordLength = options.format[options.format.count - 1].endOffset;
  options.variableLength = isLengthField(options.format[0].type);
  options.fixedLength = options.variableLength ? options.format[0].length : options.recordLength;
}

int32_t settleKeys(SortSession& session, const SortKey& defaults) {
  SortOptions& options = *session.options;
  GrowingTable<SortKey> given = options.keys;
  options.keys = {};
  const bool wholeRecord = given.count == 0;
  if (wholeRecord) {
    SortKey* const key = given.add(session.memory);
    if (key == nullptr) return noMemory(sizeof(*key));
    key->endField = toRecordEnd;
  }
  for (SortKey& key : given) {
    if (!hasModifiers(key)) takeModifiers(key, defaults);
    if (!placeRange(options, key) || !(wholeRecord || mayStartKey(options, key)))
      return message(invalidOperand, "-k");
    if (!addPieces(options, key, [&](const SortKey& piece) { return addKey(session, piece); }))
      return noMemory(sizeof(key));
  }
  session.memory.release(given.rows);
  return 0;
}

int32_t settleReformat(SortSession& session) {
  SortOptions& options = *session.options;
  if (options.reformat.count > 0 && options.hasFlengthFields) return message(reformatSyntax);
  GrowingTable<ReformatItem> given = options.reformat;
  options.reformat = {};
  const auto add = [&](const ReformatItem& item) {
    ReformatItem* const added = options.reformat.add(session.memory);
    if (added != nullptr) *added = item;
    return added != nullptr;
  };
  for (ReformatItem& item : given) {
    bool added;
    if (item.kind == ReformatItem::Kind::constant) {
      added = add(item);
    } else {
      if (!placeRange(options, item.range) || item.range.startBit != 0 || item.range.endBit != 0)
        return message(reformatSyntax);
      added = addPieces(options, item.range, [&](SortKey piece) {
        settleRange(options, piece, false);
        return add({item.kind, piece, {}});
      });
    }
    if (!added) return noMemory(sizeof(item));
  }
  session.memory.release(given.rows);
  return 0;
}

int32_t settleSums(SortSession& session, GrowingTable<SortKey>& ranges) {
  SortOptions& options = *session.options;
  for (SortKey& range : ranges) {
    const bool openEnd = range.endField == toRecordEnd;
    if (!options.binary || !placeRange(options, range)) return message(sumSyntax);
    if (openEnd && range.endField > range.startField + 1) range.endField = range.startField + 1;
    const FormatField& field = options.format[range.startField];
    if (!isWholeField(range) || !isSummable(field.type) || field.hasFlength) return message(sumSyntax);
    if (const int32_t code = addSum(session, range); code != 0) return code;
  }
  return 0;
}

}  // namespace qrt::sort
