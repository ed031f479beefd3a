// The program list entry (PLLE): one record for each program name that a run unit knows, found through the
// run unit's programTable. Records come from chunks that are freed all at once.
#include <stddef.h>
#include <string.h>

#include <iterator>

#include "frame/guard.h"

namespace qrt::program {
namespace {

constexpr int32_t recordsPerChunk = 128;

// A name up to this length lies in the record itself.
constexpr uint32_t longestInlineName = 30;

struct Chunk {
  QrtPlle records[recordsPerChunk];
  struct Tail {
    Chunk* chunk;  // the one that this tail ends
    Tail* previous;
  } tail;
};
static_assert(offsetof(Chunk, tail) == sizeof(Chunk::records));

Chunk::Tail* newestTail() {
  return static_cast<Chunk::Tail*>(_qrtRuncom->plleChunks);
}

QrtPlle* nextRecord() {
  QrtRunUnitRecord& unit = *_qrtRuncom;
  QrtPlle* record = unit.plleNext != nullptr ? unit.plleNext + 1 : nullptr;
  if (record == unit.plleChunkEnd) {
    auto* chunk = static_cast<Chunk*>(_qrtCheckMalloc(sizeof(Chunk)));
    if (chunk == nullptr) return nullptr;
    chunk->tail = {chunk, newestTail()};
    unit.plleChunks = unit.plleChunkEnd = &chunk->tail;
    record = chunk->records;
  }
  return unit.plleNext = record;
}

void freeLongNames(QrtPlle* record, const QrtPlle* last) {
  for (; record <= last; ++record)
    if (record->name != record->inlineName) _qrtCheckFree(record->name);
}

}  // namespace
}  // namespace qrt::program

QrtPlle* _qrtCreatePLLE(const char* name, uint32_t length) {
  QrtPlle* record = qrt::program::nextRecord();
  if (record == nullptr) return nullptr;
  *record = {};
  record->name = record->inlineName;
  if (length > qrt::program::longestInlineName) {
    auto* copy = static_cast<char*>(_qrtCheckMalloc(length));
    if (copy == nullptr) return nullptr;
    record->name = copy;
  }
  memcpy(record->name, name, length);
  record->nameLength = length;
  return record;
}

QrtPlle* _qrtCreateInsertPLLE(const char* name, uint32_t length, void* entry, void* module) {
  QrtPlle* found = nullptr;
  qrt::frame::underNestedGuard([&] {
    QrtHashTable* table = _qrtRuncom->programTable;
    auto* record = static_cast<QrtPlle*>(_qrt_hash_find(table, name, length));
    if (record == nullptr) {
      record = _qrtCreatePLLE(name, length);
      if (record == nullptr) return;
      record->entry = entry;
      record->module = module;
      if (_qrt_hash_insert(table, record->name, length, record) != 0) return;
    }
    found = record;
  });
  return found;
}

void _qrtFreePLLE() {
  using qrt::program::Chunk;
  const QrtPlle* last = _qrtRuncom->plleNext;
  for (Chunk::Tail* tail = qrt::program::newestTail(); tail != nullptr;) {
    Chunk* chunk = tail->chunk;
    qrt::program::freeLongNames(chunk->records, last);
    tail = tail->previous;
    if (tail != nullptr) last = std::end(tail->chunk->records) - 1;
    _qrtCheckFree(chunk);
  }
  _qrtRuncom->plleChunks = _qrtRuncom->plleChunkEnd = nullptr;
  _qrtRuncom->plleNext = nullptr;
}
