// The file of an indexed store: how it is made, opened, checked and closed.
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>

#include "indexed_sql.h"
#include "indexed_store.h"

namespace qrt::plt {
namespace {

constexpr int64_t applicationId = 0x51525449;  // "QRTI"
constexpr int64_t formatVersion = 1;
constexpr uint32_t mostKeys = 255;
constexpr int lockWait = 2000;               // milliseconds that a statement waits for another process
constexpr int sqliteErrors = 10000;          // what IndexedStore::error adds to a code of SQLite's own
constexpr uint32_t mostChanges = 1'000'000;  // in a burst, unless the environment says less

}  // namespace

StoreResult resultOf(IndexedStore& store, int code) {
  int systemError = store.database != nullptr ? sqlite3_system_errno(store.database) : 0;
  // SQLite forgets it for some failed writes; each verb starts with none.
  if (systemError == 0) systemError = errno;
  store.error = sqliteErrors + code;
  switch (code & 0xFF) {
    case SQLITE_OK:
    case SQLITE_ROW:
      return StoreResult::done;
    case SQLITE_DONE:
      return StoreResult::noRecord;
    case SQLITE_CONSTRAINT:
      return StoreResult::duplicateKey;
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return StoreResult::inUse;
    case SQLITE_FULL:
      return StoreResult::full;
    case SQLITE_NOTADB:
      return StoreResult::differs;
    case SQLITE_NOMEM:
      store.error = ENOMEM;
      return StoreResult::failed;
    case SQLITE_IOERR:
    case SQLITE_CANTOPEN:
      if (systemError != 0) store.error = systemError;
      if (systemError == ENOENT && (code & 0xFF) == SQLITE_CANTOPEN) return StoreResult::absent;
      return storage::isFull(systemError) ? StoreResult::full : StoreResult::failed;
    default:
      return StoreResult::failed;
  }
}

namespace {

// --- The description --------------------------------------------------------------------------------------

std::span<const QrtFileKey> keysOf(const QrtFileDescription& description) {
  const auto* block = reinterpret_cast<const uint8_t*>(&description) + description.keyBlockOffset;
  return {reinterpret_cast<const QrtFileKey*>(block), description.keyCount};
}

bool mayRepeat(std::span<const QrtFileKey> keys, size_t number) {
  return number > 0 && (keys[number].flags & QRT_KEY_DUPLICATES) != 0;
}

bool liesInRecord(const QrtFileKey& key, uint32_t maxRecord) {
  return key.length > 0 && key.length <= maxRecord && key.offset <= maxRecord - key.length;
}

// End of the keys that cover the byte at `at` together with those that begin where another ends; `at` itself
// when no key covers it.
uint32_t coveredTo(std::span<const QrtFileKey> keys, uint32_t at) {
  for (bool more = true; more;) {
    more = false;
    for (const QrtFileKey& key : keys)
      if (key.offset <= at && key.offset + key.length > at) {
        at = key.offset + key.length;
        more = true;
      }
  }
  return at;
}

// Start of the first key behind `at`; `end` when there is none.
uint32_t nextKey(std::span<const QrtFileKey> keys, uint32_t at, uint32_t end) {
  for (const QrtFileKey& key : keys)
    if (key.offset > at) end = std::min(end, key.offset);
  return end;
}

// Takes `count` elements of the memory behind the store.
template <typename Element>
std::span<Element> take(uint8_t*& memory, size_t count) {
  auto* const elements = reinterpret_cast<Element*>(memory);
  memory += count * sizeof(Element);
  return {elements, count};
}

uint32_t longestKey(std::span<const QrtFileKey> keys) {
  uint32_t longest = 0;
  for (const QrtFileKey& key : keys) longest = std::max(longest, key.length);
  return longest;
}

void layOut(IndexedStore& store, const QrtFileDescription& description) {
  const std::span<const QrtFileKey> keys = keysOf(description);
  auto* memory = reinterpret_cast<uint8_t*>(&store + 1);
  store.keys = take<StoreKey>(memory, keys.size());
  const std::span<StoreGap> gaps = take<StoreGap>(memory, keys.size());
  store.position.bytes = take<uint8_t>(memory, longestKey(keys)).data();
  store.gathered = memory;
  store.maxRecord = description.maxRecord;
  store.restColumn = keyColumn(static_cast<uint32_t>(keys.size()));
  for (size_t at = 0; at < keys.size(); ++at) {
    StoreKey& key = store.keys[at];
    key.offset = keys[at].offset;
    key.length = keys[at].length;
    key.duplicates = mayRepeat(keys, at);
    if (key.duplicates) key.orderColumn = store.restColumn++;
    store.keyedLength = std::max(store.keyedLength, key.offset + key.length);
  }
  size_t gapCount = 0;
  for (uint32_t at = coveredTo(keys, 0); at < store.keyedLength; at = coveredTo(keys, at)) {
    const uint32_t end = nextKey(keys, at, store.keyedLength);
    gaps[gapCount++] = {at, end - at};
    store.gapLength += end - at;
    at = end;
  }
  store.gaps = gaps.first(gapCount);
}

// --- The database -----------------------------------------------------------------------------------------

// A single number that a query yields.
int query(sqlite3* database, const char* sql, int64_t& value) {
  sqlite3_stmt* statement = nullptr;
  int code = prepare(database, statement, sql);
  if (code == SQLITE_OK) code = sqlite3_step(statement);
  if (code == SQLITE_ROW) value = sqlite3_column_int64(statement, 0);
  sqlite3_finalize(statement);
  return code == SQLITE_ROW ? SQLITE_OK : code == SQLITE_DONE ? SQLITE_CORRUPT : code;
}

// A name that SQLite takes for nothing but a path.
const char* plainName(const storage::Path& path, storage::Path& buffer) {
  if (path.text[0] == '/') return path.text;
  const int length = snprintf(buffer.text, sizeof(buffer.text), "./%s", path.text);
  return length < static_cast<int>(sizeof(buffer.text)) ? buffer.text : nullptr;
}

void disconnect(IndexedStore& store) {
  sqlite3_close(store.database);
  store.database = nullptr;
}

// Changes are as durable as a burst: with bursts of one change each commit waits for the disk, otherwise the
// disk only keeps them in order.
const char* synchronous(const IndexedStore& store) {
  return store.changesInBurst == 1 ? "PRAGMA synchronous=FULL" : "PRAGMA synchronous=NORMAL";
}

int setUp(const IndexedStore& store) {
  sqlite3_extended_result_codes(store.database, 1);
  sqlite3_busy_timeout(store.database, lockWait);
  // Triggers and views that somebody has put into the file call no functions of this process.
  sqlite3_db_config(store.database, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
  const int code = execute(store.database,
                           "PRAGMA page_size=8192;"
                           "PRAGMA cache_size=-32768;"
                           "PRAGMA temp_store=MEMORY;"
                           "PRAGMA secure_delete=OFF;"
                           "PRAGMA wal_autocheckpoint=8000");
  return code == SQLITE_OK ? execute(store.database, synchronous(store)) : code;
}

StoreResult connect(IndexedStore& store, const char* name, bool mayCreate) {
  const storage::Path path(name);
  storage::Path buffer("");
  const char* const plain = plainName(path, buffer);
  if (!path.fits || plain == nullptr) {
    store.error = ENAMETOOLONG;
    return StoreResult::failed;
  }
  const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | (mayCreate ? SQLITE_OPEN_CREATE : 0);
  int code = sqlite3_open_v2(plain, &store.database, flags, nullptr);
  if (code == SQLITE_OK) code = setUp(store);
  StoreResult result = resultOf(store, code);
  if (result != StoreResult::done) disconnect(store);
  // A new file in a folder that isn't there.
  if (result == StoreResult::absent && mayCreate) result = StoreResult::failed;
  return result;
}

// What is in the file: `done` for an indexed file of this version, `absent` for nothing yet, `differs` for
// anything else.
StoreResult inspect(IndexedStore& store) {
  int64_t application = 0, version = 0, objects = 0;
  int code = query(store.database, "SELECT count(*) FROM sqlite_schema", objects);
  if (code == SQLITE_OK) code = query(store.database, "PRAGMA application_id", application);
  if (code == SQLITE_OK) code = query(store.database, "PRAGMA user_version", version);
  if (code != SQLITE_OK) return resultOf(store, code);
  if (application == 0 && objects == 0) return StoreResult::absent;
  return application == applicationId && version == formatVersion ? StoreResult::done : StoreResult::differs;
}

// Becomes the one writer of the file. The lock lies on the log beside the database, which is there as long
// as anybody has the database open; SQLite itself locks nothing in it.
StoreResult lockForChanges(IndexedStore& store) {
  if (sqlite3_db_readonly(store.database, "main") == 1) {
    store.error = EACCES;
    return StoreResult::failed;
  }
  int64_t objects;
  int code = execute(store.database, "PRAGMA journal_mode=WAL");
  if (code == SQLITE_OK) code = query(store.database, "SELECT count(*) FROM sqlite_schema", objects);
  if (code != SQLITE_OK) return resultOf(store, code);
  const storage::Path log(sqlite3_filename_wal(sqlite3_db_filename(store.database, "main")));
  store.writerLock = storage::openExisting(log, storage::Access::write);
  if (store.writerLock >= 0 && storage::lockForWriting(store.writerLock)) return StoreResult::done;
  store.error = errno;
  return store.error == EAGAIN || store.error == EACCES ? StoreResult::inUse : StoreResult::failed;
}

// Opens an existing database for changing; one that isn't a database gives `differs`.
StoreResult connectForChanges(IndexedStore& store, const char* name, bool mayCreate) {
  StoreResult result = connect(store, name, mayCreate);
  if (result != StoreResult::done) return result;
  result = inspect(store);
  // Nothing is changed in a file of somebody else's, not even its journal.
  if (result == StoreResult::done || result == StoreResult::absent) result = lockForChanges(store);
  return result == StoreResult::done ? inspect(store) : result;
}

// --- Attributes -------------------------------------------------------------------------------------------

const char* formatName(const QrtFileDescription& description) {
  return (description.recordFormat & QRT_RECORD_VARIABLE) != 0 ? "variable" : "fixed";
}

uint32_t shortestRecord(const QrtFileDescription& description) {
  return (description.recordFormat & QRT_RECORD_VARIABLE) != 0 ? description.minRecord
                                                               : description.maxRecord;
}

void addTables(SqlText& sql, const IndexedStore& store) {
  sql.add("CREATE TABLE records(id INTEGER PRIMARY KEY");
  for (uint32_t at = 0; at < store.keys.size(); ++at) sql.add(",key%u TEXT", at);
  for (uint32_t at = 0; at < store.keys.size(); ++at)
    if (store.keys[at].duplicates) sql.add(",order%u", at);
  sql.add(",rest BLOB);");
  for (uint32_t at = 0; at < store.keys.size(); ++at) {
    const bool ordered = store.keys[at].duplicates;
    sql.add("CREATE UNIQUE INDEX by_key%u ON records(key%u", at, at);
    if (ordered) sql.add(",order%u", at);
    sql.add(");");
  }
}

void addAttributes(SqlText& sql, const IndexedStore& store, const QrtFileDescription& description) {
  sql.add(
      "CREATE TABLE attributes(format TEXT,minimum INTEGER,maximum INTEGER,counter INTEGER);"
      "CREATE TABLE keys(number INTEGER PRIMARY KEY,position INTEGER,length INTEGER,duplicates INTEGER);"
      "INSERT INTO attributes VALUES('%s',%u,%u,0);",
      formatName(description), shortestRecord(description), description.maxRecord);
  for (uint32_t at = 0; at < store.keys.size(); ++at) {
    const StoreKey& key = store.keys[at];
    sql.add("INSERT INTO keys VALUES(%u,%u,%u,%d);", at, key.offset, key.length, key.duplicates ? 1 : 0);
  }
}

// Makes an empty file of the store's layout, in one transaction, of whatever the database holds.
StoreResult make(IndexedStore& store, const QrtFileDescription& description) {
  SqlText sql;
  sql.add(
      "BEGIN IMMEDIATE;"
      "DROP TABLE IF EXISTS records;DROP TABLE IF EXISTS keys;DROP TABLE IF EXISTS attributes;"
      "PRAGMA application_id=%lld;PRAGMA user_version=%lld;",
      applicationId, formatVersion);
  addTables(sql, store);
  addAttributes(sql, store, description);
  sql.add("COMMIT");
  if (const int code = execute(store.database, sql.text()); code != SQLITE_OK) return resultOf(store, code);
  // The pages of the old records go back to the system; should that fail, new records use them.
  int64_t unused = 0;
  if (query(store.database, "PRAGMA freelist_count", unused) == SQLITE_OK && unused > 0)
    execute(store.database, "VACUUM");
  return StoreResult::done;
}

bool keyIs(sqlite3_stmt* row, uint32_t number, const StoreKey& key) {
  return sqlite3_column_int64(row, 0) == number && sqlite3_column_int64(row, 1) == key.offset &&
         sqlite3_column_int64(row, 2) == key.length &&
         sqlite3_column_int64(row, 3) == (key.duplicates ? 1 : 0);
}

StoreResult checkKeys(IndexedStore& store) {
  sqlite3_stmt* row = nullptr;
  int code =
      prepare(store.database, row, "SELECT number,position,length,duplicates FROM keys ORDER BY number");
  uint32_t number = 0;
  bool same = true;
  while (code == SQLITE_OK || code == SQLITE_ROW) {
    code = sqlite3_step(row);
    if (code != SQLITE_ROW) break;
    same = same && number < store.keys.size() && keyIs(row, number, store.keys[number]);
    ++number;
  }
  sqlite3_finalize(row);
  if (code != SQLITE_DONE) return resultOf(store, code);
  return same && number == store.keys.size() ? StoreResult::done : StoreResult::differs;
}

// Checks that the file is as described, and takes the counter from it.
StoreResult checkAttributes(IndexedStore& store, const QrtFileDescription& description) {
  sqlite3_stmt* row = nullptr;
  int code = prepare(store.database, row, "SELECT format,minimum,maximum,counter FROM attributes");
  if (code == SQLITE_OK) code = sqlite3_step(row);
  bool same = false;
  if (code == SQLITE_ROW) {
    const auto* format = reinterpret_cast<const char*>(sqlite3_column_text(row, 0));
    same = format != nullptr && strcmp(format, formatName(description)) == 0 &&
           sqlite3_column_int64(row, 1) == shortestRecord(description) &&
           sqlite3_column_int64(row, 2) == description.maxRecord;
    store.counter = sqlite3_column_int64(row, 3);
  }
  sqlite3_finalize(row);
  if (code == SQLITE_DONE) return StoreResult::differs;
  if (code != SQLITE_ROW) return resultOf(store, code);
  return same ? checkKeys(store) : StoreResult::differs;
}

// --- Opening ----------------------------------------------------------------------------------------------

uint32_t changesInBurst() {
  const char* const text = getenv("QRT_INDEXED_COMMIT");
  const long given = text != nullptr ? strtol(text, nullptr, 10) : 0;
  return given > 0 ? static_cast<uint32_t>(std::min<long>(given, mostChanges)) : mostChanges;
}

// Empties a file that isn't a database.
StoreResult emptyFile(IndexedStore& store, const char* name) {
  const int file = storage::openExisting(storage::Path(name), storage::Access::write);
  const bool emptied = file >= 0 && storage::truncate(file, 0);
  store.error = errno;
  if (file >= 0) storage::close(file);
  return emptied ? StoreResult::done : StoreResult::failed;
}

void release(IndexedStore& store) {
  if (store.writerLock >= 0) storage::close(store.writerLock);
  store.writerLock = -1;
  if (store.database != nullptr) disconnect(store);
}

StoreResult replaceFile(IndexedStore& store, const char* name, const QrtFileDescription& description) {
  StoreResult result = connectForChanges(store, name, true);
  if (result == StoreResult::differs && store.error == sqliteErrors + SQLITE_NOTADB) {
    release(store);
    result = emptyFile(store, name);
    if (result == StoreResult::done) result = connectForChanges(store, name, true);
  }
  return result == StoreResult::done || result == StoreResult::absent ? make(store, description) : result;
}

StoreResult openFile(IndexedStore& store, const char* name, const QrtFileDescription& description,
                     StoreUse use, bool& created) {
  StoreResult result;
  switch (use) {
    case StoreUse::read:
      result = connect(store, name, false);
      if (result == StoreResult::done) result = inspect(store);
      break;
    case StoreUse::replace:
      return replaceFile(store, name, description);
    default:
      result = connectForChanges(store, name, use == StoreUse::create);
      created = use == StoreUse::create && result == StoreResult::absent;
      if (created) return make(store, description);
  }
  return result == StoreResult::done ? checkAttributes(store, description) : result;
}

int prepareBursts(IndexedStore& store) {
  const int code = prepare(store.database, store.begin, "BEGIN");
  return code == SQLITE_OK ? prepare(store.database, store.commit, "COMMIT") : code;
}

void finalize(sqlite3_stmt*& statement) {
  sqlite3_finalize(statement);
  statement = nullptr;
}

void finalizeStatements(IndexedStore& store) {
  for (StoreKey& key : store.keys)
    for (sqlite3_stmt** statement : {&key.equal, &key.from, &key.below, &key.after, &key.taken})
      finalize(*statement);
  for (sqlite3_stmt** statement : {&store.begin, &store.commit, &store.insert, &store.rowToReplace,
                                   &store.replaceRest, &store.replaceAll, &store.erase, &store.keepCounter})
    finalize(*statement);
}

}  // namespace

uint32_t storeMemory(const QrtFileDescription& description) {
  if (description.keyCount == 0 || description.keyCount > mostKeys) return 0;
  const std::span<const QrtFileKey> keys = keysOf(description);
  const uint32_t shortest = shortestRecord(description);
  if (shortest > description.maxRecord || description.maxRecord > INT32_MAX / 4) return 0;
  for (const QrtFileKey& key : keys)
    if (!liesInRecord(key, description.maxRecord)) return 0;
  return static_cast<uint32_t>(keys.size() * (sizeof(StoreKey) + sizeof(StoreGap))) + longestKey(keys) +
         description.maxRecord + 1;
}

StoreResult openStore(IndexedStore& store, const char* name, const QrtFileDescription& description,
                      StoreUse use, bool& created) {
  errno = 0;
  layOut(store, description);
  store.writerLock = -1;
  store.position.inclusive = true;
  store.changesInBurst = changesInBurst();
  StoreResult result = openFile(store, name, description, use, created);
  if (result == StoreResult::done) result = resultOf(store, prepareBursts(store));
  if (result == StoreResult::done) return result;
  finalizeStatements(store);
  release(store);
  return result;
}

StoreResult closeStore(IndexedStore& store) {
  errno = 0;
  const StoreResult result = endBurst(store);
  const int error = store.error;
  finalizeStatements(store);
  // The lock goes last: until then the log belongs to this writer.
  disconnect(store);
  release(store);
  store.error = error;
  return result;
}

}  // namespace qrt::plt
