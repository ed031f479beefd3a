// Key building: one function for each kind of body, chosen once for each key.
#include "sort/engine/keys.h"

#include <emmintrin.h>
#include <string.h>

#include <algorithm>
#include <array>

#include "sort/engine/entry_copy.h"
#include "sort/engine/messages.h"
#include "sort/engine/number_forms.h"
#include "sort/engine/work_state.h"

namespace qrt::sort {
namespace {

constexpr uint8_t present = 0x44;
constexpr int32_t unknownKeyType = 1004;  // internal error
constexpr int32_t terminators = 2;        // bytes behind an escaped body

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

// Whether 16 bytes at a time may be read of a piece, from its end too.
bool readsWide(const RecordState& records, Piece piece) {
  return records.blockEnd - piece.end > static_cast<ptrdiff_t>(copySlack) && piece.first != piece.end;
}

uint8_t* copyBytes(const SortSession& session, const KeyStep&, Piece piece, uint8_t* to) {
  if (readsWide(*session.work->records, piece))
    copyWithSlack(to, piece.first, piece.size());
  else
    memcpy(to, piece.first, piece.size());
  return to + piece.size();
}

// Bytes each of which becomes one other, without a terminator.
uint8_t* translatedBytes(const SortSession&, const KeyStep& step, Piece piece, uint8_t* to) {
  for (const uint8_t* at = piece.first; at < piece.end; ++at) *to++ = step.table[*at];
  return to;
}

// A field of a line without modifiers.
uint8_t* lineBytes(const SortSession& session, const KeyStep&, Piece piece, uint8_t* to) {
  if (!readsWide(*session.work->records, piece)) {
    for (const uint8_t* at = piece.first; at < piece.end; ++at) *to++ = aboveTerminator(*at);
    *to++ = 0;
    return to;
  }
  // The words that the key is read in are stored whole, with the terminator and what lies behind it.
  static constexpr uint8_t kept[32] = {255, 255, 255, 255, 255, 255, 255, 255,
                                       255, 255, 255, 255, 255, 255, 255, 255};
  const __m128i highestLow = _mm_set1_epi8(9), one = _mm_set1_epi8(1);
  const uint8_t* at = piece.first;
  for (;; at += 16, to += 16) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
    const __m128i isLow = _mm_cmpeq_epi8(_mm_min_epu8(bytes, highestLow), bytes);
    const __m128i raised = _mm_add_epi8(bytes, _mm_and_si128(isLow, one));
    const ptrdiff_t left = piece.end - at;
    if (left < 16) {
      const __m128i mask = _mm_loadu_si128(reinterpret_cast<const __m128i*>(kept + 16 - left));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(to), _mm_and_si128(raised, mask));
      return to + left + 1;
    }
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to), raised);
  }
}

uint8_t* translatedLine(const SortSession& session, const KeyStep& step, Piece piece, uint8_t* to) {
  to = translatedBytes(session, step, piece, to);
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
uint8_t* escapedBytes(const SortSession&, const KeyStep& step, Piece piece, uint8_t* to) {
  for (const uint8_t* at = piece.first; at < piece.end; ++at) {
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
  auto* const characters = reinterpret_cast<int32_t*>(records.scratch);
  const size_t count = charactersOf(*records.collation, *step.range, piece, characters);
  const auto room = static_cast<size_t>(records.keyLimit - to - terminators);
  const size_t length = sortBytes(*records.collation, characters, count,
                                  reinterpret_cast<uint8_t*>(characters + count), to, room);
  if (length >= room) return nullptr;
  for (size_t at = 0; at < length; ++at) to[at] ^= step.flip;
  to += length;
  *to++ = step.terminator;
  *to++ = step.terminator;
  return to;
}

// ---- Bodies of bits

// The bytes of a bin range with the bits outside masked out; with `hasEndBits`, those of the byte behind too.
uint32_t maskedBytes(const SortKey& range, Piece piece, bool hasEndBits, uint8_t flip, uint8_t* to) {
  uint32_t length = piece.size();
  for (uint32_t at = 0; at < length; ++at) to[at] = piece.first[at] ^ flip;
  if (hasEndBits) {
    to[length] = (*piece.end ^ flip) & range.endMask;
    ++length;
  }
  if (length > 0) to[0] &= range.startMask;
  return length;
}

template <bool terminated>
uint8_t* bits(const SortSession& session, const KeyStep& step, Piece piece, uint8_t* to) {
  const RecordState& records = *session.work->records;
  const bool hasEndBits = step.range->endBit != 0 && piece.end < records.end;
  if (!terminated) return to + maskedBytes(*step.range, piece, hasEndBits, step.flip, to);
  const uint32_t length = maskedBytes(*step.range, piece, hasEndBits, step.flip, records.scratch);
  return escapedBytes<false>(session, step, {records.scratch, records.scratch + length}, to);
}

// ---- Bodies of numbers

// Zero bytes up to the boundary, of at most 4; up to 4 bytes at `to` are written.
uint8_t* aligned(uint8_t* to, uint32_t boundary) {
  memset(to, 0, sizeof(uint32_t));
  return to + (-reinterpret_cast<uintptr_t>(to) & (boundary - 1));
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
  const uint64_t value = normalizedHexadecimal<Bits>(piece.first);
  to = aligned(to, 4);
  if constexpr (sizeof(Bits) == 8) to = putWord(to, static_cast<uint32_t>(value >> 32));
  return putWord(to, static_cast<uint32_t>(value));
}

uint8_t* numericText(const SortSession& session, const KeyStep& step, Piece piece, uint8_t* to) {
  const RecordState& records = *session.work->records;
  const Piece number = plainNumber(records, piece, records.scratch);
  const std::string_view text(reinterpret_cast<const char*>(number.first), number.size());
  const size_t length = numericTextForm(text, to);
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
  }
  if (step.atFixedPlace && step.keeps == nullptr)
    return step.table != translations[0][0][0] ? translatedBytes : copyBytes;
  return step.keeps != nullptr ? escapedBytes<true> : escapedBytes<false>;
}

Build buildOf(const SortOptions& options, const RecordState& records, KeyStep& step) {
  constexpr uint32_t signWord = 0x80000000U;
  constexpr uint16_t signHalf = 0x8000;
  switch (step.range->type) {
    case FieldType::character:
      return characterBuild(options, records, step);
    case FieldType::bin:
      step.table = translations[0][0][0];  // its bytes are complemented before their bits are masked
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

bool isEscaped(Build build) {
  return build == escapedBytes<true> || build == escapedBytes<false> || build == bits<true>;
}

// Room for a body, beyond its bytes for each byte of the piece.
int32_t overheadOf(FieldType type) {
  switch (type) {
    case FieldType::numericText:
      return 6;
    case FieldType::extended:
      return 3 + 12;
    default:
      return std::max<int32_t>({3 + 8, 2 + 8, terminators + copySlack});
  }
}

// The marks in front of a body; false when none follows.
bool addMarks(const SortOptions& options, const RecordState& records, const KeyStep& step, uint8_t*& to) {
  if (step.nullable) {
    const bool isNull = step.atFixedPlace ? records.begin[step.indicator] == options.nullIndicator
                                          : records.isNull[step.range->startField];
    *to++ = isNull ? step.nullMark : present;
    if (isNull) return false;
  }
  if (!options.variableLength) return true;
  const bool there = isPresent(options, records, *step.range);
  if (!there || step.tellsPresence) *to++ = there ? present : step.absentMark;
  return there;
}

Piece pieceOf(const SortSession& session, const KeyStep& step) {
  const RecordState& records = *session.work->records;
  if (step.atFixedPlace) return {records.begin + step.place.first, records.begin + step.place.end};
  return step.isPlain ? plainPiece(*session.options, records, *step.range)
                      : characterPiece(session, *step.range);
}

// What follows the key at `to`, or null when there is no room for it.
template <bool binary>
uint8_t* addKey(const SortSession& session, const KeyStep& step, uint8_t* to) {
  const RecordState& records = *session.work->records;
  if constexpr (binary) {
    constexpr ptrdiff_t marks = 2;
    if (records.keyLimit - to < marks) return nullptr;
    if (step.hasMarks && !addMarks(*session.options, records, step, to)) return to;
  }
  const Piece piece = pieceOf(session, step);
  const ptrdiff_t needed = static_cast<ptrdiff_t>(piece.size()) * step.perByte + step.overhead;
  return records.keyLimit - to < needed ? nullptr : step.build(session, step, piece, to);
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

// Up to eight bytes, behind zeros, as the low eight of a register.
__m128i rightAligned(const uint8_t* bytes, size_t count) {
  if (count == 8) return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(bytes));
  if (count >= 4) {
    const uint32_t head = count > 4 ? valueAt<uint32_t>(bytes) << 8 * (8 - count) : 0;
    const auto tail = valueAt<uint32_t>(bytes + count - 4);
    return _mm_unpacklo_epi32(_mm_cvtsi32_si128(static_cast<int32_t>(head)),
                              _mm_cvtsi32_si128(static_cast<int32_t>(tail)));
  }
  uint32_t tail = 0;
  for (size_t at = 0; at < count; ++at) tail |= uint32_t{bytes[at]} << 8 * (4 - count + at);
  return _mm_slli_epi64(_mm_cvtsi32_si128(static_cast<int32_t>(tail)), 32);
}

// The form of the low eight bytes, a big-endian magnitude; 10 bytes are written.
size_t formOfEight(bool negative, __m128i magnitude, uint8_t* form) {
  const __m128i isZero = _mm_cmpeq_epi8(magnitude, _mm_setzero_si128());
  const uint32_t telling = ~static_cast<uint32_t>(_mm_movemask_epi8(isZero)) & 0xFF;
  negative = negative && telling != 0;
  const int zeros = telling != 0 ? __builtin_ctz(telling) : 8;
  const uint8_t flip = negative ? 0xFF : 0;
  form[0] = negative ? 0 : 0xF0;
  form[1] = static_cast<uint8_t>((8 - zeros) ^ flip);
  magnitude = _mm_srl_epi64(magnitude, _mm_cvtsi32_si128(8 * zeros));
  magnitude = _mm_xor_si128(magnitude, _mm_set1_epi8(static_cast<char>(flip)));
  _mm_storel_epi64(reinterpret_cast<__m128i*>(form + 2), magnitude);
  return static_cast<size_t>(10 - zeros);
}

size_t formOfNumber(bool negative, uint64_t magnitude, uint8_t* form) {
  const uint64_t bytes = __builtin_bswap64(magnitude);
  return formOfEight(negative, _mm_loadl_epi64(reinterpret_cast<const __m128i*>(&bytes)), form);
}

// Digit bytes as pairs, right-aligned.
size_t pairForm(bool negative, const uint8_t* digits, size_t count, uint8_t* form) {
  if (count <= 16) {
    const size_t head = count > 8 ? count - 8 : 0;
    __m128i all = _mm_unpacklo_epi64(rightAligned(digits, head), rightAligned(digits + head, count - head));
    all = _mm_and_si128(all, _mm_set1_epi8(0xF));
    const __m128i pairs = _mm_or_si128(_mm_slli_epi16(all, 4), _mm_srli_epi16(all, 8));
    const __m128i bytes = _mm_and_si128(pairs, _mm_set1_epi16(0xFF));
    return formOfEight(negative, _mm_packus_epi16(bytes, bytes), form);
  }
  uint8_t pairs[128];
  const uint8_t* const end = digits + count;
  uint8_t* to = pairs;
  if (count % 2 != 0) *to++ = *digits++ & 0xF;
  for (; digits < end; digits += 2) *to++ = static_cast<uint8_t>(digits[0] << 4 | (digits[1] & 0xF));
  return decimalFormOfBytes(negative, pairs, static_cast<size_t>(to - pairs), form);
}

// Digits of a packed number as pairs that end with the last digit, as those of other decimals do.
size_t packedForm(Piece piece, uint8_t* form) {
  const uint8_t sign = piece.end[-1] & 0xF;
  const bool negative = sign == 0xB || sign == 0xD;
  if (piece.size() <= 8) {
    const __m128i bytes = rightAligned(piece.first, piece.size()), nibble = _mm_set1_epi8(0xF);
    const __m128i high = _mm_and_si128(_mm_srli_epi16(bytes, 4), nibble);
    const __m128i low = _mm_and_si128(_mm_slli_epi64(bytes, 8), nibble);
    return formOfEight(negative, _mm_or_si128(_mm_slli_epi16(low, 4), high), form);
  }
  uint8_t pairs[255];
  uint8_t before = 0;
  for (uint32_t at = 0; at < piece.size(); ++at) {
    pairs[at] = static_cast<uint8_t>(before << 4 | piece.first[at] >> 4);
    before = piece.first[at] & 0xF;
  }
  return decimalFormOfBytes(negative, pairs, piece.size(), form);
}

}  // namespace

size_t decimalFormOf(FieldType type, Piece piece, uint8_t* form) {
  const uint8_t* first = piece.first;
  const size_t count = piece.size();
  if (count == 0) return decimalFormOfBytes(false, first, 0, form);
  switch (type) {
    case FieldType::packed:
      return packedForm(piece, form);
    case FieldType::fixed:
      return fixedForm(first, count, form);
    case FieldType::scint: {
      const auto value = valueAt<int64_t>(first);
      const auto bits = static_cast<uint64_t>(value);
      return formOfNumber(value < 0, value < 0 ? -bits : bits, form);
    }
    case FieldType::scuint:
      return formOfNumber(false, valueAt<uint64_t>(first), form);
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

template <typename Bits>
uint64_t normalizedHexadecimal(const uint8_t* at) {
  constexpr int fractionBits = 8 * sizeof(Bits) - 8;
  uint64_t bits = 0;
  for (size_t byte = 0; byte < sizeof(Bits); ++byte) bits = bits << 8 | at[byte];
  uint64_t fraction = bits & ((uint64_t{1} << fractionBits) - 1), head = bits >> fractionBits;
  if (fraction == 0) return 0;
  for (; fraction >> (fractionBits - 4) == 0 && (head & 0x7F) != 0; --head) fraction <<= 4;
  return head << fractionBits | fraction;
}
template uint64_t normalizedHexadecimal<uint32_t>(const uint8_t* at);
template uint64_t normalizedHexadecimal<uint64_t>(const uint8_t* at);

// ---- The whole key

int32_t InitKeys(SortSession& session) {
  const SortOptions& options = *session.options;
  RecordState& records = *session.work->records;
  records.createKey = options.binary ? CreateKeyBinary : CreateKeyText;
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
    step.hasMarks = step.nullable || (options.binary && options.variableLength);
    step.isPlain = isPlain(options, range);
    step.atFixedPlace = hasFixedPlace(options, range);
    if (step.atFixedPlace) step.place = fixedPlaceOf(options, range);
    if (step.nullable) step.indicator = field->offset - 1;
    step.build = buildOf(options, records, step);
    step.perByte = isEscaped(step.build) ? 2 : step.build == byLocale ? 0 : 1;
    step.overhead = overheadOf(range.type);
    if (step.build == nullptr) return internalError(unknownKeyType);
  }
  return 0;
}

namespace {

template <bool binary>
uint32_t createKey(const SortSession& session, uint8_t* to, int32_t room, int32_t sourceNumber,
                   int64_t sequence) {
  RecordState& records = *session.work->records;
  const bool isMerge = session.options->mainFunction == MainFunction::merge;
  // Alignment, and the numbers that make keys different.
  const int32_t behind = 3 + (isMerge ? 12 : 8);
  if (room < behind) return 0;
  records.keyLimit = to + (room - behind);
  uint8_t* at = to;
  const KeyStep* const end = records.keys + session.options->keys.count;
  for (const KeyStep* step = records.keys; step < end; ++step)
    if ((at = addKey<binary>(session, *step, at)) == nullptr) return 0;
  // Logical bytes into words that a little-endian machine compares, zeros behind the last byte.
  auto* words = reinterpret_cast<uint32_t*>(to);
  auto* const wholeEnd = words + (at - to) / 4;
  for (; words < wholeEnd; ++words) *words = __builtin_bswap32(*words);
  if (const auto rest = static_cast<uint32_t>(at - to) % 4; rest != 0) {
    *words = __builtin_bswap32(*words) & ~(~0U >> 8 * rest);
    ++words;
  }
  if (isMerge) *words++ = static_cast<uint32_t>(sourceNumber);
  *words++ = static_cast<uint32_t>(sequence >> 32);
  *words++ = static_cast<uint32_t>(sequence);
  return static_cast<uint32_t>(reinterpret_cast<uint8_t*>(words) - to);
}

}  // namespace

uint32_t CreateKeyText(const SortSession& session, uint8_t* to, int32_t room, int32_t sourceNumber,
                       int64_t sequence) {
  return createKey<false>(session, to, room, sourceNumber, sequence);
}

uint32_t CreateKeyBinary(const SortSession& session, uint8_t* to, int32_t room, int32_t sourceNumber,
                         int64_t sequence) {
  return createKey<true>(session, to, room, sourceNumber, sequence);
}

}  // namespace qrt::sort
