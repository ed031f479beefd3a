// Indexed files: the verbs, over the store that keeps records under their keys.
#include <errno.h>
#include <string.h>

#include <algorithm>

#include "indexed_store.h"
#include "record_file.h"

namespace qrt::plt {
namespace {

struct IndexedFile {
  bool hasLastKey;
  uint8_t* lastKey;    // prime key of the record read last, or in sequential OUTPUT and EXTEND written last
  IndexedStore store;  // with its memory behind it
};

IndexedFile& stateOf(const QrtFcb& file) {
  return *static_cast<IndexedFile*>(file.adapterBlock1);
}

// --- Outcomes ---------------------------------------------------------------------------------------------

// The outcome of OPEN and CLOSE, and what is left of the other verbs.
Outcome outcomeOf(const IndexedStore& store, StoreResult result) {
  switch (result) {
    case StoreResult::done:
      return {status::success};
    case StoreResult::duplicate:
      return {status::duplicateKey};
    case StoreResult::noRecord:
      return {status::noRecord};
    case StoreResult::duplicateKey:
      return {status::duplicateRecord};
    case StoreResult::absent:
      return {status::absent};
    case StoreResult::differs:
      return {status::attributeConflict};
    case StoreResult::inUse:
      return {status::inUse, EBUSY};
    case StoreResult::full:
      return {status::boundary, ENOSPC};
    default:
      return failureOf(store.error);
  }
}

// A file that its verbs already work on has no status but 30 for what goes wrong with it.
Outcome outcomeOfRead(const IndexedStore& store, StoreResult result) {
  if (result == StoreResult::full) return {status::permanentError, ENOSPC};
  return result == StoreResult::failed ? Outcome{status::permanentError, store.error}
                                       : outcomeOf(store, result);
}

Outcome outcomeOfChange(const IndexedStore& store, StoreResult result) {
  return result == StoreResult::full ? Outcome{status::keyBoundary, ENOSPC} : outcomeOfRead(store, result);
}

// --- Keys in the record area ------------------------------------------------------------------------------

const StoreKey& primeKey(const IndexedFile& state) {
  return state.store.keys[0];
}

int compareWithLastKey(const Statement& statement, const IndexedFile& state) {
  const StoreKey& key = primeKey(state);
  return memcmp(statement.file.record + key.offset, state.lastKey, key.length);
}

void keepLastKey(const Statement& statement, IndexedFile& state) {
  const StoreKey& key = primeKey(state);
  memcpy(state.lastKey, statement.file.record + key.offset, key.length);
  state.hasLastKey = true;
}

// --- READ and START ---------------------------------------------------------------------------------------

// What a record that has been read leaves behind.
Outcome taken(const Statement& statement, IndexedFile& state, StoreResult result, uint32_t length) {
  const Outcome outcome = outcomeOfRead(state.store, result);
  if (outcome.failed()) return outcome;
  padRecord(statement, length);
  statement.file.readLength = length;
  keepLastKey(statement, state);
  const QrtFileDescription& description = statement.description;
  const uint32_t shortest = isVariable(description) ? description.minRecord : description.maxRecord;
  return length < shortest ? Outcome{status::recordLengthDiffers} : outcome;
}

Outcome readRecord(const Statement& statement, IndexedFile& state) {
  uint8_t* const record = statement.file.record;
  uint32_t length = 0;
  if (!readsNext(statement)) {
    const uint32_t number = statement.file.keyOfReference;
    if (number >= state.store.keys.size()) return {status::noRecord};
    const StoreResult result = readEqual(state.store, number, record, length);
    return taken(statement, state, result, length);
  }
  if (!hasNextRecord(statement.file)) return {status::noNextRecord};
  const StoreResult result = readNext(state.store, record, length);
  return result == StoreResult::noRecord ? Outcome{status::atEnd} : taken(statement, state, result, length);
}

Outcome start(const Statement& statement, IndexedFile& state) {
  const QrtFcb& file = statement.file;
  if (file.keyOfReference >= state.store.keys.size() || file.startRelation > QRT_START_NOT_GREATER)
    return {status::noRecord};
  const StoreKey& key = state.store.keys[file.keyOfReference];
  const uint32_t length = file.startKeyLength == 0 ? key.length : std::min(file.startKeyLength, key.length);
  return outcomeOfRead(state.store, find(state.store, file.keyOfReference, file.startRelation,
                                         file.record + key.offset, length));
}

// --- WRITE, REWRITE, DELETE -------------------------------------------------------------------------------

// As lengthToWrite; 44 also for a record that ends ahead of one of its keys.
Outcome keyedLengthToWrite(const Statement& statement, const IndexedFile& state, uint32_t& length) {
  const Outcome outcome = lengthToWrite(statement, length);
  return outcome.failed() || length >= state.store.keyedLength ? outcome : Outcome{status::badRecordLength};
}

Outcome write(const Statement& statement, IndexedFile& state) {
  uint32_t length;
  const Outcome outcome = keyedLengthToWrite(statement, state, length);
  if (outcome.failed()) return outcome;
  const bool ascending = hasSequentialAccess(statement.description);
  if (ascending && state.hasLastKey) {
    const int order = compareWithLastKey(statement, state);
    if (order <= 0) return {order < 0 ? status::sequenceError : status::duplicateRecord};
  }
  const StoreResult result = insertRecord(state.store, statement.file.record, length);
  const Outcome stored = outcomeOfChange(state.store, result);
  if (ascending && !stored.failed()) keepLastKey(statement, state);
  return stored;
}

Outcome rewrite(const Statement& statement, IndexedFile& state) {
  if (hasSequentialAccess(statement.description)) {
    if (!followsRead(statement.file)) return {status::noPrecedingRead};
    if (compareWithLastKey(statement, state) != 0) return {status::sequenceError};
  }
  uint32_t length;
  const Outcome outcome = keyedLengthToWrite(statement, state, length);
  if (outcome.failed()) return outcome;
  return outcomeOfChange(state.store, replaceRecord(state.store, statement.file.record, length));
}

Outcome erase(const Statement& statement, IndexedFile& state) {
  const bool sequential = hasSequentialAccess(statement.description);
  if (sequential && !followsRead(statement.file)) return {status::noPrecedingRead};
  const uint8_t* const key = sequential ? state.lastKey : statement.file.record + primeKey(state).offset;
  return outcomeOfChange(state.store, eraseRecord(state.store, key));
}

template <uint8_t verb, Outcome (*perform)(const Statement&, IndexedFile&)>
void performVerb(QrtFcb* file, QrtProgramEntry* program) {
  const Statement statement(file, program);
  finishVerb(statement, verb, perform(statement, stateOf(*file)));
}

// --- OPEN and CLOSE ---------------------------------------------------------------------------------------

void close(QrtFcb* file, QrtProgramEntry* program) {
  const Statement statement(file, program);
  IndexedStore& store = stateOf(*file).store;
  const StoreResult result = closeStore(store);
  finishClose(statement, outcomeOf(store, result));
}

void installRoutines(const Statement& statement, OpenMode mode) {
  QrtFcb& file = statement.file;
  const bool inputOutput = mode == OpenMode::inputOutput;
  if (mode == OpenMode::input || inputOutput) {
    file.readRoutine = performVerb<QRT_VERB_READ, readRecord>;
    if (canGoOn(statement.description)) file.startRoutine = performVerb<QRT_VERB_START, start>;
  }
  if (inputOutput) {
    file.rewriteRoutine = performVerb<QRT_VERB_REWRITE, rewrite>;
    file.deleteRoutine = performVerb<QRT_VERB_DELETE, erase>;
  }
  // WRITE in sequential access goes behind the last record, which I-O doesn't do.
  if (mode == OpenMode::output || mode == OpenMode::extend ||
      (inputOutput && !hasSequentialAccess(statement.description)))
    file.writeRoutine = performVerb<QRT_VERB_WRITE, write>;
  file.closeRoutine = close;
}

StoreUse useFor(OpenMode mode, const QrtFileDescription& description) {
  switch (mode) {
    case OpenMode::input:
      return StoreUse::read;
    case OpenMode::output:
      return StoreUse::replace;
    default:
      return isOptional(description) ? StoreUse::create : StoreUse::change;
  }
}

// The block of the file, all zero, with room for the store's memory; null when there is none.
IndexedFile* makeBlock(const QrtFileDescription& description, uint32_t memory) {
  const auto* keys = reinterpret_cast<const QrtFileKey*>(reinterpret_cast<const uint8_t*>(&description) +
                                                         description.keyBlockOffset);
  const uint32_t ahead = static_cast<uint32_t>(sizeof(IndexedFile)) + memory;
  auto* const block = static_cast<uint8_t*>(_qrtCheckMalloc(ahead + keys[0].length));
  if (block == nullptr) return nullptr;
  memset(block, 0, ahead + keys[0].length);
  auto* const state = reinterpret_cast<IndexedFile*>(block);
  state->lastKey = block + ahead;
  return state;
}

// Opens the store in the file's block; 5 for a file that is new.
Outcome openBlock(const Statement& statement, OpenMode mode) {
  IndexedFile& state = stateOf(statement.file);
  IndexedStore& store = state.store;
  bool created = false;
  StoreResult result = openStore(store, statement.file.fileName, statement.description,
                                 useFor(mode, statement.description), created);
  if (result != StoreResult::done) return outcomeOf(store, result);
  if (mode == OpenMode::extend) {
    result = lastPrimeKey(store, state.lastKey);
    state.hasLastKey = result == StoreResult::done;
    if (result != StoreResult::done && result != StoreResult::noRecord) {
      closeStore(store);
      return outcomeOf(store, result);
    }
  }
  return {created ? status::optionalAbsent : status::success};
}

Outcome open(const Statement& statement) {
  QrtFcb& file = statement.file;
  const QrtFileDescription& description = statement.description;
  const OpenMode mode = openModeOf(file);
  if (mode == OpenMode::none || (mode == OpenMode::extend && !hasSequentialAccess(description)))
    return {status::modeNotSupported};
  const uint32_t memory = storeMemory(description);
  if (memory == 0) return {status::attributeConflict};
  file.adapterBlock1 = makeBlock(description, memory);
  if (file.adapterBlock1 == nullptr) return failureOf(ENOMEM);
  const Outcome outcome = openBlock(statement, mode);
  if (!outcome.failed()) {
    installRoutines(statement, mode);
    return outcome;
  }
  _qrtCheckFree(file.adapterBlock1);
  file.adapterBlock1 = nullptr;
  if (outcome.status != status::absent || !isOptional(description)) return outcome;
  file.flags |= QRT_FCB_ABSENT;
  return {status::optionalAbsent};
}

}  // namespace

void openIndexed(QrtFcb* file, QrtProgramEntry* program) {
  const Statement statement(file, program);
  finishOpen(statement, open(statement));
}

}  // namespace qrt::plt
