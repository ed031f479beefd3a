// The store of an indexed file.
#include "indexed_store.h"

#include <errno.h>
#include <string.h>

#include "clock.h"
#include "indexed_sql.h"

namespace qrt::plt {
namespace {

constexpr int64_t oldestBurst = 3000;        // milliseconds, of one with changes
constexpr int64_t oldestView = 1000;         // milliseconds, of one that only reads
constexpr int64_t pauseBetweenBursts = 100;  // milliseconds without a verb

StoreResult damaged(IndexedStore& store) {
  return resultOf(store, SQLITE_CORRUPT);
}

// --- Statements -------------------------------------------------------------------------------------------

// Parameters of `insert` and `replaceAll` are the columns, counted from 1.
int parameterOf(int column) {
  return column + 1;
}

// Columns of the statements that read by a key: the keys from 0 on, the rest, and the order if the key has
// one.
int restRead(const IndexedStore& store) {
  return static_cast<int>(store.keys.size());
}

int orderRead(const IndexedStore& store) {
  return restRead(store) + 1;
}

void addSelect(SqlText& sql, const IndexedStore& store, uint32_t number) {
  sql.add("SELECT ");
  for (uint32_t at = 0; at < store.keys.size(); ++at) sql.add("key%u,", at);
  sql.add("rest");
  if (store.keys[number].duplicates) sql.add(",order%u", number);
  sql.add(" FROM records WHERE ");
}

// ORDER BY of a key.
void addOrder(SqlText& sql, const IndexedStore& store, uint32_t number, const char* direction) {
  sql.add(" ORDER BY key%u%s", number, direction);
  if (store.keys[number].duplicates) sql.add(",order%u%s", number, direction);
}

int prepareEqual(IndexedStore& store, uint32_t number) {
  return prepare(store.database, store.keys[number].equal, [&](SqlText& sql) {
    addSelect(sql, store, number);
    sql.add("key%u=?1", number);
    // The one behind it tells whether the key has duplicates.
    if (store.keys[number].duplicates) sql.add(" ORDER BY order%u LIMIT 2", number);
  });
}

int prepareFrom(IndexedStore& store, uint32_t number) {
  return prepare(store.database, store.keys[number].from, [&](SqlText& sql) {
    addSelect(sql, store, number);
    sql.add("key%u>=?1", number);
    addOrder(sql, store, number, "");
  });
}

int prepareBelow(IndexedStore& store, uint32_t number) {
  return prepare(store.database, store.keys[number].below, [&](SqlText& sql) {
    addSelect(sql, store, number);
    sql.add("key%u<?1", number);
    addOrder(sql, store, number, " DESC");
    sql.add(" LIMIT 1");
  });
}

int prepareAfter(IndexedStore& store, uint32_t number) {
  return prepare(store.database, store.keys[number].after, [&](SqlText& sql) {
    addSelect(sql, store, number);
    sql.add(store.keys[number].duplicates ? "(key%u,order%u)>(?1,?2)" : "key%u>?1", number, number);
    addOrder(sql, store, number, "");
  });
}

// Gives a new record its place in the order of an alternate key, and notes whether the key is there already.
void giveOrder(sqlite3_context* context, int, sqlite3_value** arguments) {
  auto& store = *static_cast<IndexedStore*>(sqlite3_user_data(context));
  if (sqlite3_value_int(arguments[0]) != 0) store.repeated = true;
  sqlite3_result_int64(context, store.counter + 1);
}

int prepareInsert(IndexedStore& store) {
  if (store.insert != nullptr) return SQLITE_OK;
  const int code = sqlite3_create_function(store.database, "give_order", 1, SQLITE_UTF8 | SQLITE_DIRECTONLY,
                                           &store, giveOrder, nullptr, nullptr);
  if (code != SQLITE_OK) return code;
  return prepare(store.database, store.insert, [&](SqlText& sql) {
    // SQLite gives the row its number more cheaply than it takes one.
    sql.add("INSERT INTO records VALUES(NULL");
    for (int column = keyColumn(0); column < keyColumn(static_cast<uint32_t>(store.keys.size())); ++column)
      sql.add(",?%d", parameterOf(column));
    // The search is a part of the statement, for a statement of its own costs as much again.
    for (uint32_t at = 1; at < store.keys.size(); ++at)
      if (store.keys[at].duplicates)
        sql.add(",give_order(EXISTS(SELECT 1 FROM records WHERE key%u=?%d))", at, parameterOf(keyColumn(at)));
    sql.add(",?%d)", parameterOf(store.restColumn));
  });
}

int prepareReplaceAll(IndexedStore& store) {
  return prepare(store.database, store.replaceAll, [&](SqlText& sql) {
    sql.add("UPDATE records SET rest=?%d", parameterOf(store.restColumn));
    for (uint32_t number = 1; number < store.keys.size(); ++number) {
      sql.add(",key%u=?%d", number, parameterOf(keyColumn(number)));
      if (store.keys[number].duplicates)
        sql.add(",order%u=?%d", number, parameterOf(store.keys[number].orderColumn));
    }
    sql.add(" WHERE id=?1");
  });
}

// --- Bursts -----------------------------------------------------------------------------------------------

void dropCursor(IndexedStore& store) {
  if (store.cursor != nullptr) sqlite3_reset(store.cursor);
  store.cursor = nullptr;
  store.rowWaiting = false;
}

void endedBurst(IndexedStore& store) {
  store.inBurst = false;
  store.changes = 0;
}

// Every failure comes here. Some of them make SQLite take the burst back; one in which nothing has changed
// yet is given up too, so that the next verb sees the file afresh.
StoreResult failure(IndexedStore& store, int code) {
  const StoreResult result = resultOf(store, code);
  if (result == StoreResult::duplicateKey) return result;
  dropCursor(store);
  if (store.changes == 0 && sqlite3_get_autocommit(store.database) == 0) execute(store.database, "ROLLBACK");
  if (sqlite3_get_autocommit(store.database) != 0) endedBurst(store);
  return result;
}

}  // namespace

StoreResult endBurst(IndexedStore& store) {
  if (!store.inBurst) return StoreResult::done;
  dropCursor(store);
  int code = SQLITE_OK;
  if (store.changes > 0) {
    code = prepare(store.database, store.keepCounter, "UPDATE attributes SET counter=?1");
    if (code == SQLITE_OK) {
      sqlite3_bind_int64(store.keepCounter, 1, store.counter);
      code = run(store.keepCounter);
    }
  }
  if (code == SQLITE_OK) code = run(store.commit);
  if (code == SQLITE_OK) {
    endedBurst(store);
    return StoreResult::done;
  }
  store.changes = 0;
  return failure(store, code);
}

namespace {

// Starts a verb: ends a burst that has become too old, and starts one when verbs follow each other closely
// or the verb changes the file. Outside of a burst no lock outlives the verb.
StoreResult enter(IndexedStore& store, bool change) {
  errno = 0;
  const int64_t now = elapsedMilliseconds();
  const bool afterPause = now - store.lastUse > pauseBetweenBursts;
  store.lastUse = now;
  if (store.inBurst && now - store.burstBegan > (store.changes > 0 ? oldestBurst : oldestView))
    if (const StoreResult result = endBurst(store); result != StoreResult::done) return result;
  if (store.inBurst || (afterPause && !change)) return StoreResult::done;
  dropCursor(store);
  const int code = run(store.begin);
  if (code != SQLITE_OK) return failure(store, code);
  store.inBurst = true;
  store.burstBegan = now;
  // A change after a pause is nobody's burst: it is committed by itself.
  store.mayGather = !afterPause;
  return StoreResult::done;
}

// Ends a verb that has changed the file.
StoreResult changed(IndexedStore& store, StoreResult result) {
  ++store.changes;
  if (store.mayGather && store.changes < store.changesInBurst) return result;
  const StoreResult ended = endBurst(store);
  return ended == StoreResult::done ? result : ended;
}

// --- Records in rows --------------------------------------------------------------------------------------

uint32_t lengthOf(sqlite3_stmt* row, int column) {
  return static_cast<uint32_t>(sqlite3_column_bytes(row, column));
}

bool columnIs(sqlite3_stmt* row, int column, const uint8_t* bytes, uint32_t length) {
  return lengthOf(row, column) == length && memcmp(sqlite3_column_blob(row, column), bytes, length) == 0;
}

// Puts the record of a row together; false, with the area left alone, for a row that no record of this file
// can have.
bool takeRecord(const IndexedStore& store, sqlite3_stmt* row, uint8_t* record, uint32_t& length) {
  for (uint32_t number = 0; number < store.keys.size(); ++number)
    if (lengthOf(row, static_cast<int>(number)) != store.keys[number].length) return false;
  const uint32_t restLength = lengthOf(row, restRead(store));
  if (restLength < store.gapLength || restLength - store.gapLength > store.maxRecord - store.keyedLength)
    return false;
  for (uint32_t number = 0; number < store.keys.size(); ++number)
    memcpy(record + store.keys[number].offset, sqlite3_column_blob(row, static_cast<int>(number)),
           store.keys[number].length);
  const auto* rest = static_cast<const uint8_t*>(sqlite3_column_blob(row, restRead(store)));
  for (const StoreGap& gap : store.gaps) {
    memcpy(record + gap.offset, rest, gap.length);
    rest += gap.length;
  }
  const uint32_t tail = restLength - store.gapLength;
  if (tail > 0) memcpy(record + store.keyedLength, rest, tail);
  length = store.keyedLength + tail;
  return true;
}

// The bytes that no key covers; in the record itself when they are together there.
std::span<const uint8_t> restOf(const IndexedStore& store, const uint8_t* record, uint32_t length) {
  const uint32_t tail = length - store.keyedLength;
  if (store.gaps.empty()) return {record + store.keyedLength, tail};
  uint8_t* to = store.gathered;
  for (const StoreGap& gap : store.gaps) {
    memcpy(to, record + gap.offset, gap.length);
    to += gap.length;
  }
  memcpy(to, record + store.keyedLength, tail);
  return {store.gathered, store.gapLength + tail};
}

void bindRest(const IndexedStore& store, sqlite3_stmt* statement, int parameter, const uint8_t* record,
              uint32_t length) {
  const std::span<const uint8_t> rest = restOf(store, record, length);
  sqlite3_bind_blob(statement, parameter, rest.data(), static_cast<int>(rest.size()), SQLITE_STATIC);
}

// Puts the position at a row with the key, or behind it.
void positionAt(IndexedStore& store, sqlite3_stmt* row, uint32_t number, const uint8_t* bytes,
                bool inclusive) {
  const StoreKey& key = store.keys[number];
  StorePosition& position = store.position;
  memcpy(position.bytes, bytes, key.length);
  position.key = number;
  position.length = key.length;
  position.order = key.duplicates ? sqlite3_column_int64(row, orderRead(store)) : 0;
  position.inclusive = inclusive;
}

// Takes the record of a row that was read by key `number`, and puts the position behind it.
bool passRecord(IndexedStore& store, sqlite3_stmt* row, uint32_t number, uint8_t* record, uint32_t& length) {
  if (!takeRecord(store, row, record, length)) return false;
  positionAt(store, row, number, record + store.keys[number].offset, false);
  return true;
}

}  // namespace

// --- Reading ----------------------------------------------------------------------------------------------

StoreResult readEqual(IndexedStore& store, uint32_t number, uint8_t* record, uint32_t& length) {
  if (const StoreResult result = enter(store, false); result != StoreResult::done) return result;
  dropCursor(store);
  const StoreKey& key = store.keys[number];
  if (const int code = prepareEqual(store, number); code != SQLITE_OK) return failure(store, code);
  bindKey(key.equal, 1, record + key.offset, key.length);
  const int code = sqlite3_step(key.equal);
  StoreResult result = StoreResult::noRecord;
  if (code == SQLITE_ROW) {
    const bool whole = passRecord(store, key.equal, number, record, length);
    const bool more = key.duplicates && sqlite3_step(key.equal) == SQLITE_ROW;
    result = !whole ? damaged(store) : more ? StoreResult::duplicate : StoreResult::done;
  }
  const int ended = sqlite3_reset(key.equal);
  return ended == SQLITE_OK ? result : failure(store, ended);
}

namespace {

// The cursor at the position; SQLITE_OK with its first row still to come.
int placeCursor(IndexedStore& store) {
  const StorePosition& position = store.position;
  const bool ordered = store.keys[position.key].duplicates;
  const bool from = position.inclusive && !ordered;
  const int code = from ? prepareFrom(store, position.key) : prepareAfter(store, position.key);
  if (code != SQLITE_OK) return code;
  store.cursor = from ? store.keys[position.key].from : store.keys[position.key].after;
  // The position changes while the cursor goes on.
  sqlite3_bind_text(store.cursor, 1, reinterpret_cast<const char*>(position.bytes),
                    static_cast<int>(position.length), SQLITE_TRANSIENT);
  if (ordered) sqlite3_bind_int64(store.cursor, 2, position.order - (position.inclusive ? 1 : 0));
  return SQLITE_OK;
}

// Lets the cursor wait at the next row; SQLITE_ROW, or why there is none.
int advance(IndexedStore& store) {
  if (store.rowWaiting) return SQLITE_ROW;
  if (store.cursor == nullptr)
    if (const int code = placeCursor(store); code != SQLITE_OK) return code;
  const int code = sqlite3_step(store.cursor);
  store.rowWaiting = code == SQLITE_ROW;
  if (!store.rowWaiting) dropCursor(store);
  return code;
}

// Whether the next row has the position's key.
bool nextIsDuplicate(IndexedStore& store) {
  const StorePosition& position = store.position;
  return store.keys[position.key].duplicates && advance(store) == SQLITE_ROW &&
         columnIs(store.cursor, static_cast<int>(position.key), position.bytes, position.length);
}

}  // namespace

StoreResult readNext(IndexedStore& store, uint8_t* record, uint32_t& length) {
  if (const StoreResult result = enter(store, false); result != StoreResult::done) return result;
  const int code = advance(store);
  if (code == SQLITE_DONE) return StoreResult::noRecord;
  if (code != SQLITE_ROW) return failure(store, code);
  if (!passRecord(store, store.cursor, store.position.key, record, length)) {
    dropCursor(store);
    return damaged(store);
  }
  store.rowWaiting = false;
  const bool duplicate = nextIsDuplicate(store);
  if (!store.inBurst) dropCursor(store);
  return duplicate ? StoreResult::duplicate : StoreResult::done;
}

namespace {

// The lowest text above all that start with the `length` bytes, in place; its length, 0 when there is none.
uint32_t successor(uint8_t* bytes, uint32_t length) {
  while (length > 0 && bytes[length - 1] == 0xFF) --length;
  if (length > 0) ++bytes[length - 1];
  return length;
}

bool looksDown(uint8_t relation) {
  return relation == QRT_START_LESS || relation == QRT_START_NOT_GREATER;
}

// The text in store.gathered from which, or below which, a relation's records are; its length, or 0 when none
// can be. `length` is not 0.
uint32_t boundFor(IndexedStore& store, const StoreKey& key, uint8_t relation, const uint8_t* bytes,
                  uint32_t length) {
  memcpy(store.gathered, bytes, length);
  if (relation != QRT_START_GREATER && relation != QRT_START_NOT_GREATER) return length;
  const uint32_t bound = successor(store.gathered, length);
  if (bound != 0 || relation == QRT_START_GREATER) return bound;
  // Every key is below this.
  memset(store.gathered, 0xFF, key.length + 1);
  return key.length + 1;
}

// Puts the position at the row that a relation has led to.
StoreResult startAt(IndexedStore& store, sqlite3_stmt* row, uint32_t number, uint8_t relation,
                    const uint8_t* bytes, uint32_t length) {
  if (lengthOf(row, static_cast<int>(number)) != store.keys[number].length) return damaged(store);
  const auto* key = static_cast<const uint8_t*>(sqlite3_column_blob(row, static_cast<int>(number)));
  if (relation == QRT_START_EQUAL && memcmp(key, bytes, length) != 0) return StoreResult::noRecord;
  positionAt(store, row, number, key, true);
  return StoreResult::done;
}

}  // namespace

StoreResult find(IndexedStore& store, uint32_t number, uint8_t relation, const uint8_t* bytes,
                 uint32_t length) {
  if (const StoreResult result = enter(store, false); result != StoreResult::done) return result;
  dropCursor(store);
  const StoreKey& key = store.keys[number];
  const uint32_t bound = boundFor(store, key, relation, bytes, length);
  if (bound == 0) return StoreResult::noRecord;
  const bool down = looksDown(relation);
  int code = down ? prepareBelow(store, number) : prepareFrom(store, number);
  if (code != SQLITE_OK) return failure(store, code);
  sqlite3_stmt* const statement = down ? key.below : key.from;
  bindKey(statement, 1, store.gathered, bound);
  code = sqlite3_step(statement);
  const StoreResult result =
      code == SQLITE_ROW ? startAt(store, statement, number, relation, bytes, length) : resultOf(store, code);
  const int ended = sqlite3_reset(statement);
  return ended == SQLITE_OK ? result : failure(store, ended);
}

StoreResult lastPrimeKey(IndexedStore& store, uint8_t* key) {
  sqlite3_stmt* statement = nullptr;
  int code = prepare(store.database, statement, "SELECT key0 FROM records ORDER BY key0 DESC LIMIT 1");
  if (code == SQLITE_OK) code = sqlite3_step(statement);
  StoreResult result = resultOf(store, code);
  if (code == SQLITE_ROW) {
    const uint32_t length = store.keys[0].length;
    if (lengthOf(statement, 0) == length)
      memcpy(key, sqlite3_column_blob(statement, 0), length);
    else
      result = damaged(store);
  }
  sqlite3_finalize(statement);
  return result;
}

// --- Changing ---------------------------------------------------------------------------------------------

namespace {

const uint8_t* primeKeyIn(const IndexedStore& store, const uint8_t* record) {
  return record + store.keys[0].offset;
}

// Whether a record has the key; noRecord when none has.
StoreResult isTaken(IndexedStore& store, uint32_t number, const uint8_t* record) {
  StoreKey& key = store.keys[number];
  int code = prepare(store.database, key.taken,
                     [&](SqlText& sql) { sql.add("SELECT 1 FROM records WHERE key%u=?1 LIMIT 1", number); });
  if (code != SQLITE_OK) return failure(store, code);
  bindKey(key.taken, 1, record + key.offset, key.length);
  const StoreResult result = resultOf(store, sqlite3_step(key.taken));
  code = sqlite3_reset(key.taken);
  return code == SQLITE_OK ? result : failure(store, code);
}

// Adds to `result` what isTaken says of one more key; false for a failure.
bool noteTaken(IndexedStore& store, uint32_t number, const uint8_t* record, StoreResult& result) {
  const StoreResult taken = isTaken(store, number, record);
  if (taken == StoreResult::done) result = StoreResult::duplicate;
  if (taken == StoreResult::done || taken == StoreResult::noRecord) return true;
  result = taken;
  return false;
}

}  // namespace

StoreResult insertRecord(IndexedStore& store, const uint8_t* record, uint32_t length) {
  if (const StoreResult result = enter(store, true); result != StoreResult::done) return result;
  dropCursor(store);
  int code = prepareInsert(store);
  if (code != SQLITE_OK) return failure(store, code);
  for (uint32_t at = 0; at < store.keys.size(); ++at)
    bindKey(store.insert, parameterOf(keyColumn(at)), record + store.keys[at].offset, store.keys[at].length);
  bindRest(store, store.insert, parameterOf(store.restColumn), record, length);
  store.repeated = false;
  code = run(store.insert);
  if (code != SQLITE_OK) return failure(store, code);
  ++store.counter;
  return changed(store, store.repeated ? StoreResult::duplicate : StoreResult::done);
}

namespace {

int runReplaceRest(IndexedStore& store, int64_t id, const uint8_t* record, uint32_t length) {
  const int code = prepare(store.database, store.replaceRest, "UPDATE records SET rest=?1 WHERE id=?2");
  if (code != SQLITE_OK) return code;
  bindRest(store, store.replaceRest, 1, record, length);
  sqlite3_bind_int64(store.replaceRest, 2, id);
  return run(store.replaceRest);
}

// Binds the alternate keys of the new record, those that don't change with the order that the row has.
// `result` becomes `duplicate`, or a failure, for which false is returned; `same` tells whether no key
// changes.
bool bindAlternates(IndexedStore& store, sqlite3_stmt* row, const uint8_t* record, StoreResult& result,
                    bool& same) {
  same = true;
  for (uint32_t at = 1; at < store.keys.size(); ++at) {
    const StoreKey& key = store.keys[at];
    const uint8_t* const bytes = record + key.offset;
    const bool kept = columnIs(row, keyColumn(at), bytes, key.length);
    same = same && kept;
    bindKey(store.replaceAll, parameterOf(keyColumn(at)), bytes, key.length);
    if (!key.duplicates) continue;
    if (!kept && !noteTaken(store, at, record, result)) return false;
    sqlite3_bind_int64(store.replaceAll, parameterOf(key.orderColumn),
                       kept ? sqlite3_column_int64(row, key.orderColumn) : store.counter + 1);
  }
  return true;
}

// Replaces the row that `row` stands at.
StoreResult replaceRow(IndexedStore& store, sqlite3_stmt* row, const uint8_t* record, uint32_t length) {
  StoreResult result = StoreResult::done;
  bool same;
  int code = prepareReplaceAll(store);
  if (code != SQLITE_OK) return failure(store, code);
  if (!bindAlternates(store, row, record, result, same)) return result;
  const int64_t id = sqlite3_column_int64(row, 0);
  sqlite3_reset(row);
  if (same) {
    code = runReplaceRest(store, id, record, length);
  } else {
    bindRest(store, store.replaceAll, parameterOf(store.restColumn), record, length);
    sqlite3_bind_int64(store.replaceAll, 1, id);
    code = run(store.replaceAll);
    ++store.counter;
  }
  return code == SQLITE_OK ? changed(store, result) : failure(store, code);
}

}  // namespace

StoreResult replaceRecord(IndexedStore& store, const uint8_t* record, uint32_t length) {
  if (const StoreResult result = enter(store, true); result != StoreResult::done) return result;
  dropCursor(store);
  int code = prepare(store.database, store.rowToReplace, "SELECT * FROM records WHERE key0=?1");
  if (code != SQLITE_OK) return failure(store, code);
  sqlite3_stmt* const row = store.rowToReplace;
  bindKey(row, 1, primeKeyIn(store, record), store.keys[0].length);
  code = sqlite3_step(row);
  const StoreResult result =
      code == SQLITE_ROW ? replaceRow(store, row, record, length) : resultOf(store, code);
  const int ended = sqlite3_reset(row);
  return ended == SQLITE_OK ? result : failure(store, ended);
}

StoreResult eraseRecord(IndexedStore& store, const uint8_t* key) {
  if (const StoreResult result = enter(store, true); result != StoreResult::done) return result;
  dropCursor(store);
  int code = prepare(store.database, store.erase, "DELETE FROM records WHERE key0=?1");
  if (code != SQLITE_OK) return failure(store, code);
  bindKey(store.erase, 1, key, store.keys[0].length);
  code = run(store.erase);
  if (code != SQLITE_OK) return failure(store, code);
  return sqlite3_changes(store.database) != 0 ? changed(store, StoreResult::done) : StoreResult::noRecord;
}

}  // namespace qrt::plt
