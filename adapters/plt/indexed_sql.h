// SQLite as the store of indexed files uses it: texts, statements that live on, results.
#pragma once

#include <sqlite3.h>
#include <stdint.h>

#include "indexed_store.h"

namespace qrt::plt {

// What a code of SQLite means to the store; sets store.error.
StoreResult resultOf(IndexedStore& store, int code);

// Ends the burst: commits it if it has changes.
StoreResult endBurst(IndexedStore& store);

// The column of a key in `records`, behind `id`.
inline int keyColumn(uint32_t number) {
  return 1 + static_cast<int>(number);
}

// The text of a statement, in memory of SQLite's.
class SqlText {
 public:
  SqlText() : text_(sqlite3_str_new(nullptr)) {}
  ~SqlText() { sqlite3_free(sqlite3_str_finish(text_)); }
  SqlText(const SqlText&) = delete;
  SqlText& operator=(const SqlText&) = delete;

  template <typename... Values>
  SqlText& add(const char* format, Values... values) {
    sqlite3_str_appendf(text_, format, values...);
    return *this;
  }
  const char* text() const { return sqlite3_str_value(text_); }  // null without memory

 private:
  sqlite3_str* text_;
};

inline int execute(sqlite3* database, const char* sql) {
  return sql != nullptr ? sqlite3_exec(database, sql, nullptr, nullptr, nullptr) : SQLITE_NOMEM;
}

// A statement that lives as long as the store; `build` gives its text the first time. Anything but SQLITE_OK
// leaves the pointer null.
template <typename Build>
int prepare(sqlite3* database, sqlite3_stmt*& statement, Build&& build) {
  if (statement != nullptr) return SQLITE_OK;
  SqlText sql;
  build(sql);
  if (sql.text() == nullptr) return SQLITE_NOMEM;
  return sqlite3_prepare_v3(database, sql.text(), -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
}

inline int prepare(sqlite3* database, sqlite3_stmt*& statement, const char* sql) {
  if (statement != nullptr) return SQLITE_OK;
  return sqlite3_prepare_v3(database, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
}

// Runs a statement that yields nothing, and makes it ready again.
inline int run(sqlite3_stmt* statement) {
  sqlite3_step(statement);
  return sqlite3_reset(statement);
}

// A key, as text of those bytes: texts are compared byte by byte like blobs, but faster. The bytes must stay
// until the statement has been run or reset.
inline void bindKey(sqlite3_stmt* statement, int parameter, const uint8_t* bytes, uint32_t length) {
  sqlite3_bind_text(statement, parameter, reinterpret_cast<const char*>(bytes), static_cast<int>(length),
                    SQLITE_STATIC);
}

}  // namespace qrt::plt
