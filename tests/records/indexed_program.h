// Compiled programs with an indexed file.
#pragma once

#include <sqlite3.h>

#include "record_program.h"

namespace qrt::test {

struct IndexedFile : RecordFile {
  QrtFileKey keyTable[4] = {};

  IndexedFile(const std::string& name, uint8_t access, uint32_t length, std::vector<QrtFileKey> keys)
      : RecordFile(name, QRT_ORGANIZATION_INDEXED, access, length) {
    std::copy(keys.begin(), keys.end(), keyTable);
    description.keyCount = static_cast<uint32_t>(keys.size());
    description.keyBlockOffset = static_cast<uint32_t>(reinterpret_cast<uint8_t*>(keyTable) -
                                                       reinterpret_cast<uint8_t*>(&description));
  }
  void makeNumbered(uint8_t organization) {
    description.organization = organization;
    description.relativeKeyOffset =
        static_cast<uint32_t>(reinterpret_cast<uint8_t*>(&key) - reinterpret_cast<uint8_t*>(&description));
  }
};

struct IndexedProgram : RecordProgram {
  using RecordProgram::RecordProgram;

  void place(const std::string& bytes, uint32_t offset = 0, size_t index = 0) {
    memcpy(fcb(index).record + offset, bytes.data(), bytes.size());
  }
  std::string readBy(uint8_t key, size_t index = 0) {
    fcb(index).keyOfReference = key;
    return read(index);
  }
  std::string startBy(uint8_t key, uint8_t relation, uint32_t length = 0, size_t index = 0) {
    fcb(index).keyOfReference = key;
    fcb(index).startKeyLength = length;
    return start(relation, index);
  }
};

// The number, or first column of text, that a query on a database yields.
inline std::string queryOn(const std::string& name, const char* sql) {
  sqlite3* database = nullptr;
  sqlite3_stmt* statement = nullptr;
  std::string text;
  if (sqlite3_open_v2(("./" + name).c_str(), &database, SQLITE_OPEN_READWRITE, nullptr) == SQLITE_OK &&
      sqlite3_prepare_v2(database, sql, -1, &statement, nullptr) == SQLITE_OK &&
      sqlite3_step(statement) == SQLITE_ROW && sqlite3_column_text(statement, 0) != nullptr)
    text = reinterpret_cast<const char*>(sqlite3_column_text(statement, 0));
  else
    text = sqlite3_errmsg(database);
  sqlite3_finalize(statement);
  sqlite3_close(database);
  return text;
}

}  // namespace qrt::test
