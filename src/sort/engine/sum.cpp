#include "sort/engine/sum.h"

#include <math.h>
#include <string.h>

#include <algorithm>

#include "sort/engine/messages.h"
#include "sort/engine/records.h"
#include "sort/engine/reformat.h"
#include "sort/engine/work_state.h"

namespace qrt::sort {
namespace {

constexpr int32_t shortBinaryFields = 270;  // message
constexpr uint8_t notNull = 0;              // no null indicator has this value

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

Place placeOf(const SortOptions& options, const SumField& sum, std::span<const uint8_t> record) {
  const FormatField& layout = options.format[sum.field];
  const int64_t offset = offsetOf(options, sum.field, record);
  if (offset < 0 || offset + layout.length > static_cast<int64_t>(record.size())) return {-1, false};
  const bool null = layout.nullable && record[static_cast<size_t>(offset) - 1] == options.nullIndicator;
  return {offset, null};
}

// Calls `take` with the offset of each place of the field in a reformatted record.
template <typename Take>
void forEachUse(const SortOptions& options, const SumField& sum, Take take) {
  int64_t offset = options.reformatStartsWithLength ? rowOf(options.reformatLengthField).least : 0;
  for (const ReformatItem& item : options.reformat) {
    if (item.kind == ReformatItem::Kind::constant) {
      offset += item.constant.length;
      continue;
    }
    const SortKey& range = item.range;
    const int32_t start = options.format[range.startField].offset + range.startByte;
    const int32_t end = (range.endField < options.format.count ? options.format[range.endField].offset
                                                               : options.recordLength) +
                        range.endByte;
    const FormatField& layout = options.format[sum.field];
    if (layout.offset >= start && layout.endOffset <= end) take(offset + layout.offset - start);
    offset += end - start;
  }
}

struct Sides {
  std::span<uint8_t> held, record;
  std::span<uint8_t> target;  // the longer one
};

// The sum of one field in `value`, from those sides that have it. False for an overflow; `known` tells
// whether any side has it.
bool addOne(SortSession& session, const SumField& sum, const Sides& sides, Field value, bool& known) {
  const SortOptions& options = *session.options;
  int64_t heldOffset = -1, newOffset = -1;
  bool heldCounts, newCounts;
  if (options.reformat.count > 0) {
    forEachUse(options, sum, [&](int64_t offset) {
      if (heldOffset < 0) heldOffset = newOffset = offset;
    });
    heldCounts = newCounts = heldOffset >= 0;
  } else {
    const Place held = placeOf(options, sum, sides.held), added = placeOf(options, sum, sides.record);
    if (sum.type == FieldType::bin && (held.offset < 0 || added.offset < 0) &&
        !session.work->held.shortTold) {
      message(shortBinaryFields);
      session.work->held.shortTold = true;
    }
    heldOffset = held.offset;
    newOffset = added.offset;
    heldCounts = held.offset >= 0 && !held.isNull;
    newCounts = added.offset >= 0 && !added.isNull;
  }
  known = heldCounts || newCounts;
  if (!known) return true;
  memcpy(value.data(),
         heldCounts ? &sides.held[static_cast<size_t>(heldOffset)]
                    : &sides.record[static_cast<size_t>(newOffset)],
         value.size());
  if (!heldCounts || !newCounts) return true;
  return add(sum.type, value, sides.record.subspan(static_cast<size_t>(newOffset), value.size()));
}

void store(const SortOptions& options, const SumField& sum, const Sides& sides,
           std::span<const uint8_t> value) {
  const auto put = [&](int64_t offset) {
    memcpy(&sides.target[static_cast<size_t>(offset)], value.data(), value.size());
  };
  if (options.reformat.count > 0) return forEachUse(options, sum, put);
  const Place place = placeOf(options, sum, sides.target);
  if (place.offset < 0) return;
  put(place.offset);
  if (place.isNull) sides.target[static_cast<size_t>(place.offset) - 1] = notNull;  // it has got a value
}

}  // namespace

int32_t initSum(SortSession& session) {
  const SortOptions& options = *session.options;
  const auto longest = static_cast<uint32_t>(options.recordLength);
  const auto aside =
      static_cast<size_t>(options.reformat.count > 0 ? reformatBound(options, longest) : longest + 2);
  size_t values = 0;
  for (const SumField& sum : options.sums)
    values += static_cast<size_t>(options.format[sum.field].length) + 1;
  HeldRecord& held = session.work->held;
  held.aside = static_cast<uint8_t*>(session.memory.allocateBuffer(aside));
  held.values = static_cast<uint8_t*>(session.memory.allocateBuffer(values));
  return held.aside == nullptr || held.values == nullptr ? noMemory(aside + values) : 0;
}

Summed addUp(SortSession& session, std::span<uint8_t> held, std::span<uint8_t> record) {
  const SortOptions& options = *session.options;
  const bool intoNew = record.size() > held.size();
  const Sides sides = {held, record, intoNew ? record : held};
  // All sums first: an overflow leaves both records as they are.
  uint8_t* at = session.work->held.values;
  for (const SumField& sum : options.sums) {
    const auto length = static_cast<size_t>(options.format[sum.field].length);
    bool known;
    if (!addOne(session, sum, sides, {at + 1, length}, known)) return Summed::overflow;
    *at = known;
    at += length + 1;
  }
  at = session.work->held.values;
  for (const SumField& sum : options.sums) {
    const auto length = static_cast<size_t>(options.format[sum.field].length);
    if (*at != 0) store(options, sum, sides, {at + 1, length});
    at += length + 1;
  }
  return intoNew ? Summed::intoNew : Summed::intoHeld;
}

}  // namespace qrt::sort
