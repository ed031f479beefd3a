// Keys: what a record's fields become so that plain unsigned words compare as the options ask.
#pragma once

#include "sort/engine/records.h"

namespace qrt::sort {

// How one key of the option text is built.
struct KeyStep {
  const SortKey* range;
  // Writes the body of the key for a piece of the record; returns what follows it.
  uint8_t* (*build)(const SortSession& session, const KeyStep& step, Piece piece, uint8_t* to);
  int32_t overhead;  // bytes of the body beyond those of the piece
  bool fitsItself;   // the body ends where its room does
  bool isCharacter;  // the piece is found by characterPiece
  bool nullable;
  bool tellsPresence;  // 0x44 in front of a body, in a variable record
  uint8_t nullMark;
  uint8_t absentMark;
  uint8_t flip;  // 0xFF for modifier r, else 0
  uint8_t terminator;
  const uint8_t* table;  // 256 bytes: what a byte becomes; null for itself
  const bool* keeps;     // 256: whether a byte counts; null for all
};

// Chooses the step of each key; 0 or a run's code.
int32_t initKeys(SortSession& session);

// Builds the key of the scanned record at `to`, four-byte aligned, with source and sequence number behind its
// fields. Returns its length, a multiple of 4. `room` is what the caller has set aside for it.
uint32_t buildKey(const SortSession& session, uint8_t* to, uint32_t room, int32_t sourceNumber,
                  int64_t sequence);

// The forms of number types that a compare works on as well.
size_t decimalFormOf(FieldType type, Piece piece, uint8_t* form);

// A byte folded by modifier f.
constexpr uint8_t foldByte(uint8_t byte) {
  return byte >= 'a' && byte <= 'z' ? static_cast<uint8_t>(byte - 'a' + 'A') : byte;
}

// Whether modifiers d and i keep a byte; d alone decides where both stand.
constexpr bool keepsDictionary(uint8_t byte) {
  return byte == '\t' || byte == '\n' || byte == ' ' || (byte >= '0' && byte <= '9') ||
         (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z');
}
constexpr bool keepsPrintable(uint8_t byte) {
  return byte == '\t' || byte == '\n' || (byte >= ' ' && byte <= '~');
}
extern const bool* const dictionaryBytes;
extern const bool* const printableBytes;

// The characters of a piece by the locale, with d, i and f applied; returns how many. `to` has room for one
// for each byte.
size_t charactersOf(const platform::Collation& collation, const SortKey& range, Piece piece, int32_t* to);

}  // namespace qrt::sort
