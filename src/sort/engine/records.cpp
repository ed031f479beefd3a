// The record scanners.
#include "sort/engine/records.h"

#include <emmintrin.h>
#include <string.h>

#include <algorithm>

#include "sort/engine/input.h"
#include "sort/engine/messages.h"
#include "sort/engine/work_state.h"

namespace qrt::sort {
namespace {

constexpr int32_t tooShort = 31, tooLong = 32, badFlength = 54, badLastField = 55,
                  badCharacter = 62;  // messages

Scan complain(const SortSession& session, int32_t number) {
  const InputRun& run = *session.work->records->run;
  message(number, run.sequence - run.sequenceBase + 1, nameOfInput(session, run));
  return Scan::failed;
}

// ---- Text

// The next line feed, or null.
inline const uint8_t* findLineFeed(const uint8_t* at, const uint8_t* limit) {
  const auto feedsAt = [](const uint8_t* bytes) {
    const __m128i sixteen = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
    return static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(sixteen, _mm_set1_epi8('\n'))));
  };
  for (; limit - at >= 32; at += 32)
    if (const uint32_t feeds = feedsAt(at) | feedsAt(at + 16) << 16; feeds != 0)
      return at + __builtin_ctz(feeds);
  for (; at < limit; ++at)
    if (*at == '\n') return at;
  return nullptr;
}

inline Scan takeLine(SortSession& session, RecordState& records, const uint8_t* at, const uint8_t* limit) {
  const uint8_t* const feed = findLineFeed(at, limit);
  if (feed == nullptr) return Scan::needsMore;
  const uint8_t* const end = feed > at && feed[-1] == '\r' ? feed - 1 : feed;
  if (end - at > session.options->recordLength) return complain(session, tooLong);
  records.begin = at;
  records.end = feed + 1;
  records.blockEnd = limit;
  records.start[session.options->largestField] = end;
  return Scan::record;
}

// The end of the field that starts at `field`: the next separator, or the end.
const uint8_t* behindSeparated(const uint8_t* field, const uint8_t* end, bool first, uint8_t separator) {
  if (!first) ++field;  // its own separator
  if (field >= end) return end;
  const void* next = memchr(field, separator, static_cast<size_t>(end - field));
  return next != nullptr ? static_cast<const uint8_t*>(next) : end;
}

// The next byte that is blank, or isn't, or the end. Bytes up to `blockEnd` may be read.
template <bool blank>
const uint8_t* findBlank(const uint8_t* at, const uint8_t* end, const uint8_t* blockEnd) {
  const __m128i space = _mm_set1_epi8(' '), tab = _mm_set1_epi8('\t');
  for (; at < end && blockEnd - at >= 16; at += 16) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
    const __m128i blanks = _mm_or_si128(_mm_cmpeq_epi8(bytes, space), _mm_cmpeq_epi8(bytes, tab));
    const auto found = static_cast<uint32_t>(_mm_movemask_epi8(blanks)) ^ (blank ? 0U : 0xFFFFU);
    if (found != 0) return std::min(at + __builtin_ctz(found), end);
  }
  while (at < end && isBlank(*at) != blank) ++at;
  return std::min(at, end);
}

const uint8_t* behindBlanksAndText(const uint8_t* field, const uint8_t* end, const uint8_t* blockEnd) {
  if (field < end && isBlank(*field)) field = findBlank<false>(field, end, blockEnd);
  return findBlank<true>(field, end, blockEnd);
}

template <typename Behind>
void markFields(RecordState& records, int32_t largestField, Behind behind) {
  const uint8_t* const end = records.start[largestField];
  const int32_t needed = std::min(records.neededFields, largestField);
  const uint8_t* at = records.begin;
  for (int32_t field = 0; field < needed; ++field) {
    records.start[field] = at;
    if (field + 1 < needed) at = behind(at, end, field == 0);
  }
}

Scan scanText(SortSession& session, const uint8_t* at, const uint8_t* limit) {
  RecordState& records = *session.work->records;
  if (const Scan scan = takeLine(session, records, at, limit); scan != Scan::record) return scan;
  const SortOptions& options = *session.options;
  if (options.separatorIsDefault) {
    markFields(records, options.largestField, [&](const uint8_t* field, const uint8_t* end, bool) {
      return behindBlanksAndText(field, end, limit);
    });
  } else {
    markFields(records, options.largestField, [&](const uint8_t* field, const uint8_t* end, bool first) {
      return behindSeparated(field, end, first, options.separator);
    });
  }
  return Scan::record;
}

// One character's worth of a walk through a line; -1 for bytes that are no character.
struct Walk {
  const platform::Collation& collation;
  const uint8_t* at;
  const uint8_t* end;

  bool ended() const { return at >= end; }
  int32_t look(int32_t& length) const { return characterAt(collation, at, end, length); }
};

Scan scanCharacters(SortSession& session, const uint8_t* at, const uint8_t* limit) {
  RecordState& records = *session.work->records;
  if (const Scan scan = takeLine(session, records, at, limit); scan != Scan::record) return scan;
  const SortOptions& options = *session.options;
  int32_t length;
  for (Walk walk{*records.collation, records.begin, records.start[options.largestField]}; !walk.ended();
       walk.at += length)
    if (walk.look(length) < 0) return complain(session, badCharacter);
  markFields(records, options.largestField, [&](const uint8_t* field, const uint8_t* end, bool first) {
    Walk walk{*records.collation, field, end};
    int32_t bytes = 1;
    if (options.separatorIsDefault) {
      for (; !walk.ended() && isBlank(walk.collation, walk.look(bytes)); walk.at += bytes) {
      }
      for (; !walk.ended() && !isBlank(walk.collation, walk.look(bytes)); walk.at += bytes) {
      }
    } else {
      if (!first && !walk.ended()) ++walk.at;
      for (; !walk.ended() && walk.look(bytes) != options.separator; walk.at += bytes) {
      }
    }
    return walk.at;
  });
  return Scan::record;
}

// ---- Binary

template <typename T>
uint32_t numberAt(const uint8_t* at) {
  T value;
  memcpy(&value, at, sizeof(value));
  return value;
}

// The length of the record at `at`, by its length field.
uint64_t prefixedLength(FieldType type, const uint8_t* at) {
  switch (type) {
    case FieldType::rlength2:
      return numberAt<uint16_t>(at);
    case FieldType::rlength2x:
      return numberAt<uint16_t>(at) + 2U;
    case FieldType::rlength4:
      return numberAt<uint32_t>(at);
    default:
      return uint64_t{numberAt<uint32_t>(at)} + 4;
  }
}

// What the walk through a format carries from a "null" or "flength" field to the field behind.
struct Pending {
  bool null = false;
  bool flength = false;
  int32_t length = 0;
};

// The last field read, at the end of a variable record: whether it may end there. `field` starts at `at`, and
// has `length` bytes by format or flength; `following` is the length of the field behind.
Scan checkLastField(const SortSession& session, const FormatField& field, bool hasFlength, const uint8_t* at,
                    int32_t length, int32_t following) {
  const int64_t left = session.work->records->end - at;
  if (hasFlength) return left == length ? Scan::record : complain(session, badFlength);
  if (left > length) return complain(session, tooLong);
  if (left < length && !isByteString(field.type)) return complain(session, tooShort);
  const bool announces = field.type == FieldType::flength || field.type == FieldType::null;
  return announces && following != 0 ? complain(session, badLastField) : Scan::record;
}

Scan walkFormat(SortSession& session, RecordState& records) {
  const SortOptions& options = *session.options;
  const int32_t count = options.format.count;
  const uint8_t* at = records.begin;
  Pending pending;
  int32_t field = 0;
  for (; field < count && at < records.end; ++field) {
    const FormatField& layout = options.format[field];
    const bool hasFlength = pending.flength;
    const int32_t length = hasFlength ? pending.length : layout.length;
    const int64_t left = records.end - at;
    records.start[field] = at;
    records.isNull[field] = pending.null && layout.type != FieldType::flength;
    records.isAbsent[field] = length == 0;
    switch (layout.type) {
      case FieldType::null:
        pending.null = *at == options.nullIndicator;
        pending.length = options.format[field + 1].length;
        break;
      case FieldType::flength:
        pending.flength = true;
        pending.length = left < layout.length ? 0 : static_cast<int32_t>(numberAt<uint16_t>(at));
        if (pending.length > options.format[field + 1].length) return complain(session, badFlength);
        break;
      default:
        pending = {};
        break;
    }
    if ((length > 0 && left <= length) || field + 1 == count) {
      if (const Scan scan = checkLastField(session, layout, hasFlength, at, length, pending.length);
          scan != Scan::record)
        return scan;
      at = records.end;
    } else {
      at += length;
    }
  }
  // What lies behind the record's end; of a field of length 0 there, the indicator has been read.
  for (; field < count; ++field) {
    records.start[field] = records.end;
    records.isNull[field] = pending.null && options.format[field].type != FieldType::flength;
    records.isAbsent[field] = true;
    if (options.format[field].type != FieldType::flength) pending = {};
  }
  records.start[count] = records.end;
  return Scan::record;
}

Scan scanFixed(SortSession& session, const uint8_t* at, const uint8_t* limit) {
  RecordState& records = *session.work->records;
  const SortOptions& options = *session.options;
  if (limit - at < options.fixedLength) return Scan::needsMore;
  records.begin = at;
  records.end = at + options.fixedLength;
  records.blockEnd = limit;
  records.start[options.format.count] = records.end;
  bool null = false;
  const int32_t needed = std::min(records.neededFields, options.format.count);
  for (int32_t field = 0; field < needed; ++field) {
    const FormatField& layout = options.format[field];
    records.start[field] = at;
    records.isNull[field] = null;
    null = layout.type == FieldType::null && *at == options.nullIndicator;
    at += layout.length;
  }
  return Scan::record;
}

Scan scanVariable(SortSession& session, const uint8_t* at, const uint8_t* limit) {
  RecordState& records = *session.work->records;
  const SortOptions& options = *session.options;
  if (limit - at < options.fixedLength) return Scan::needsMore;
  const uint64_t length = prefixedLength(options.format[0].type, at);
  if (length < static_cast<uint64_t>(options.fixedLength)) return complain(session, tooShort);
  if (length > static_cast<uint64_t>(options.recordLength) + 2) return complain(session, tooLong);
  if (static_cast<uint64_t>(limit - at) < length) return Scan::needsMore;
  records.begin = at;
  records.end = at + length;
  records.blockEnd = limit;
  return walkFormat(session, records);
}

// One field behind the last whose start is asked for.
int32_t neededFieldsOf(const SortOptions& options) {
  int32_t needed = 0;
  const auto take = [&](const SortKey& range) {
    needed = std::max(needed, range.startField + 1);
    if (range.endField < options.largestField) needed = std::max(needed, range.endField + 1);
  };
  if (options.mainFunction != MainFunction::copy)
    for (const SortKey& key : options.keys)
      if (!hasFixedPlace(options, key)) take(key);
  for (const SelectCondition& condition : options.conditions) {
    take(condition.left);
    if (condition.rightKind == SelectCondition::RightKind::field) take(condition.rightRange);
  }
  for (const ReformatItem& item : options.reformat)
    if (item.kind == ReformatItem::Kind::range) take(item.range);
  return needed;
}

}  // namespace

int32_t initRecords(SortSession& session) {
  const SortOptions& options = *session.options;
  RecordState* records = session.memory.make<RecordState>();
  if (records == nullptr) return noMemory(sizeof(RecordState));
  session.work->records = records;
  const auto rows = static_cast<size_t>(options.largestField) + 2;
  records->start = session.memory.make<const uint8_t*>(rows);
  records->isNull = session.memory.make<bool>(rows);
  records->isAbsent = session.memory.make<bool>(rows);
  if (records->start == nullptr || records->isNull == nullptr || records->isAbsent == nullptr)
    return noMemory(rows * (sizeof(uint8_t*) + 2));
  records->neededFields = neededFieldsOf(options);
  if (options.localeCollation && options.collatingTable == nullptr) {
    records->collation = platform::openCollation(options.localeName);
    if (records->collation == nullptr) return message(61, options.localeName);
  }
  if (!options.binary)
    records->scan = records->collation != nullptr ? scanCharacters : scanText;
  else
    records->scan = options.variableLength ? scanVariable : scanFixed;
  return 0;
}

void freeRecords(SortSession& session) {
  if (session.work->records != nullptr) platform::closeCollation(session.work->records->collation);
  session.work->records = nullptr;
}

// ---- Ranges

namespace {

// Steps through a record in the units that positions of a range count.
struct ByteSteps {
  const uint8_t* recordEnd;

  const uint8_t* passBlanks(const uint8_t* at) const {
    while (at < recordEnd && isBlank(*at)) ++at;
    return at;
  }
  const uint8_t* advance(const uint8_t* at, int32_t count) const { return forward(at, count, recordEnd); }
  const uint8_t* trim(const uint8_t* first, const uint8_t* end) const {
    while (end > first && isBlank(end[-1])) --end;
    return end;
  }
};

// Steps by the characters of the locale; bytes that are no character count one by one.
struct CharacterSteps {
  const platform::Collation& collation;
  const uint8_t* recordEnd;

  const uint8_t* passBlanks(const uint8_t* at) const {
    Walk walk{collation, at, recordEnd};
    for (int32_t bytes; !walk.ended() && isBlank(collation, walk.look(bytes));) walk.at += bytes;
    return walk.at;
  }
  const uint8_t* advance(const uint8_t* at, int32_t count) const {
    Walk walk{collation, at, recordEnd};
    for (int32_t bytes; count > 0 && !walk.ended(); --count) {
      walk.look(bytes);
      walk.at += bytes;
    }
    return walk.at;
  }
  const uint8_t* trim(const uint8_t* first, const uint8_t* end) const {
    const uint8_t* kept = first;
    Walk walk{collation, first, end};
    for (int32_t bytes; !walk.ended(); walk.at += bytes)
      if (!isBlank(collation, walk.look(bytes))) kept = walk.at + bytes;
    return kept;
  }
};

template <typename Steps>
Piece pieceBySteps(const SortOptions& options, const RecordState& records, const SortKey& range,
                   const Steps& steps) {
  const bool separated = !options.binary && !options.separatorIsDefault;
  const uint8_t* first = records.start[range.startField];
  if (separated && range.startField != 0) first = steps.advance(first, 1);
  if (range.blankStart) first = steps.passBlanks(first);
  first = steps.advance(first, range.startByte);

  const uint8_t* end = records.start[range.endField];
  if (range.endByte != 0 || range.blankEnd) {
    if (separated && range.endField != 0) end = steps.advance(end, 1);
    if (range.blankEnd) end = steps.passBlanks(end);
    end = steps.advance(end, range.endByte);
  }
  if (range.trimEnd) end = steps.trim(first, end);
  return {first, std::max(first, end)};
}

// Whether the range has positions within a field that count characters, not bytes.
bool countsCharacters(const SortOptions& options, const SortKey& range) {
  return options.localeCollation && options.collatingTable == nullptr && isText(range.type) &&
         (range.startByte != 0 || range.endByte != 0);
}

}  // namespace

Piece characterPiece(const SortSession& session, const SortKey& range) {
  const SortOptions& options = *session.options;
  const RecordState& records = *session.work->records;
  const uint8_t* const recordEnd = records.start[options.largestField];
  return records.collation == nullptr
             ? pieceBySteps(options, records, range, ByteSteps{recordEnd})
             : pieceBySteps(options, records, range, CharacterSteps{*records.collation, recordEnd});
}

Piece plainNumber(const RecordState& records, Piece piece, uint8_t* room) {
  if (records.collation == nullptr) return piece;
  const std::string_view point = platform::decimalPoint(*records.collation);
  const std::string_view separator = platform::digitSeparator(*records.collation);
  std::string_view rest(reinterpret_cast<const char*>(piece.first), piece.size());
  uint8_t* to = room;
  while (!rest.empty()) {
    size_t length = 1;
    auto byte = static_cast<uint8_t>(rest[0]);
    if (!point.empty() && rest.starts_with(point)) {
      byte = '.';
      length = point.size();
    } else if (!separator.empty() && rest.starts_with(separator)) {
      byte = ',';
      length = separator.size();
    } else if (byte == '.' || byte == ',') {
      byte = 0;  // in this locale it ends the number
    }
    *to++ = byte;
    rest.remove_prefix(length);
  }
  return {room, to};
}

bool isPlain(const SortOptions& options, const SortKey& range) {
  if (!isText(range.type)) return true;
  const bool separated = !options.binary && !options.separatorIsDefault;
  const bool passesSeparator =
      separated && (range.startField != 0 || (range.endField != 0 && range.endByte != 0));
  return !passesSeparator && !range.blankStart && !range.blankEnd && !range.trimEnd &&
         !countsCharacters(options, range);
}

bool hasFixedPlace(const SortOptions& options, const SortKey& range) {
  return options.binary && !options.variableLength && !range.blankStart && !range.blankEnd &&
         !range.trimEnd && !countsCharacters(options, range);
}

FixedPlace fixedPlaceOf(const SortOptions& options, const SortKey& range) {
  const auto offsetOf = [&](int32_t field) {
    return field < options.format.count ? options.format[field].offset : options.recordLength;
  };
  const int32_t first = offsetOf(range.startField) + range.startByte;
  return {first, std::max(offsetOf(range.endField) + range.endByte, first)};
}

bool isPresent(const SortOptions& options, const RecordState& records, const SortKey& range) {
  const int32_t field = range.startField;
  if (field >= options.format.count || records.isAbsent[field]) return false;
  return range.startByte == 0 || records.start[field] + range.startByte < records.start[range.barrier];
}

}  // namespace qrt::sort
