// Keys: what a record's fields become so that plain unsigned words compare as the options ask.
#pragma once

#include "sort/engine/records.h"

namespace qrt::sort {

// How one key of the option text is built.
struct KeyStep {
  const SortKey* range;
  // Writes the body of the key for a piece of the record; returns what follows it, or null when it doesn't
  // fit.
  uint8_t* (*build)(const SortSession& session, const KeyStep& step, Piece piece, uint8_t* to);
  int32_t perByte;   // room that the body takes for each byte of the piece
  int32_t overhead;  // and beyond that, with what it may overwrite behind its end
  bool atFixedPlace;
  FixedPlace place;
  int32_t indicator;  // nullable and at a fixed place: the null indicator, from the record's start
  bool isPlain;       // the piece is found by plainPiece
  bool hasMarks;      // there may be a mark in front of the body, or in its place
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
int32_t InitKeys(SortSession& session);

// Builds the key of the scanned record at `to`, four-byte aligned, with source and sequence number behind its
// fields. Returns its length, a multiple of 4, or 0 when it doesn't fit in `room`, none of which it leaves.
uint32_t CreateKeyText(const SortSession& session, uint8_t* to, int32_t room, int32_t sourceNumber,
                       int64_t sequence);
uint32_t CreateKeyBinary(const SortSession& session, uint8_t* to, int32_t room, int32_t sourceNumber,
                         int64_t sequence);

// What a compare of numbers works on as well. The decimal form of a field of any decimal type, its digits in
// pairs that end with the last digit; `form` has room for longestDecimalForm.
size_t decimalFormOf(FieldType type, Piece piece, uint8_t* form);

// The host's hexadecimal float at `at`, of 4 or 8 bytes by `Bits`, big-endian, without leading zero digits in
// its fraction as far as its exponent allows.
template <typename Bits>
uint64_t normalizedHexadecimal(const uint8_t* at);

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
