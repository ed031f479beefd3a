// SEARCH ALL. Each condition is prepared once: excess bytes of a long argument are checked and its sign is
// found. A probe then compares a key of the table as it lies there, sign first, then the digits under a mask.
#include "statement/search.h"

#include <cassert>
#include <cstring>

#include "decimal/words.h"
#include "statement/compare.h"

namespace qrt::statement {
namespace {

enum class Form : uint8_t {
  text,
  collated,
  collatedEntry,  // entries go through the collating table, arguments don't
  national,
  zoned,
  hostZoned,  // by EBCDIC rules
  zonedPairs,
  packed,
  littleEndian,
  bigEndian,
};

constexpr bool isZoned(Form form) {
  return form == Form::zoned || form == Form::hostZoned || form == Form::zonedPairs;
}
constexpr bool isBinary(Form form) {
  return form == Form::littleEndian || form == Form::bigEndian;
}
constexpr bool isNumeric(Form form) {
  return isZoned(form) || isBinary(form) || form == Form::packed;
}

struct KeyType {
  Form form;
  bool descending;
};

constexpr KeyType keyType(uint8_t type) {
  const bool descending = (type & QRT_SEARCH_ASCENDING) == 0;
  switch (type & ~QRT_SEARCH_ASCENDING) {
    case QRT_SEARCH_TEXT:
      return {Form::collated, descending};
    case QRT_SEARCH_PLAIN_TEXT:
      return {Form::text, descending};
    case QRT_SEARCH_NATIONAL:
      return {Form::national, descending};
    case QRT_SEARCH_ZONED:
      return {Form::zoned, descending};
    case QRT_SEARCH_HOST_ZONED:
      return {Form::hostZoned, descending};
    case QRT_SEARCH_ZONED_PAIRS:
      return {Form::zonedPairs, descending};
    case QRT_SEARCH_PACKED:
      return {Form::packed, descending};
    case QRT_SEARCH_BINARY:
      return {Form::littleEndian, descending};
    case QRT_SEARCH_HOST_BINARY:
      return {Form::bigEndian, descending};
    default:
      return {(type & 1) != 0 ? Form::text : Form::collatedEntry,
              type == 0x60 || type == 0x61 || type == 0x06};
  }
}

// A WHEN condition, ready for the search.
struct Condition {
  const uint8_t* argument;  // as many bytes as the key has
  uint16_t offset;          // of the key in an entry
  uint8_t length;
  Form form;
  bool descending;
  bool negative;  // the argument is a number below zero
};

// The conditions of a statement, with room for as many as one may have.
constexpr uint32_t mostKeyBytes = 256;
struct Search {
  const uint8_t* collatingTable;  // null for none
  uint32_t conditionCount;
  uint32_t changedSize;
  Condition conditions[mostKeyBytes];
  uint8_t changed[mostKeyBytes];  // text arguments that lost the zone of a sign digit
};

// Four bytes of a key, the one that counts most on top.
constexpr uint32_t wordSize = sizeof(uint32_t);
template <Form form>
inline uint32_t loadWord(const uint8_t* bytes) {
  const uint32_t word = decimal::loadWord(bytes);
  return form == Form::littleEndian ? __builtin_bswap32(word) : word;
}

// A whole key of one to three bytes, in the low bytes of a word.
template <Form form>
inline uint32_t loadFewBytes(const uint8_t* bytes, uint32_t count) {
  const uint32_t word = decimal::loadPartialWord(bytes, static_cast<int32_t>(count));
  return form == Form::littleEndian ? __builtin_bswap32(word) >> (32 - 8 * count) : word;
}

// The bits of a word of digits that count, and those of the last word, which may start at any byte.
template <Form form>
constexpr uint32_t wordMask() {
  if (form == Form::zonedPairs) return 0x0FFF0FFF;
  return isZoned(form) ? 0x0F0F0F0F : 0xFFFFFFFF;
}
template <Form form>
constexpr uint32_t lastMask(uint32_t length) {
  if (form == Form::zonedPairs && length % 2 != 0) return wordMask<form>() >> 8;
  return form == Form::packed ? 0xFFFFFFF0 : wordMask<form>();
}

constexpr int32_t orderOf(uint32_t mine, uint32_t other) {
  return mine < other ? -1 : mine > other;
}

// Compares digits, or binary numbers of the same sign, word by word. The last word overlaps the one ahead of
// it: bytes that both hold are equal by then.
template <Form form>
inline int32_t compareMagnitudes(const uint8_t* key, const uint8_t* argument, uint32_t length) {
  const uint32_t mask = lastMask<form>(length);
  if (length < wordSize)
    return orderOf(loadFewBytes<form>(key, length) & mask, loadFewBytes<form>(argument, length) & mask);
  for (uint32_t done = 0; done < length - wordSize; done += wordSize) {
    const uint32_t at = form == Form::littleEndian ? length - wordSize - done : done;
    const uint32_t mine = loadWord<form>(key + at) & wordMask<form>();
    const uint32_t other = loadWord<form>(argument + at) & wordMask<form>();
    if (mine != other) return mine < other ? -1 : 1;
  }
  const uint32_t at = form == Form::littleEndian ? 0 : length - wordSize;
  return orderOf(loadWord<form>(key + at) & mask, loadWord<form>(argument + at) & mask);
}

bool isZero(Form form, const uint8_t* key, uint32_t length) {
  const uint32_t step = form == Form::zonedPairs ? 2 : 1;
  for (uint32_t at = 0; at < length; at += step) {
    const uint8_t digits = form != Form::packed ? 0x0F : at + 1 == length ? 0xF0 : 0xFF;
    if ((key[at] & digits) != 0) return false;
  }
  return true;
}

bool hasMinusZone(Form form, uint8_t signDigit) {
  return form == Form::hostZoned ? signDigit >> 4 == 0xD : (signDigit & 0x40) != 0;
}

// Whether a key as it lies in a table is below zero.
inline bool isNegative(Form form, const uint8_t* key, uint32_t length) {
  const uint8_t last = key[length - 1];
  if (form == Form::bigEndian) return key[0] >= 0x80;
  if (form == Form::littleEndian) return last >= 0x80;
  const bool minus = form == Form::packed       ? (last & 0x0F) == 0xB || (last & 0x0F) == 0xD
                     : form == Form::zonedPairs ? hasMinusZone(form, key[(length - 1) / 2 * 2])
                                                : hasMinusZone(form, last);
  return minus && !isZero(form, key, length);
}

template <Form form>
inline int32_t compareNumber(const Condition& condition, const uint8_t* key) {
  const bool negative = isNegative(form, key, condition.length);
  if (negative != condition.negative) return negative ? -1 : 1;
  const int32_t order = compareMagnitudes<form>(key, condition.argument, condition.length);
  return negative && !isBinary(form) ? -order : order;
}

int32_t compareCollatedKey(const Condition& condition, const uint8_t* key, const uint8_t* table) {
  for (uint32_t at = 0; at < condition.length; ++at) {
    const int32_t order = table[key[at]] - condition.argument[at];
    if (order != 0) return order;
  }
  return 0;
}

template <Form form>
inline int32_t compareForm(const Condition& condition, const uint8_t* key, const uint8_t* collatingTable) {
  if constexpr (form == Form::text)
    return memcmp(key, condition.argument, condition.length);
  else if constexpr (form == Form::collated)
    return orderThroughTable(key, condition.argument, condition.length, collatingTable);
  else if constexpr (form == Form::collatedEntry)
    return compareCollatedKey(condition, key, collatingTable);
  else
    return compareNumber<form>(condition, key);
}

// Calls work.template operator()<form>() with the form as a constant; national text is compared as text.
template <typename Work>
inline int32_t withForm(Form form, Work&& work) {
  switch (form) {
    case Form::text:
    case Form::national:
      return work.template operator()<Form::text>();
    case Form::collated:
      return work.template operator()<Form::collated>();
    case Form::collatedEntry:
      return work.template operator()<Form::collatedEntry>();
    case Form::zoned:
      return work.template operator()<Form::zoned>();
    case Form::hostZoned:
      return work.template operator()<Form::hostZoned>();
    case Form::zonedPairs:
      return work.template operator()<Form::zonedPairs>();
    case Form::packed:
      return work.template operator()<Form::packed>();
    case Form::littleEndian:
      return work.template operator()<Form::littleEndian>();
    case Form::bigEndian:
      return work.template operator()<Form::bigEndian>();
  }
  return 0;
}

// What bytes of an argument that its key has no room for must be.
struct Padding {
  uint8_t bytes[2];
  uint32_t size;
};

Padding paddingOf(Form form, uint8_t type, bool negative) {
  switch (form) {
    case Form::zoned:
      return {{'0'}, 1};
    case Form::hostZoned:
      return {{0xF0}, 1};
    case Form::zonedPairs:
      return {{'0', 0}, 2};
    case Form::packed:
      return {{0x00}, 1};
    case Form::littleEndian:
    case Form::bigEndian:
      return {{static_cast<uint8_t>(negative ? 0xFF : 0x00)}, 1};
    case Form::national:
      return {{' ', 0}, 2};
    default:
      return {{static_cast<uint8_t>((type & 1) != 0 ? 0x40 : ' ')}, 1};
  }
}

// An argument of a WHEN condition without its separate sign.
struct Argument {
  const uint8_t* bytes;
  uint32_t length;
  const uint8_t* sign;       // its separate sign, or its sign digit; null for none
  const uint8_t* signDigit;  // null for none
  uint8_t signZone;          // what the zone of the sign digit is read as
};

Argument argumentOf(const QrtSearchArgument& record, uint32_t length, uint8_t flags, Form form,
                    uint8_t type) {
  Argument argument{record.whole, length, nullptr, nullptr,
                    static_cast<uint8_t>((type & 1) != 0 ? 0xF0 : 0x30)};
  const uint32_t unit = form == Form::zonedPairs || form == Form::national ? 2 : 1;
  const bool isSigned = isNumeric(form) ? isZoned(form) : (flags & 0xC0) == QRT_SEARCH_SIGNED_TEXT;
  if (!isSigned || length < unit) return argument;
  const bool leading = (flags & QRT_SEARCH_LEADING_SIGN) != 0;
  argument.sign = leading ? argument.bytes : argument.bytes + length - unit;
  if ((flags & QRT_SEARCH_SEPARATE_SIGN) == 0) {
    argument.signDigit = argument.sign;
  } else {
    argument.length -= unit;
    if (leading) argument.bytes += unit;
  }
  return argument;
}

bool isPadding(const Argument& argument, const uint8_t* excess, uint32_t size, Padding padding,
               const uint8_t* collatingTable) {
  for (uint32_t at = 0; at < size; ++at) {
    const uint8_t pad = padding.bytes[at % padding.size];
    const uint8_t byte = excess + at == argument.signDigit
                             ? static_cast<uint8_t>(argument.signZone | (excess[at] & 0x0F))
                             : excess[at];
    if (byte != pad && (collatingTable == nullptr || collatingTable[byte] != collatingTable[pad]))
      return false;
  }
  return true;
}

bool isNegativeArgument(const Argument& argument, Form form, const uint8_t* kept, uint32_t length) {
  if (!isNumeric(form) || length == 0) return false;
  if (!isZoned(form)) return isNegative(form, kept, length);
  if (argument.sign == nullptr) return false;
  const bool minus = argument.signDigit != nullptr ? hasMinusZone(form, *argument.signDigit)
                                                   : *argument.sign == (form == Form::hostZoned ? 0x60 : '-');
  return minus && !isZero(form, kept, length);
}

// A text argument whose sign digit lies in the kept part is compared without its zone.
void dropSignZone(Search& search, Condition& condition, const Argument& argument) {
  const uint32_t at = static_cast<uint32_t>(argument.signDigit - argument.bytes);
  if (at >= condition.length) return;
  uint8_t* const copy = search.changed + search.changedSize;
  search.changedSize += condition.length;
  memcpy(copy, condition.argument, condition.length);
  copy[at] = static_cast<uint8_t>(argument.signZone | (copy[at] & 0x0F));
  condition.argument = copy;
}

// Adds a condition to the search; false when no entry can match it.
bool prepare(Search& search, const QrtSearchKey& key, const QrtSearchArgument& record, uint32_t length,
             uint8_t flags) {
  const auto [form, descending] = keyType(key.type);
  const Argument argument = argumentOf(record, length, flags, form, key.type);
  const bool negative = isNegativeArgument(argument, form, record.kept, key.length);
  if (argument.length > key.length) {
    const bool leads = isNumeric(form) && form != Form::littleEndian;
    const uint8_t* const excess = leads ? argument.bytes : argument.bytes + key.length;
    if (!isPadding(argument, excess, argument.length - key.length, paddingOf(form, key.type, negative),
                   form == Form::national ? nullptr : search.collatingTable))
      return false;
  }
  if (key.length == 0) return true;
  const bool collates = form == Form::collated || form == Form::collatedEntry;
  Condition& condition = search.conditions[search.conditionCount++];
  condition = {.argument = record.kept,
               .offset = key.offset,
               .length = key.length,
               .form = collates && search.collatingTable == nullptr ? Form::text : form,
               .descending = descending,
               .negative = negative};
  if (!isNumeric(form) && argument.signDigit != nullptr) dropSignZone(search, condition, argument);
  return true;
}

bool prepareAll(Search& search, const QrtSearchControl& control, const QrtSearchArgument* arguments) {
  const auto* lengths = reinterpret_cast<const uint32_t*>(control.keys + control.keyCount);
  const auto* flags = reinterpret_cast<const uint8_t*>(lengths + control.conditionCount);
  for (uint32_t at = 0; at < control.conditionCount; ++at) {
    assert(search.conditionCount < mostKeyBytes);
    if (!prepare(search, control.keys[at], arguments[at], lengths[at], flags[at])) return false;
  }
  return true;
}

// Calls compare(entry) down the halves of the table. The offset of the first entry that it gives 0 for, or
// -1.
template <typename Compare>
inline int32_t halve(const uint8_t* table, int32_t entryCount, int32_t entrySize, Compare compare) {
  for (int32_t low = 0, high = entryCount - 1; low <= high;) {
    const int32_t middle = low + (high - low) / 2;
    const int32_t offset = middle * entrySize;
    const int32_t order = compare(table + offset);
    if (order == 0) return offset;
    if (order < 0)
      low = middle + 1;
    else
      high = middle - 1;
  }
  return -1;
}

// Below 0, 0 or above 0: the place of an entry in the table beside that of the arguments.
int32_t compareEntry(const Search& search, const uint8_t* entry) {
  for (uint32_t at = 0; at < search.conditionCount; ++at) {
    const Condition& condition = search.conditions[at];
    const int32_t order = withForm(condition.form, [&]<Form form>() {
      return compareForm<form>(condition, entry + condition.offset, search.collatingTable);
    });
    if (order != 0) return condition.descending ? -order : order;
  }
  return 0;
}

// The usual search, by one key.
int32_t searchByOne(const Condition condition, const uint8_t* collatingTable, const uint8_t* table,
                    int32_t entryCount, int32_t entrySize) {
  return withForm(condition.form, [&]<Form form>() {
    return halve(table + condition.offset, entryCount, entrySize, [&](const uint8_t* key) {
      const int32_t order = compareForm<form>(condition, key, collatingTable);
      return condition.descending ? -order : order;
    });
  });
}

const uint8_t* collatingTableOf(const void* programContext) {
  const uint8_t* table;
  memcpy(&table, static_cast<const uint8_t*>(programContext) + 28, sizeof table);
  return table;
}

}  // namespace

int32_t searchAll(const QrtSearchControl* control, const uint8_t* table, int32_t entryCount,
                  int32_t entrySize, const QrtSearchArgument* arguments, const int32_t* const* subscripts,
                  const void* programContext) {
  Search search;
  search.collatingTable = collatingTableOf(programContext);
  search.conditionCount = search.changedSize = 0;
  if (!prepareAll(search, *control, arguments)) return -1;
  for (uint32_t at = 0; at < control->subscriptCount; ++at) table += *subscripts[at];

  if (search.conditionCount == 1)
    return searchByOne(search.conditions[0], search.collatingTable, table, entryCount, entrySize);
  return halve(table, entryCount, entrySize,
               [&](const uint8_t* entry) { return compareEntry(search, entry); });
}

}  // namespace qrt::statement
