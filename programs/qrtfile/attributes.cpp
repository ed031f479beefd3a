// What a record file is.
#include "attributes.h"

#include <errno.h>
#include <sqlite3.h>
#include <string.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string_view>

namespace qrt::file {
namespace {

constexpr size_t headerSize = 128;
constexpr std::string_view plainMagic = "QRTRECS\n";
constexpr std::string_view databaseMagic = "SQLite format 3";

template <typename Word>
Word wordAt(const char* header, size_t offset) {
  Word word;
  memcpy(&word, header + offset, sizeof(word));
  return word;
}

Attributes plainAttributes(const char* header) {
  Attributes attributes;
  attributes.organization = wordAt<uint8_t>(header, 10);
  attributes.variable = wordAt<uint8_t>(header, 11) == QRT_RECORD_VARIABLE;
  attributes.longest = wordAt<uint32_t>(header, 12);
  attributes.shortest = wordAt<uint32_t>(header, 16);
  attributes.unsettled = wordAt<uint32_t>(header, 20) % 2 != 0 || wordAt<uint32_t>(header, 56) != 0;
  return attributes;
}

using Database = std::unique_ptr<sqlite3, decltype(&sqlite3_close)>;
using Query = std::unique_ptr<sqlite3_stmt, decltype(&sqlite3_finalize)>;

Query ask(sqlite3* database, const char* text) {
  sqlite3_stmt* query = nullptr;
  if (sqlite3_prepare_v2(database, text, -1, &query, nullptr) != SQLITE_OK)
    throw Failure(std::string("not an indexed file: ") + sqlite3_errmsg(database));
  return {query, sqlite3_finalize};
}

uint32_t numberIn(const Query& query, int column) {
  return static_cast<uint32_t>(sqlite3_column_int64(query.get(), column));
}

Attributes indexedAttributes(const std::string& file) {
  sqlite3* opened = nullptr;
  const int code = sqlite3_open_v2(file.c_str(), &opened, SQLITE_OPEN_READONLY, nullptr);
  const Database database(opened, sqlite3_close);
  if (code != SQLITE_OK) throw Failure(file + ": " + sqlite3_errstr(code));
  Attributes attributes;
  attributes.organization = QRT_ORGANIZATION_INDEXED;
  const Query about = ask(opened, "SELECT format,minimum,maximum FROM attributes");
  if (sqlite3_step(about.get()) != SQLITE_ROW) throw Failure(file + ": an indexed file without attributes");
  const auto* format = reinterpret_cast<const char*>(sqlite3_column_text(about.get(), 0));
  attributes.variable = format != nullptr && std::string_view(format) == "variable";
  attributes.shortest = numberIn(about, 1);
  attributes.longest = numberIn(about, 2);
  const Query keys = ask(opened, "SELECT position,length,duplicates FROM keys ORDER BY number");
  while (sqlite3_step(keys.get()) == SQLITE_ROW) {
    QrtFileKey key = {};
    key.offset = numberIn(keys, 0);
    key.length = numberIn(keys, 1);
    key.flags = numberIn(keys, 2) != 0 ? QRT_KEY_DUPLICATES : 0;
    attributes.keys.push_back(key);
  }
  return attributes;
}

}  // namespace

const char* nameOf(uint8_t organization) {
  switch (organization) {
    case QRT_ORGANIZATION_RELATIVE:
      return "relative";
    case QRT_ORGANIZATION_INDEXED:
      return "indexed";
    default:
      return "sequential";
  }
}

Attributes attributesOf(const std::string& file) {
  if (std::filesystem::is_directory(file)) throw Failure(file + ": a directory");
  std::ifstream stream(file, std::ios::binary);
  if (!stream) throw Failure(file + ": " + strerror(errno));
  char header[headerSize] = {};
  stream.read(header, headerSize);
  const std::string_view start(header, static_cast<size_t>(stream.gcount()));
  stream.close();
  if (start.starts_with(databaseMagic)) return indexedAttributes(file);
  if (!start.starts_with(plainMagic) || start.size() < headerSize)
    throw Failure(file + ": not a record file (text files need no unloading)");
  if (wordAt<uint16_t>(header, 8) != 1) throw Failure(file + ": made by a later version");
  return plainAttributes(header);
}

}  // namespace qrt::file
