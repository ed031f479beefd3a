#include "sort/engine/sum.h"

#include <math.h>
#include <string.h>

#include <algorithm>

#include "sort/engine/messages.h"
#include "sort/engine/records.h"
#include "sort/engine/work_state.h"

namespace qrt::sort {
namespace {

constexpr int32_t sumNotAllowed = 30, shortBinaryFields = 270;  // messages
constexpr uint8_t notNull = 0;                                  // no null indicator has this value

using Field = std::span<uint8_t>;

// ---- Addition: `left` becomes the sum; false for an overflow, with `left` undefined.

template <typename T>
bool addNative(Field left, std::span<const uint8_t> right) {
  T first, second, sum;
  memcpy(&first, left.data(), sizeof(T));
  memcpy(&second, right.data(), sizeof(T));
  const bool fits = !__builtin_add_overflow(first, second, &sum);
  memcpy(left.data(), &sum, sizeof(T));
  return fits;
}

template <typename T, size_t size = sizeof(T)>
bool addFloat(Field left, std::span<const uint8_t> right) {
  T first = 0, second = 0;
  memcpy(&first, left.data(), size);
  memcpy(&second, right.data(), size);
  const T sum = first + second;
  memcpy(left.data(), &sum, size);
  return isfinite(sum);
}

// Big-endian; the carry out of the first byte.
bool addBytes(Field left, std::span<const uint8_t> right) {
  uint32_t carry = 0;
  for (size_t at = left.size(); at-- > 0; carry >>= 8) {
    carry += left[at] + uint32_t{right[at]};
    left[at] = static_cast<uint8_t>(carry);
  }
  return carry != 0;
}

bool addFixed(Field left, std::span<const uint8_t> right) {
  const bool leftNegative = left[0] >> 7, rightNegative = right[0] >> 7;
  addBytes(left, right);
  return leftNegative != rightNegative || (left[0] >> 7) == leftNegative;
}

// The digits of a decimal field, whatever lies around them: nibble `digit` from the right.
template <bool isPacked>
struct Digits {
  static size_t count(size_t bytes) { return isPacked ? 2 * bytes - 1 : bytes; }
  static uint8_t get(std::span<const uint8_t> field, size_t digit) {
    if (!isPacked) return field[field.size() - 1 - digit] & 0xF;
    const uint8_t byte = field[field.size() - 1 - (digit + 1) / 2];
    return digit % 2 == 0 ? byte >> 4 : byte & 0xF;
  }
  static void set(Field field, size_t digit, uint32_t value) {
    const bool high = isPacked && digit % 2 == 0;
    value &= 0xF;  // of nibbles that were no digits
    uint8_t& byte = field[field.size() - 1 - (isPacked ? (digit + 1) / 2 : digit)];
    byte = static_cast<uint8_t>(high ? (byte & 0xF) | value << 4 : (byte & 0xF0) | value);
  }
  static bool isNegative(std::span<const uint8_t> field) {
    const uint8_t sign = isPacked ? field.back() & 0xF : field.back() >> 4;
    return sign == 0xB || sign == 0xD || (!isPacked && sign >= 4 && sign <= 7);
  }
  static void takeSign(Field field, std::span<const uint8_t> from) {
    const uint8_t mask = isPacked ? 0x0F : 0xF0;
    field.back() = static_cast<uint8_t>((field.back() & ~mask) | (from.back() & mask));
  }
};

template <bool isPacked>
bool addDecimal(Field left, std::span<const uint8_t> right) {
  using D = Digits<isPacked>;
  const size_t count = D::count(left.size());
  const bool leftNegative = D::isNegative(left), rightNegative = D::isNegative(right);
  if (leftNegative == rightNegative) {
    uint32_t carry = 0;
    for (size_t digit = 0; digit < count; ++digit) {
      carry += D::get(left, digit) + uint32_t{D::get(right, digit)};
      D::set(left, digit, carry % 10);
      carry /= 10;
    }
    return carry == 0;
  }
  size_t differing = count;  // the highest digit in which they differ, from 1
  while (differing > 0 && D::get(left, differing - 1) == D::get(right, differing - 1)) --differing;
  const bool isZero = differing == 0;
  const bool leftIsLarger = !isZero && D::get(left, differing - 1) > D::get(right, differing - 1);
  int32_t borrow = 0;
  for (size_t digit = 0; digit < count; ++digit) {
    const int32_t difference = D::get(left, digit) - D::get(right, digit);
    const int32_t rest = (leftIsLarger || isZero ? difference : -difference) - borrow;
    borrow = rest < 0;
    D::set(left, digit, static_cast<uint32_t>(rest + 10 * borrow));
  }
  if (isZero ? leftNegative : !leftIsLarger) D::takeSign(left, right);
  return true;
}

bool add(FieldType type, Field left, std::span<const uint8_t> right) {
  switch (type) {
    case FieldType::int32:
    case FieldType::long32:
      return addNative<int32_t>(left, right);
    case FieldType::uint32:
    case FieldType::ulong32:
      return addNative<uint32_t>(left, right);
    case FieldType::int16:
      return addNative<int16_t>(left, right);
    case FieldType::uint16:
      return addNative<uint16_t>(left, right);
    case FieldType::float32:
      return addFloat<float>(left, right);
    case FieldType::float64:
      return addFloat<double>(left, right);
    case FieldType::extended:
      return addFloat<long double, 10>(left, right);
    case FieldType::bin:
      return !addBytes(left, right);
    case FieldType::fixed:
      return addFixed(left, right);
    case FieldType::packed:
      return addDecimal<true>(left, right);
    default:
      return addDecimal<false>(left, right);
  }
}

// ---- Where the fields are

// The offset of a field in a record as it was read, below 0 past its end.
int64_t offsetOf(const SortOptions& options, int32_t field, std::span<const uint8_t> record) {
  if (!options.hasFlengthFields) return options.format[field].offset;
  int64_t offset = 0;
  uint16_t length = 0;
  bool hasLength = false;
  for (int32_t at = 0; at < field; ++at) {
    const FormatField& layout = options.format[at];
    if (offset + layout.length > static_cast<int64_t>(record.size()) && !hasLength) return -1;
    const int64_t here = offset;
    offset += hasLength ? length : layout.length;
    hasLength = layout.type == FieldType::flength;
    if (hasLength) memcpy(&length, record.data() + here, sizeof(length));
  }
  return offset;
}

// A sum field in one record.
struct Place {
  int64_t offset;  // below 0 for a field that isn't there
  bool isNull;
};

Place placeAsRead(const SortOptions& options, const SumField& sum, std::span<const uint8_t> record) {
  const FormatField& layout = options.format[sum.field];
  const int64_t offset = offsetOf(options, sum.field, record);
  if (offset < 0 || offset + layout.length > static_cast<int64_t>(record.size())) return {-1, false};
  const bool null = layout.nullable && record[static_cast<size_t>(offset) - 1] == options.nullIndicator;
  return {offset, null};
}

int64_t offsetIn(const SumUse& use, std::span<const uint8_t> record) {
  return use.offset >= 0 ? use.offset : static_cast<int64_t>(record.size()) + use.offset;
}

// The place of sum field `number` in a record as it is written; the first one, where there are several.
Place placeOf(const SortSession& session, int32_t number, std::span<const uint8_t> record) {
  const SortOptions& options = *session.options;
  if (options.reformat.count == 0) return placeAsRead(options, options.sums[number], record);
  const HeldRecord& held = session.work->held;
  for (const SumUse& use : std::span(held.uses, static_cast<size_t>(held.useCount)))
    if (use.sum == number) return {offsetIn(use, record), false};
  return {-1, false};
}

struct Sides {
  std::span<uint8_t> held, record;
  std::span<uint8_t> target;  // the one that takes the sums
};

void tellOfShortField(SortSession& session) {
  if (!session.work->held.shortTold) message(shortBinaryFields);
  session.work->held.shortTold = true;
}

// The sum of one field in `value`, from those sides that have it. False for an overflow; `known` tells
// whether any side has it.
bool addOne(SortSession& session, int32_t number, const Sides& sides, Field value, bool& known) {
  const FieldType type = session.options->sums[number].type;
  const Place held = placeOf(session, number, sides.held), added = placeOf(session, number, sides.record);
  if (type == FieldType::bin && (held.offset < 0 || added.offset < 0)) tellOfShortField(session);
  const bool heldCounts = held.offset >= 0 && !held.isNull;
  const bool newCounts = added.offset >= 0 && !added.isNull;
  known = heldCounts || newCounts;
  if (!known) return true;
  const uint8_t* const first = heldCounts ? &sides.held[static_cast<size_t>(held.offset)]
                                          : &sides.record[static_cast<size_t>(added.offset)];
  memcpy(value.data(), first, value.size());
  if (!heldCounts || !newCounts) return true;
  return add(type, value, sides.record.subspan(static_cast<size_t>(added.offset), value.size()));
}

void store(const SortSession& session, int32_t number, std::span<uint8_t> record,
           std::span<const uint8_t> value) {
  const SortOptions& options = *session.options;
  const auto put = [&](int64_t offset) {
    memcpy(&record[static_cast<size_t>(offset)], value.data(), value.size());
  };
  if (options.reformat.count > 0) {
    const HeldRecord& held = session.work->held;
    for (const SumUse& use : std::span(held.uses, static_cast<size_t>(held.useCount)))
      if (use.sum == number) put(offsetIn(use, record));
    return;
  }
  const Place place = placeAsRead(options, options.sums[number], record);
  if (place.offset < 0) return;
  put(place.offset);
  if (place.isNull) record[static_cast<size_t>(place.offset) - 1] = notNull;  // it has got a value
}

// ---- Finding the fields behind a reformat

// Whether what an item gives has not the same length in all records.
bool hasVaryingLength(const SortOptions& options, const ReformatItem& item) {
  if (item.kind == ReformatItem::Kind::constant) return false;
  const SortKey& range = item.range;
  return options.format[range.startField].nullable || range.dictionary || range.printable ||
         !hasFixedPlace(options, range) || (range.fold && options.localeCollation);
}

int32_t lengthOf(const SortOptions& options, const ReformatItem& item) {
  if (item.kind == ReformatItem::Kind::constant) return item.constant.length;
  const FixedPlace place = fixedPlaceOf(options, item.range);
  return place.end - place.first;
}

// Bytes of the items from `first` on up to `end`, or -1 when that varies.
int64_t lengthOf(const SortOptions& options, int32_t first, int32_t end) {
  int64_t length = 0;
  for (int32_t item = first; item < end; ++item) {
    if (hasVaryingLength(options, options.reformat[item])) return -1;
    length += lengthOf(options, options.reformat[item]);
  }
  return length;
}

// Where a reformatted record has a sum field, by its item: counted from the end that is at a fixed distance.
// False when there is none.
bool findUse(const SortOptions& options, int32_t item, int32_t offsetInItem, int32_t& offset) {
  const int32_t lengthField = options.reformatStartsWithLength ? rowOf(options.reformatLengthField).least : 0;
  const int64_t before = lengthOf(options, 0, item);
  const int64_t behind = lengthOf(options, item, options.reformat.count);
  offset = static_cast<int32_t>(before >= 0 ? before + lengthField + offsetInItem : offsetInItem - behind);
  return before >= 0 || behind >= 0;
}

// Calls `take` with each item that has the whole field, and where in it.
template <typename Take>
void forEachItemWith(const SortOptions& options, const FormatField& field, Take take) {
  for (int32_t item = 0; item < options.reformat.count; ++item) {
    if (options.reformat[item].kind == ReformatItem::Kind::constant) continue;
    const FixedPlace place = fixedPlaceOf(options, options.reformat[item].range);
    if (place.first <= field.offset && field.endOffset <= place.end) take(item, field.offset - place.first);
  }
}

int32_t findUses(SortSession& session) {
  const SortOptions& options = *session.options;
  HeldRecord& held = session.work->held;
  size_t count = 0;
  for (const SumField& sum : options.sums)
    forEachItemWith(options, options.format[sum.field], [&](int32_t, int32_t) { ++count; });
  held.uses = session.memory.make<SumUse>(count);
  if (held.uses == nullptr) return noMemory(count * sizeof(SumUse));
  for (int32_t number = 0; number < options.sums.count; ++number) {
    bool found = true;
    const int32_t before = held.useCount;
    forEachItemWith(options, options.format[options.sums[number].field], [&](int32_t item, int32_t inItem) {
      SumUse& use = held.uses[held.useCount++];
      use.sum = number;
      found &= findUse(options, item, inItem, use.offset);
    });
    if (!found || held.useCount == before) return message(sumNotAllowed);
  }
  return 0;
}

}  // namespace

int32_t initSum(SortSession& session) {
  const SortOptions& options = *session.options;
  size_t bytes = 0;
  for (const SumField& sum : options.sums) bytes += static_cast<size_t>(options.format[sum.field].length) + 1;
  session.work->held.values = static_cast<uint8_t*>(session.memory.allocateBuffer(bytes));
  if (session.work->held.values == nullptr) return noMemory(bytes);
  return options.reformat.count > 0 ? findUses(session) : 0;
}

Summed addUp(SortSession& session, std::span<uint8_t> held, std::span<uint8_t> record) {
  const SortOptions& options = *session.options;
  const bool intoNew = options.variableLength && record.size() > held.size();
  const Sides sides = {held, record, intoNew ? record : held};
  // All sums first: an overflow leaves both records as they are.
  uint8_t* at = session.work->held.values;
  for (int32_t number = 0; number < options.sums.count; ++number) {
    const auto length = static_cast<size_t>(options.format[options.sums[number].field].length);
    bool known;
    if (!addOne(session, number, sides, {at + 1, length}, known)) return Summed::overflow;
    *at = known;
    at += length + 1;
  }
  at = session.work->held.values;
  for (int32_t number = 0; number < options.sums.count; ++number) {
    const auto length = static_cast<size_t>(options.format[options.sums[number].field].length);
    if (*at != 0) store(session, number, sides.target, {at + 1, length});
    at += length + 1;
  }
  return intoNew ? Summed::intoNew : Summed::intoHeld;
}

}  // namespace qrt::sort
