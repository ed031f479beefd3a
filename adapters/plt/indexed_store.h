// The store of an indexed file: one SQLite database that holds records under their keys. It knows records,
// keys and a position among them, but no verbs and no control blocks.
//
// A record lies in a row of the table `records`, cut into its keys (`key0`, the prime one, `key1`...) and
// what no key covers (`rest`), so that the keys of a row and its record can't differ. An alternate key with
// duplicates has a column of its own (`order1`...), a number from one counter for the whole file, that puts
// records with equal keys in the order in which they got them. Keys are compared as bytes.
//
// Changes are gathered in transactions, bursts of them: a burst ends when it holds so many changes or is so
// old, and at the end of the store. A process that is killed leaves the file as it was after a
// whole burst.
#pragma once

#include <qrtrlib.h>
#include <sqlite3.h>
#include <stdint.h>

#include <span>

#include "storage.h"

namespace qrt::plt {

enum class StoreResult : uint8_t {
  done,
  duplicate,     // done; another record has the same alternate key
  noRecord,      // no such record, or none behind the position
  duplicateKey,  // a key without duplicates is there already; nothing has changed
  absent,        // no file, or one that has nothing in it yet
  differs,       // the file has other attributes, or isn't an indexed file
  inUse,         // another user of the file is in the way
  full,          // the disk is full; the changes of the burst are lost
  failed,        // anything else, see IndexedStore::error; the changes of the burst may be lost
};

// One key of the file, and the statements that use it, each prepared when it is first needed.
struct StoreKey {
  uint32_t offset, length;
  bool duplicates;
  int orderColumn;              // of `records`; 0 for none
  sqlite3_stmt *equal, *from;   // records with this key; with this key or a higher one
  sqlite3_stmt *below, *after;  // highest record below a key; records behind a key, and order
  sqlite3_stmt* taken;          // whether a record has this key
};

// Bytes of a record that no key covers.
struct StoreGap {
  uint32_t offset, length;
};

// Where READ NEXT goes on.
struct StorePosition {
  uint32_t key;    // number of the key of reference
  bool inclusive;  // at the record with this key and order, else behind it
  uint32_t length;
  int64_t order;  // 0 where the key has no order
  uint8_t* bytes;
};

struct IndexedStore {
  sqlite3* database;
  int writerLock;  // descriptor that holds the lock of the one writer; -1 for none
  int error;       // of the last result `failed`: an errno value, or 10000 and SQLite's result code

  std::span<StoreKey> keys;
  std::span<StoreGap> gaps;  // between the keys; what follows the last key is the tail
  uint32_t keyedLength;      // where the last key ends: the shortest record
  uint32_t gapLength;        // of all gaps
  uint32_t maxRecord;
  int restColumn;     // of `records`
  uint8_t* gathered;  // room for the rest of a record, or for a key and one byte more

  sqlite3_stmt *begin, *commit, *insert, *rowToReplace, *replaceRest, *replaceAll, *erase, *keepCounter;
  sqlite3_stmt* cursor;  // the statement that yields the next records; null when it has to be found anew
  bool rowWaiting;       // the cursor's row hasn't been taken yet
  StorePosition position;

  bool repeated;            // the record being inserted has an alternate key that is there already
  int64_t counter;          // last number given as an order
  bool inBurst;             // a transaction is open
  uint32_t changes;         // in the burst
  int64_t burstBegan;       // milliseconds
  int64_t lastUse;          // milliseconds
  bool mayGather;           // more changes may join the burst
  uint32_t changesInBurst;  // limit of `changes`
};

enum class StoreUse : uint8_t {
  read,     // an existing file; others may read and one may change it
  change,   // an existing file; others may only read it
  create,   // the same, or a new file
  replace,  // a new file, in place of one that is there
};

// Bytes of memory behind an IndexedStore that openStore needs for the description's keys; 0 when the keys
// don't lie in the record.
uint32_t storeMemory(const QrtFileDescription& description);

// Opens `store`, all zero, with storeMemory bytes behind it. After `create`, `created` tells whether the file
// is new. A store that isn't `done` is closed.
StoreResult openStore(IndexedStore& store, const char* name, const QrtFileDescription& description,
                      StoreUse use, bool& created);

// Commits and closes. The store is closed whatever the result.
StoreResult closeStore(IndexedStore& store);

// --- Reading. Records go to `record`, of maxRecord bytes, and their length to `length`.

// The first record by key `number`, equal to the one in `record`; the position is then behind it. `duplicate`
// when the next one has the same key.
StoreResult readEqual(IndexedStore& store, uint32_t number, uint8_t* record, uint32_t& length);

// The next record by the position's key.
StoreResult readNext(IndexedStore& store, uint8_t* record, uint32_t& length);

// Puts the position at the record that stands to the first `length` bytes of `key` in one of QRT_START_*:
// with the lowest such key, or with the highest for LESS and NOT_GREATER. When there is none the position is
// as it was.
StoreResult find(IndexedStore& store, uint32_t number, uint8_t relation, const uint8_t* key, uint32_t length);

// Copies the prime key of the last record into `key`; noRecord for an empty file.
StoreResult lastPrimeKey(IndexedStore& store, uint8_t* key);

// --- Changing

// `length` is at least keyedLength in each of them. `duplicate` when an alternate key that the record gets
// is there already.
StoreResult insertRecord(IndexedStore& store, const uint8_t* record, uint32_t length);

// Replaces the record with the prime key of the new one.
StoreResult replaceRecord(IndexedStore& store, const uint8_t* record, uint32_t length);

// Deletes the record with this prime key.
StoreResult eraseRecord(IndexedStore& store, const uint8_t* key);

}  // namespace qrt::plt
