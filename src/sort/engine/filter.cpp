// Conditions: the operands of each are brought into one form and compared; the result picks the next
// condition.
#include "sort/engine/filter.h"

#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <charconv>
#include <limits>

#include "sort/engine/keys.h"
#include "sort/engine/messages.h"
#include "sort/engine/number_forms.h"
#include "sort/engine/work_state.h"

namespace qrt::sort {
namespace {

// The left operand below, equal to or above the right one.
enum Order : uint8_t { less, equal, greater };

constexpr bool holds(Comparison comparison, Order order) {
  constexpr bool table[6][3] = {
      {false, true, false},  // equal
      {true, false, true},   // not equal
      {false, false, true},  // greater
      {false, true, true},   // greater or equal
      {true, false, false},  // less
      {true, true, false},   // less or equal
  };
  return table[static_cast<int>(comparison)][order];
}

template <typename T>
Order orderOf(T left, T right) {
  return left < right ? less : left > right ? greater : equal;
}

Order orderOfBytes(Piece left, Piece right) {
  const int difference = memcmp(left.first, right.first, std::min(left.size(), right.size()));
  return difference != 0 ? orderOf(difference, 0) : orderOf(left.size(), right.size());
}

// One side of a condition.
struct Operand {
  FieldType type;        // of a constant: the left side's, whose form it has
  const SortKey* range;  // null for a constant
  const Constant* constant;

  bool isNullConstant() const { return constant != nullptr && constant->type == FieldType::nullConstant; }
  bool isCharConstant() const { return constant != nullptr && constant->type == FieldType::charConstant; }
  bool isFloatConstant() const { return constant != nullptr && constant->type == FieldType::floatConstant; }
};

constexpr bool isFloat(FieldType type) {
  return type >= FieldType::float32 && type <= FieldType::extended;
}

constexpr bool isDecimalForm(FieldType type) {
  return (type >= FieldType::fixed && type <= FieldType::scuint);
}

Piece constantPiece(const Constant& constant) {
  return {constant.bytes, constant.bytes + constant.length};
}

Piece pieceOf(const SortSession& session, const Operand& operand) {
  if (operand.constant != nullptr) return constantPiece(*operand.constant);
  return isText(operand.type) ? characterPiece(session, *operand.range)
                              : plainPiece(*session.options, *session.work->records, *operand.range);
}

bool isAbsent(const SortSession& session, const Operand& operand) {
  const SortOptions& options = *session.options;
  return operand.range != nullptr && options.variableLength &&
         !isPresent(options, *session.work->records, *operand.range);
}

// Whether an operand counts as null; beside `NULL` an indicator by itself does, by its value.
bool isNull(const SortSession& session, const Operand& operand, bool besideNull) {
  const RecordState& records = *session.work->records;
  if (operand.range == nullptr) return operand.isNullConstant();
  const int32_t field = operand.range->startField;
  if (besideNull && operand.type == FieldType::null && !isAbsent(session, operand))
    return *records.start[field] == session.options->nullIndicator;
  return records.isNull[field];
}

// ---- Bytes and bits

// A text with d, i and f applied; `room` has as many bytes as the piece.
Piece modified(const SortKey* range, Piece piece, uint8_t* room) {
  if (range == nullptr || (!range->dictionary && !range->printable && !range->fold)) return piece;
  const bool* const keeps = range->dictionary ? dictionaryBytes : range->printable ? printableBytes : nullptr;
  uint8_t* to = room;
  for (const uint8_t* at = piece.first; at < piece.end; ++at)
    if (keeps == nullptr || keeps[*at]) *to++ = range->fold ? foldByte(*at) : *at;
  return {room, to};
}

// The bytes by which a text sorts in the locale. `room` has 8 bytes for each byte of the piece.
Piece collated(const RecordState& records, const SortKey& range, Piece piece, uint8_t* room, size_t size) {
  auto* const characters = reinterpret_cast<int32_t*>(room);
  const size_t count = charactersOf(*records.collation, range, piece, characters);
  uint8_t* const text = room + count * sizeof(int32_t);
  uint8_t* const to = text + 4 * count + 1;
  return {to, to + sortBytes(*records.collation, characters, count, text, to, size)};
}

Order compareText(SortSession& session, const Operand& left, const Operand& right) {
  RecordState& records = *session.work->records;
  Piece first = pieceOf(session, left), second = pieceOf(session, right);
  uint8_t* const rooms[] = {records.compared[0], records.compared[1]};
  if (records.collation == nullptr)
    return orderOfBytes(modified(left.range, first, rooms[0]), modified(right.range, second, rooms[1]));
  SortKey ofConstant{};
  ofConstant.fold = left.range->fold && right.isCharConstant();
  return orderOfBytes(collated(records, *left.range, first, rooms[0], records.comparedRoom / 2),
                      collated(records, right.range != nullptr ? *right.range : ofConstant, second, rooms[1],
                               records.comparedRoom / 2));
}

struct Bits {
  Piece bytes;
  uint32_t count;
};

// The bits of an operand from a byte boundary on.
Bits bitsOf(const SortSession& session, const Operand& operand, uint8_t* room) {
  const Piece piece = pieceOf(session, operand);
  if (operand.constant != nullptr) {
    const bool counted = operand.constant->type == FieldType::bitConstant;
    return {piece, counted ? static_cast<uint32_t>(operand.constant->bits) : 8 * piece.size()};
  }
  const SortKey& range = *operand.range;
  const bool endsInside = range.endBit != 0 && piece.end < session.work->records->end;
  if (range.startBit == 0 && !endsInside) return {piece, 8 * piece.size()};
  const uint32_t bytes = piece.size() + (endsInside ? 1 : 0);
  for (uint32_t at = 0; at < bytes; ++at) {
    const uint32_t next = at + 1 < bytes ? piece.first[at + 1] : 0;
    room[at] = static_cast<uint8_t>((piece.first[at] << 8 | next) >> (8 - range.startBit));
  }
  const auto count =
      static_cast<int32_t>(8 * piece.size()) + (endsInside ? range.endBit : 0) - range.startBit;
  const uint32_t bits = count > 0 ? static_cast<uint32_t>(count) : 0;
  if (bits % 8 != 0) room[bits / 8] &= static_cast<uint8_t>(0xFF00 >> bits % 8);
  return {{room, room + (bits + 7) / 8}, bits};
}

Order compareBits(SortSession& session, const Operand& left, const Operand& right) {
  const RecordState& records = *session.work->records;
  const Bits first = bitsOf(session, left, records.compared[0]),
             second = bitsOf(session, right, records.compared[1]);
  const int difference =
      memcmp(first.bytes.first, second.bytes.first, std::min(first.bytes.size(), second.bytes.size()));
  return difference != 0 ? orderOf(difference, 0) : orderOf(first.count, second.count);
}

// ---- Numbers

template <typename T>
T valueAt(const uint8_t* at) {
  T value;
  memcpy(&value, at, sizeof(value));
  return value;
}

int64_t integerOf(const SortSession& session, const Operand& operand) {
  const uint8_t* const at = pieceOf(session, operand).first;
  switch (operand.type) {
    case FieldType::int32:
    case FieldType::long32:
      return valueAt<int32_t>(at);
    case FieldType::int16:
      return valueAt<int16_t>(at);
    case FieldType::uint16:
    case FieldType::rlength2:
    case FieldType::rlength2x:
    case FieldType::flength:
      return valueAt<uint16_t>(at);
    default:
      return valueAt<uint32_t>(at);
  }
}

// The value of a plain number as text, rounded to `Value`; 0 where there is none.
template <typename Value>
long double textValue(Piece piece, char* room) {
  const auto isDigit = [](uint8_t byte) { return byte >= '0' && byte <= '9'; };
  const uint8_t* at = piece.first;
  char* to = room;
  while (at < piece.end && isBlank(*at)) ++at;
  const bool negative = at < piece.end && *at == '-';
  if (at < piece.end && (negative || *at == '+')) ++at;
  *to++ = '0';
  for (; at < piece.end && (isDigit(*at) || *at == ','); ++at)
    if (isDigit(*at)) *to++ = static_cast<char>(*at);
  if (at < piece.end && *at == '.') {
    *to++ = '.';
    for (++at; at < piece.end && isDigit(*at); ++at) *to++ = static_cast<char>(*at);
  }
  Value value = 0;
  if (std::from_chars(room, to, value, std::chars_format::fixed).ec == std::errc::result_out_of_range)
    value = std::numeric_limits<Value>::infinity();
  return negative ? -value : value;
}

// The value of an operand that is compared with one of type `other`.
long double floatOf(const SortSession& session, const Operand& operand, FieldType other, uint8_t* room) {
  const RecordState& records = *session.work->records;
  const Piece piece = pieceOf(session, operand);
  auto* const digits = reinterpret_cast<char*>(room);
  if (operand.isFloatConstant() && !isFloat(operand.type)) return valueAt<double>(piece.first);
  switch (operand.type) {
    case FieldType::float32:
      return valueAt<float>(piece.first);
    case FieldType::float64:
      return valueAt<double>(piece.first);
    case FieldType::extended:
      return valueAt<long double>(piece.first);
    case FieldType::numericText: {
      const Piece number = plainNumber(records, piece, room + records.comparedRoom / 2);
      if (other == FieldType::float32) return textValue<float>(number, digits);
      if (other == FieldType::extended) return textValue<long double>(number, digits);
      return textValue<double>(number, digits);
    }
    default:
      return static_cast<long double>(integerOf(session, operand));
  }
}

Piece numericTextOf(const SortSession& session, const Operand& operand, uint8_t* room) {
  const RecordState& records = *session.work->records;
  const Piece piece = pieceOf(session, operand);
  if (operand.type == FieldType::numericText) {
    if (operand.constant != nullptr) return piece;
    const Piece number = plainNumber(records, piece, room + records.comparedRoom / 2);
    const std::string_view text(reinterpret_cast<const char*>(number.first), number.size());
    return {room, room + numericTextForm(text, room)};
  }
  char digits[24];
  const int length =
      snprintf(digits, sizeof(digits), "%lld", static_cast<long long>(integerOf(session, operand)));
  return {room, room + numericTextForm({digits, static_cast<size_t>(length)}, room)};
}

Piece decimalOf(const SortSession& session, const Operand& operand, uint8_t* room) {
  const Piece piece = pieceOf(session, operand);
  if (operand.constant != nullptr) return piece;
  return {room, room + decimalFormOf(operand.type, piece, room)};
}

uint64_t hexadecimalOf(const SortSession& session, const Operand& operand) {
  const uint8_t* const at = pieceOf(session, operand).first;
  return operand.type == FieldType::kx70float ? normalizedHexadecimal<uint32_t>(at)
                                              : normalizedHexadecimal<uint64_t>(at);
}

// ---- One condition

Order compare(SortSession& session, const Operand& left, const Operand& right) {
  const RecordState& records = *session.work->records;
  if (session.options->binary) {
    const bool leftNull = isNull(session, left, right.isNullConstant());
    const bool rightNull = isNull(session, right, false);
    if (leftNull || rightNull) return orderOf(!leftNull, !rightNull);
    const bool leftAbsent = isAbsent(session, left), rightAbsent = isAbsent(session, right);
    if (leftAbsent || rightAbsent) return orderOf(!leftAbsent, !rightAbsent);
  }
  if (left.type == FieldType::character || left.type == FieldType::dateText)
    return compareText(session, left, right);
  if (left.type == FieldType::bin || left.type == FieldType::null) return compareBits(session, left, right);
  if (isDecimalForm(left.type))
    return orderOfBytes(decimalOf(session, left, records.compared[0]),
                        decimalOf(session, right, records.compared[1]));
  if (left.type == FieldType::kx70float || left.type == FieldType::kx70double)
    return orderOf(hexadecimalOf(session, left), hexadecimalOf(session, right));
  if (isFloat(left.type) || isFloat(right.type) || right.isFloatConstant())
    return orderOf(floatOf(session, left, right.type, records.compared[0]),
                   floatOf(session, right, left.type, records.compared[1]));
  if (left.type == FieldType::numericText || right.type == FieldType::numericText)
    return orderOfBytes(numericTextOf(session, left, records.compared[0]),
                        numericTextOf(session, right, records.compared[1]));
  return orderOf(integerOf(session, left), integerOf(session, right));
}

}  // namespace

int32_t initFilter(SortSession& session) {
  RecordState& records = *session.work->records;
  int32_t longest = session.options->recordLength;
  for (const SelectCondition& condition : session.options->conditions)
    longest = std::max(longest, condition.rightConstant.length);
  // Characters of four bytes, their text, and what they sort by; or a decimal form.
  records.comparedRoom = 16 * (static_cast<size_t>(longest) + 32);
  for (uint8_t*& room : records.compared) {
    room = static_cast<uint8_t*>(session.memory.allocateBuffer(records.comparedRoom));
    if (room == nullptr) return noMemory(records.comparedRoom);
  }
  return 0;
}

bool qsxFilterOut(SortSession& session) {
  const GrowingTable<SelectCondition>& conditions = session.options->conditions;
  int32_t number = 0;
  while (number >= 0) {
    const SelectCondition& condition = conditions[number];
    const bool isField = condition.rightKind == SelectCondition::RightKind::field;
    const Operand left = {condition.left.type, &condition.left, nullptr};
    const Operand right = isField ? Operand{condition.rightRange.type, &condition.rightRange, nullptr}
                                  : Operand{condition.left.type, nullptr, &condition.rightConstant};
    number =
        holds(condition.comparison, compare(session, left, right)) ? condition.ifTrue : condition.ifFalse;
  }
  return number == SelectCondition::omit;
}

}  // namespace qrt::sort
