#include "sort/engine/reformat.h"

#include <string.h>

#include "sort/engine/keys.h"
#include "sort/engine/work_state.h"

namespace qrt::sort {
namespace {

// Copies the bytes that modifiers d, i and f leave of a piece, as they make them.
uint8_t* copyModified(const SortKey& range, Piece piece, uint8_t* to) {
  const bool* const keeps = range.dictionary ? dictionaryBytes : range.printable ? printableBytes : nullptr;
  for (const uint8_t* at = piece.first; at < piece.end; ++at)
    if (keeps == nullptr || keeps[*at]) *to++ = range.fold ? foldByte(*at) : *at;
  return to;
}

// The same by the characters of the locale.
uint8_t* copyCharacters(const RecordState& records, const SortKey& range, Piece piece, uint8_t* to) {
  int32_t length;
  for (const uint8_t* at = piece.first; at < piece.end; at += length) {
    int32_t character;
    platform::characterAt(*records.collation, at, piece.end, length);
    if (charactersOf(*records.collation, range, {at, at + length}, &character) == 0) continue;
    uint8_t folded[platform::longestEncoding];
    const int32_t bytes = range.fold ? platform::encode(*records.collation, character, folded) : 0;
    const bool fits = bytes > 0 && bytes <= length;
    memcpy(to, fits ? folded : at, static_cast<size_t>(fits ? bytes : length));
    to += fits ? bytes : length;
  }
  return to;
}

bool isGone(const SortSession& session, const SortKey& range) {
  const RecordState& records = *session.work->records;
  return session.options->binary && (records.isNull[range.startField] || records.isAbsent[range.startField]);
}

uint8_t* putRange(const SortSession& session, const SortKey& range, uint8_t* to) {
  if (isGone(session, range)) return to;
  const RecordState& records = *session.work->records;
  if (!isText(range.type)) {
    const Piece piece = plainPiece(*session.options, records, range);
    memcpy(to, piece.first, piece.size());
    return to + piece.size();
  }
  const Piece piece = characterPiece(session, range);
  if (!range.dictionary && !range.printable && !range.fold) {
    memcpy(to, piece.first, piece.size());
    return to + piece.size();
  }
  return records.collation != nullptr ? copyCharacters(records, range, piece, to)
                                      : copyModified(range, piece, to);
}

void putLengthField(FieldType type, uint32_t length, uint8_t* to) {
  const bool isShort = type == FieldType::rlength2 || type == FieldType::rlength2x;
  const uint32_t size = isShort ? 2 : 4;
  const bool excludes = type == FieldType::rlength2x || type == FieldType::rlength4x;
  const uint32_t value = excludes ? length - size : length;
  memcpy(to, &value, size);
}

uint32_t lengthFieldSize(const SortOptions& options) {
  if (!options.reformatStartsWithLength) return 0;
  return rowOf(options.reformatLengthField).least;
}

}  // namespace

void initReformat(SortSession& session) {
  const SortOptions& options = *session.options;
  RecordState& records = *session.work->records;
  records.reformatConstants = lengthFieldSize(options);
  for (const ReformatItem& item : options.reformat) {
    if (item.kind == ReformatItem::Kind::range)
      ++records.reformatRanges;
    else
      records.reformatConstants += static_cast<uint32_t>(item.constant.length);
  }
}

uint32_t reformatBound(const SortSession& session, uint32_t length) {
  const RecordState& records = *session.work->records;
  return records.reformatRanges * length + records.reformatConstants;
}

uint32_t reformatRecord(const SortSession& session, uint8_t* to) {
  const SortOptions& options = *session.options;
  uint8_t* at = to + lengthFieldSize(options);
  for (const ReformatItem& item : options.reformat) {
    if (item.kind == ReformatItem::Kind::range) {
      at = putRange(session, item.range, at);
    } else {
      memcpy(at, item.constant.bytes, static_cast<size_t>(item.constant.length));
      at += item.constant.length;
    }
  }
  const auto length = static_cast<uint32_t>(at - to);
  if (options.reformatStartsWithLength) putLengthField(options.reformatLengthField, length, to);
  return length;
}

}  // namespace qrt::sort
