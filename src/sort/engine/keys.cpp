// Key building: one function for each kind of body, chosen once for each key.
#include "sort/engine/keys.h"

#include <emmintrin.h>
#include <string.h>

#include <algorithm>
#include <array>

#include "sort/engine/messages.h"
#include "sort/engine/number_forms.h"
#include "sort/engine/work_state.h"

namespace qrt::sort {
namespace {

constexpr uint8_t present = 0x44;
constexpr int32_t unknownKeyType = 1004;  // internal error

template <typename Rule>
constexpr auto tableOf(Rule rule) {
  std::array<decltype(rule(uint8_t{})), 256> table{};
  for (int byte = 0; byte < 256; ++byte) table[static_cast<size_t>(byte)] = rule(static_cast<uint8_t>(byte));
  return table;
}

// What the bytes of a line become: none is the terminator, 0, since a line feed is never among them.
constexpr uint8_t aboveTerminator(uint8_t byte) {
  return byte < 10 ? static_cast<uint8_t>(byte + 1) : byte;
}

template <bool inLine, bool folds, bool flips>
inline constexpr auto translation = tableOf([](uint8_t byte) {
  uint8_t value = folds ? foldByte(byte) : byte;
  if (inLine) value = aboveTerminator(value);
  return flips ? static_cast<uint8_t>(~value) : value;
});

constexpr const uint8_t* translations[2][2][2] = {
    {{translation<false, false, false>.data(), translation<false, false, true>.data()},
     {translation<false, true, false>.data(), translation<false, true, true>.data()}},
    {{translation<true, false, false>.data(), translation<true, false, true>.data()},
     {translation<true, true, false>.data(), translation<true, true, true>.data()}},
};

constexpr auto dictionaryTable = tableOf(keepsDictionary);
constexpr auto printableTable = tableOf(keepsPrintable);

// ---- Bodies of character keys

// A piece no longer than what is left of the room, less what must follow.
Piece fitted(const SortSession& session, Piece piece, const uint8_t* to, ptrdiff_t behind) {
  const ptrdiff_t room = session.work->records->keyRoom - to - behind;
  if (piece.end - piece.first > room) piece.end = piece.first + std::max<ptrdiff_t>(room, 0);
  return piece;
}

uint8_t* copyBytes(const SortSession&, const KeyStep&, Piece piece, uint8_t* to) {
  memcpy(to, piece.first, piece.size());
  return to + piece.size();
}

uint8_t* complementBytes(const SortSession&, const KeyStep&, Piece piece, uint8_t* to) {
  for (const uint8_t* at = piece.first; at < piece.end; ++at) *to++ = static_cast<uint8_t>(~*at);
  return to;
}

// A field of a line without modifiers.
uint8_t* lineBytes(const SortSession&, const KeyStep&, Piece piece, uint8_t* to) {
  const __m128i highestLow = _mm_set1_epi8(9), one = _mm_set1_epi8(1);
  const uint8_t* at = piece.first;
  for (; piece.end - at >= 16; at += 16, to += 16) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
    const __m128i isLow = _mm_cmpeq_epi8(_mm_min_epu8(bytes, highestLow), bytes);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to), _mm_add_epi8(bytes, _mm_and_si128(isLow, one)));
  }
  for (; at < piece.end; ++at) *to++ = aboveTerminator(*at);
  *to++ = 0;
  return to;
}

uint8_t* translatedLine(const SortSession&, const KeyStep& step, Piece piece, uint8_t* to) {
  for (const uint8_t* at = piece.first; at < piece.end; ++at) *to++ = step.table[*at];
  *to++ = step.terminator;
  return to;
}

uint8_t* keptLine(const SortSession&, const KeyStep& step, Piece piece, uint8_t* to) {
  for (const uint8_t* at = piece.first; at < piece.end; ++at)
    if (step.keeps[*at]) *to++ = step.table[*at];
  *to++ = step.terminator;
  return to;
}

// Bytes of any value: one that equals the terminator is told from it by a 1 behind it.
template <bool drops>
uint8_t* escapedBytes(const SortSession& session, const KeyStep& step, Piece piece, uint8_t* to) {
  const uint8_t* const limit = session.work->records->keyRoom - 2;
  for (const uint8_t* at = piece.first; at < piece.end && to < limit; ++at) {
    if (drops && !step.keeps[*at]) continue;
    const uint8_t value = step.table[*at];
    *to++ = value;
    if (value == step.terminator) *to++ = 1;
  }
  *to++ = step.terminator;
  *to++ = step.terminator;
  return to;
}

uint8_t* byLocale(const SortSession& session, const KeyStep& step, Piece piece, uint8_t* to) {
  const RecordState& records = *session.work->records;
  piece = fitted(session, piece, to, 2);
  auto* const characters = reinterpret_cast<int32_t*>(records.scratch);
  const size_t count = charactersOf(*records.collation, *step.range, piece, characters);
  const auto room = static_cast<size_t>(std::max<ptrdiff_t>(records.keyRoom - to - 2, 0));
  const size_t length = sortBytes(*records.collation, characters, count,
                                  reinterpret_cast<uint8_t*>(characters + count), to, room);
  for (size_t at = 0; at < length; ++at) to[at] ^= step.flip;
  to += length;
  *to++ = step.terminator;
  *to++ = step.terminator;
  return to;
}

// ---- Bodies of bits

// The bytes of a bin range with its bits outside masked out.
uint32_t maskedBytes(const SortKey& range, Piece piece, uint8_t flip, uint8_t* to) {
  uint32_t length = piece.size();
  for (uint32_t at = 0; at < length; ++at) to[at] = piece.first[at] ^ flip;
  if (range.endBit != 0) {
    to[length] = (*piece.end ^ flip) & range.endMask;
    ++length;
  }
  if (length > 0) to[0] &= range.startMask;
  return length;
}

// The bits of the byte at the end position lie in the record where that does.
Piece withEndBits(const SortSession& session, const SortKey& range, Piece piece, bool& hasBits) {
  const uint8_t* const recordEnd = session.work->records->start[session.options->largestField];
  hasBits = range.endBit != 0 && piece.end < recordEnd;
  return piece;
}

template <bool terminated>
uint8_t* bits(const SortSession& session, const KeyStep& step, Piece piece, uint8_t* to) {
  SortKey range = *step.range;
  bool hasBits;
  piece = withEndBits(session, range, piece, hasBits);
  if (!hasBits) range.endBit = 0;
  if (!terminated) return to + maskedBytes(range, piece, step.flip, to);
  uint8_t* const masked = session.work->records->scratch;
  const uint32_t length = maskedBytes(range, piece, step.flip, masked);
  KeyStep plain = step;
  plain.table = translations[0][0][0];
  return escapedBytes<false>(session, plain, {masked, masked + length}, to);
}

// ---- Bodies of numbers

uint8_t* aligned(uint8_t* to, uint32_t boundary) {
  while (reinterpret_cast<uintptr_t>(to) % boundary != 0) *to++ = 0;
  return to;
}

template <typename T>
T valueAt(const uint8_t* at) {
  T value;
  memcpy(&value, at, sizeof(value));
  return value;
}

uint8_t* putWord(uint8_t* to, uint32_t word) {
  word = __builtin_bswap32(word);
  memcpy(to, &word, sizeof(word));
  return to + sizeof(word);
}

template <uint32_t invert>
uint8_t* word(const SortSession&, const KeyStep& step, Piece piece, uint8_t* to) {
  const uint32_t flip = step.flip != 0 ? ~0U : 0;
  return putWord(aligned(to, 4), (valueAt<uint32_t>(piece.first) ^ flip) ^ invert);
}

template <uint16_t invert>
uint8_t* halfWord(const SortSession&, const KeyStep& step, Piece piece, uint8_t* to) {
  const uint16_t flip = step.flip != 0 ? 0xFFFF : 0;
  const auto value = static_cast<uint16_t>((valueAt<uint16_t>(piece.first) ^ flip) ^ invert);
  const uint16_t swapped = __builtin_bswap16(value);
  to = aligned(to, 2);
  memcpy(to, &swapped, sizeof(swapped));
  return to + sizeof(swapped);
}

// A float's bits so that they ascend with its value: of a positive one the sign bit set, of a negative one
// all complemented.
template <typename Bits>
Bits ascending(Bits bits) {
  constexpr Bits sign = Bits{1} << (8 * sizeof(Bits) - 1);
  if (bits == sign) bits = 0;
  return (bits & sign) != 0 ? ~bits : bits | sign;
}

uint8_t* singleFloat(const SortSession&, const KeyStep& step, Piece piece, uint8_t* to) {
  const uint32_t flip = step.flip != 0 ? ~0U : 0;
  return putWord(aligned(to, 4), ascending(valueAt<uint32_t>(piece.first)) ^ flip);
}

uint8_t* doubleFloat(const SortSession&, const KeyStep& step, Piece piece, uint8_t* to) {
  const uint64_t flip = step.flip != 0 ? ~uint64_t{0} : 0;
  const uint64_t value = ascending(valueAt<uint64_t>(piece.first)) ^ flip;
  to = putWord(aligned(to, 4), static_cast<uint32_t>(value >> 32));
  return putWord(to, static_cast<uint32_t>(value));
}

uint8_t* extendedFloat(const SortSession&, const KeyStep& step, Piece piece, uint8_t* to) {
  uint64_t mantissa = valueAt<uint64_t>(piece.first);
  uint32_t head = valueAt<uint16_t>(piece.first + 8);
  constexpr uint32_t sign = 0x8000;
  if (head == sign && mantissa == 0) head = 0;
  const bool negative = (head & sign) != 0;
  head |= sign;
  if (negative != (step.flip != 0)) {
    head = ~head & 0xFFFF;
    mantissa = ~mantissa;
  }
  if (negative && step.flip != 0) head |= sign;
  to = putWord(aligned(to, 4), head);
  to = putWord(to, static_cast<uint32_t>(mantissa >> 32));
  return putWord(to, static_cast<uint32_t>(mantissa));
}

uint8_t* decimal(const SortSession&, const KeyStep& step, Piece piece, uint8_t* to) {
  const size_t length = decimalFormOf(step.range->type, piece, to);
  if (step.flip != 0)
    for (size_t at = 0; at < length; ++at) to[at] ^= 0xFF;
  return to + length;
}

template <typename Bits>
uint8_t* hexadecimalFloat(const SortSession&, const KeyStep&, Piece piece, uint8_t* to) {
  constexpr int fractionBits = 8 * sizeof(Bits) - 8;
  Bits bits = valueAt<Bits>(piece.first);
  bits = sizeof(Bits) == 4 ? static_cast<Bits>(__builtin_bswap32(static_cast<uint32_t>(bits)))
                           : static_cast<Bits>(__builtin_bswap64(bits));
  constexpr Bits fractionMask = (Bits{1} << fractionBits) - 1;
  Bits fraction = bits & fractionMask;
  auto head = static_cast<uint32_t>(bits >> fractionBits);
  if (fraction == 0) head = 0;
  while (fraction != 0 && (fraction >> (fractionBits - 4)) == 0 && (head & 0x7F) != 0) {
    fraction <<= 4;
    --head;
  }
  bits = (Bits{head} << fractionBits) | fraction;
  to = aligned(to, 4);
  if constexpr (sizeof(Bits) == 8) to = putWord(to, static_cast<uint32_t>(bits >> 32));
  return putWord(to, static_cast<uint32_t>(bits));
}

uint8_t* numericText(const SortSession& session, const KeyStep& step, Piece piece, uint8_t* to) {
  const RecordState& records = *session.work->records;
  const std::string_view text(reinterpret_cast<const char*>(piece.first), piece.size());
  const size_t length = numericTextForm(text, records.decimalPoint, records.digitSeparator, to);
  if (step.flip != 0)
    for (size_t at = 0; at < length; ++at) to[at] ^= 0xFF;
  return to + length;
}

// ---- Choosing

using Build = decltype(KeyStep::build);

Build characterBuild(const SortOptions& options, const RecordState& records, KeyStep& step) {
  const SortKey& range = *step.range;
  step.keeps = range.dictionary ? dictionaryBytes : range.printable ? printableBytes : nullptr;
  step.table = translations[!options.binary][range.fold][range.reverse];
  if (records.collation != nullptr) return byLocale;
  if (options.collatingTable != nullptr) {
    step.table = range.reverse ? records.complementedCollation : options.collatingTable;
  } else if (!options.binary) {
    if (step.keeps != nullptr) return keptLine;
    return range.fold || range.reverse ? translatedLine : lineBytes;
  } else if (!options.variableLength && step.keeps == nullptr && !range.fold && !range.blankStart &&
             !range.blankEnd && !range.trimEnd) {
    return range.reverse ? complementBytes : copyBytes;
  }
  return step.keeps != nullptr ? escapedBytes<true> : escapedBytes<false>;
}

Build buildOf(const SortOptions& options, const RecordState& records, KeyStep& step) {
  constexpr uint32_t signWord = 0x80000000U;
  constexpr uint16_t signHalf = 0x8000;
  switch (step.range->type) {
    case FieldType::character:
      return characterBuild(options, records, step);
    case FieldType::bin:
      return options.variableLength ? bits<true> : bits<false>;
    case FieldType::int32:
    case FieldType::long32:
      return word<signWord>;
    case FieldType::uint32:
    case FieldType::ulong32:
    case FieldType::rlength4:
    case FieldType::rlength4x:
      return word<0>;
    case FieldType::int16:
      return halfWord<signHalf>;
    case FieldType::uint16:
    case FieldType::rlength2:
    case FieldType::rlength2x:
    case FieldType::flength:
      return halfWord<0>;
    case FieldType::float32:
      return singleFloat;
    case FieldType::float64:
      return doubleFloat;
    case FieldType::extended:
      return extendedFloat;
    case FieldType::fixed:
    case FieldType::packed:
    case FieldType::zoned:
    case FieldType::extlss:
    case FieldType::exttss:
    case FieldType::extlns:
    case FieldType::exttns:
    case FieldType::scint:
    case FieldType::scuint:
      return decimal;
    case FieldType::kx70float:
      return hexadecimalFloat<uint32_t>;
    case FieldType::kx70double:
      return hexadecimalFloat<uint64_t>;
    case FieldType::numericText:
      return numericText;
    default:
      return nullptr;
  }
}

// Whether the key's first field is in the record with its whole start position.
bool isPresent(const RecordState& records, const SortKey& range, int32_t largestField) {
  const int32_t field = range.startField;
  if (field >= largestField || records.isAbsent[field]) return false;
  const uint8_t* const first = records.start[field] + range.startByte;
  return first < records.end && (range.startByte == 0 || first < records.start[field + 1]);
}

uint8_t* addKey(const SortSession& session, const KeyStep& step, uint8_t* to) {
  const SortOptions& options = *session.options;
  const RecordState& records = *session.work->records;
  const SortKey& range = *step.range;
  if (to >= records.keyRoom) return to;
  if (options.binary) {
    if (step.nullable) {
      const bool null = records.isNull[range.startField];
      *to++ = null ? step.nullMark : present;
      if (null) return to;
    }
    if (options.variableLength) {
      const bool there = isPresent(records, range, options.largestField);
      if (!there || step.tellsPresence) *to++ = there ? present : step.absentMark;
      if (!there) return to;
    }
  }
  const Piece piece = step.isCharacter ? characterPiece(session, range) : plainPiece(session, range);
  // Room is set aside for the worst of ordinary options; where many keys name the same bytes over and over,
  // the last ones don't count.
  if (!step.fitsItself && records.keyRoom - to < static_cast<ptrdiff_t>(piece.size()) + step.overhead)
    return to;
  return step.build(session, step, piece, to);
}

}  // namespace

const bool* const dictionaryBytes = dictionaryTable.data();
const bool* const printableBytes = printableTable.data();

size_t charactersOf(const platform::Collation& collation, const SortKey& range, Piece piece, int32_t* to) {
  size_t count = 0;
  int32_t length;
  for (const uint8_t* at = piece.first; at < piece.end; at += length) {
    int32_t character = platform::characterAt(collation, at, piece.end, length);
    if (character < 0) character = *at;
    if (range.dictionary
            ? !platform::isAlphanumeric(collation, character) && !platform::isBlank(collation, character)
            : range.printable && !platform::isPrintable(collation, character))
      continue;
    to[count++] = range.fold ? platform::foldUp(collation, character) : character;
  }
  return count;
}

// ---- Decimal forms

namespace {

// Zone nibbles of a negative number.
constexpr bool isNegativeZone(uint8_t zone) {
  return (zone >= 4 && zone <= 7) || zone == 0xB || zone == 0xD;
}

// Digit bytes as pairs, right-aligned.
size_t pairForm(bool negative, const uint8_t* digits, size_t count, uint8_t* form) {
  uint8_t pairs[128];
  const size_t bytes = (count + 1) / 2;
  size_t at = bytes;
  for (size_t left = count; left > 0; left -= std::min<size_t>(left, 2)) {
    const uint8_t low = digits[left - 1] & 0xF;
    const auto high = static_cast<uint8_t>(left > 1 ? digits[left - 2] << 4 : 0);
    pairs[--at] = static_cast<uint8_t>(high | low);
  }
  return decimalFormOfBytes(negative, pairs, bytes, form);
}

size_t packedForm(Piece piece, uint8_t* form) {
  uint8_t bytes[255];
  const size_t count = std::min<size_t>(piece.size(), sizeof(bytes));
  memcpy(bytes, piece.first, count);
  const uint8_t sign = bytes[count - 1] & 0xF;
  bytes[count - 1] &= 0xF0;
  return decimalFormOfBytes(sign == 0xB || sign == 0xD, bytes, count, form);
}

}  // namespace

size_t decimalFormOf(FieldType type, Piece piece, uint8_t* form) {
  const uint8_t* first = piece.first;
  size_t count = piece.size();
  if (count == 0) return decimalFormOfBytes(false, first, 0, form);
  uint8_t reversed[8];
  switch (type) {
    case FieldType::packed:
      return packedForm(piece, form);
    case FieldType::fixed:
      return fixedForm(first, std::min<size_t>(count, 255), form);
    case FieldType::scint:
    case FieldType::scuint:
      std::reverse_copy(first, first + sizeof(reversed), reversed);
      return type == FieldType::scint ? fixedForm(reversed, sizeof(reversed), form)
                                      : decimalFormOfBytes(false, reversed, sizeof(reversed), form);
    case FieldType::extlss:
      return pairForm(*first == '-', first + 1, count - 1, form);
    case FieldType::exttss:
      return pairForm(first[count - 1] == '-', first, count - 1, form);
    case FieldType::extlns:
      return pairForm(isNegativeZone(*first >> 4), first, count, form);
    default:
      return pairForm(isNegativeZone(first[count - 1] >> 4), first, count, form);
  }
}

// ---- The whole key

int32_t initKeys(SortSession& session) {
  const SortOptions& options = *session.options;
  RecordState& records = *session.work->records;
  const auto count = static_cast<size_t>(options.keys.count);
  const size_t scratch = 8 * (static_cast<size_t>(options.recordLength) + 16);
  records.keys = session.memory.make<KeyStep>(count);
  records.scratch = static_cast<uint8_t*>(session.memory.allocateBuffer(scratch));
  if (records.keys == nullptr || records.scratch == nullptr)
    return noMemory(count * sizeof(KeyStep) + scratch);
  if (options.collatingTable != nullptr)
    for (size_t byte = 0; byte < 256; ++byte)
      records.complementedCollation[byte] = static_cast<uint8_t>(~options.collatingTable[byte]);
  for (size_t index = 0; index < count; ++index) {
    KeyStep& step = records.keys[index];
    const SortKey& range = options.keys.rows[index];
    const FormatField* field = options.binary && range.startField < options.format.count
                                   ? &options.format[range.startField]
                                   : nullptr;
    const bool highest = range.reverse != options.nullsHighest;
    step.range = &range;
    step.flip = step.terminator = range.reverse ? 0xFF : 0;
    step.nullMark = highest ? 0xFF : 0;
    step.absentMark = range.reverse ? 0xFE : 1;
    step.nullable = field != nullptr && field->nullable;
    step.tellsPresence = field != nullptr && (field->hasFlength || range.startByte != 0);
    step.isCharacter = range.type == FieldType::character || range.type == FieldType::numericText;
    step.build = buildOf(options, records, step);
    step.fitsItself = step.build == escapedBytes<true> || step.build == escapedBytes<false> ||
                      step.build == bits<true> || step.build == byLocale;
    step.overhead = range.type == FieldType::numericText ? 6
                    : isDecimal(range.type)              ? 2
                    : step.isCharacter                   ? 1
                                                         : 3;
    if (step.build == nullptr) return internalError(unknownKeyType);
  }
  return 0;
}

uint32_t buildKey(const SortSession& session, uint8_t* to, uint32_t room, int32_t sourceNumber,
                  int64_t sequence) {
  const SortOptions& options = *session.options;
  RecordState& records = *session.work->records;
  // What a last key may run over, alignment, and the numbers that make keys different.
  const uint32_t numbers = options.mainFunction == MainFunction::merge ? 12 : 8;
  constexpr uint32_t overrun = 3, alignment = 3;
  records.keyRoom = to + room - (overrun + alignment + numbers);
  uint8_t* at = to;
  for (int32_t key = 0; key < options.keys.count; ++key) at = addKey(session, records.keys[key], at);
  at = aligned(at, 4);
  // Logical bytes into words that a little-endian machine compares.
  auto* words = reinterpret_cast<uint32_t*>(to);
  auto* const end = reinterpret_cast<uint32_t*>(at);
  for (; words < end; ++words) *words = __builtin_bswap32(*words);
  if (options.mainFunction == MainFunction::merge) *words++ = static_cast<uint32_t>(sourceNumber);
  *words++ = static_cast<uint32_t>(sequence >> 32);
  *words++ = static_cast<uint32_t>(sequence);
  return static_cast<uint32_t>(reinterpret_cast<uint8_t*>(words) - to);
}

}  // namespace qrt::sort
