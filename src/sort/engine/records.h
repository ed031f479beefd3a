// Records as they stand in a block of input: where one ends, where its fields start, and which of them are
// null or absent. Ranges of the option text are resolved over them.
#pragma once

#include <stdint.h>

#include <algorithm>

#include "platform/collation.h"
#include "sort/engine/options.h"
#include "sort/engine/session.h"

namespace qrt::sort {

struct InputRun;
struct KeyStep;

enum class Scan : uint8_t { record, needsMore, failed };

// The record scanned last, and what scanning and keys work with.
struct RecordState {
  const uint8_t* begin;
  const uint8_t* end;       // behind the last byte, that of the line end included
  const uint8_t* blockEnd;  // of the block that it stands in
  const uint8_t** start;    // of each field; [largestField] is the end of the data, in front of a line end
  bool* isNull;             // binary only
  bool* isAbsent;           // binary only: nothing of the field is in the record
  int32_t neededFields;     // fields whose start somebody asks for

  Scan (*scan)(SortSession& session, const uint8_t* at, const uint8_t* limit);
  uint32_t (*createKey)(const SortSession& session, uint8_t* to, int32_t room, int32_t sourceNumber,
                        int64_t sequence);
  KeyStep* keys;
  platform::Collation* collation;  // of the locale, null for none
  uint32_t reformatRanges;             // reformat items that are ranges
  uint32_t reformatConstants;          // bytes of all others, and of the length field
  uint8_t* keyLimit;                   // while a key is built: what its fields may not pass
  uint8_t* scratch;                    // 8 bytes for each byte of the longest record
  uint8_t* compared[2];                // the operands of a condition in their common form
  size_t comparedRoom;                 // bytes of each
  uint8_t complementedCollation[256];  // of the collating table
  const InputRun* run;                 // that the records come from, for messages
  int64_t considered;                  // with stopaft: records behind the skipped ones
};

// A piece of the record; empty when it is inverted.
struct Piece {
  const uint8_t* first;
  const uint8_t* end;

  uint32_t size() const { return static_cast<uint32_t>(end - first); }
};

// Prepares scanner and field tables; 0 or a run's code.
int32_t initRecords(SortSession& session);
void freeRecords(SortSession& session);

// The piece of the scanned record that a range of type char means: separators passed over, b, byte offsets
// and e obeyed.
Piece characterPiece(const SortSession& session, const SortKey& range);

// `bytes` further, but not beyond `end` unless it is there already.
inline const uint8_t* forward(const uint8_t* at, int32_t bytes, const uint8_t* end) {
  return end - at > bytes ? at + bytes : std::max(at, end);
}

// The piece of any other type, and of a plain range of type char: start and end position, inside of the
// record.
inline Piece plainPiece(const SortOptions& options, const RecordState& records, const SortKey& range) {
  const uint8_t* const recordEnd = records.start[options.largestField];
  const uint8_t* const first = forward(records.start[range.startField], range.startByte, recordEnd);
  const uint8_t* const end = forward(records.start[range.endField], range.endByte, recordEnd);
  return {first, std::max(first, end)};
}

// A number as text with the locale's point and separators as '.' and ','; without a locale the piece itself.
// `room` has as many bytes as the piece.
Piece plainNumber(const RecordState& records, Piece piece, uint8_t* room);

// Whether a range of the type is one of characters.
constexpr bool isText(FieldType type) {
  return type == FieldType::character || type == FieldType::numericText || type == FieldType::dateText;
}

// Whether a range has no separators and blanks to pass over.
bool isPlain(const SortOptions& options, const SortKey& range);

// Whether a range lies at the same place in all records, and where then: bytes from the record's start.
struct FixedPlace {
  int32_t first, end;
};
bool hasFixedPlace(const SortOptions& options, const SortKey& range);
FixedPlace fixedPlaceOf(const SortOptions& options, const SortKey& range);

// Whether the first byte of a range is in the scanned record, which is one of variable length.
bool isPresent(const SortOptions& options, const RecordState& records, const SortKey& range);

inline bool isBlank(uint8_t byte) {
  return byte == ' ' || byte == '\t';
}

}  // namespace qrt::sort
