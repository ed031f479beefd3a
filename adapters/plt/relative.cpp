// Relative files. Behind the header lies a slot for each record number, from 1 on; the place of number 0
// takes the images of records that are being replaced. A slot is a word, 0 for no record, else the record's
// length with the highest bit set, and room for the longest record, up to a multiple of 4 bytes, so that a
// word always lies in one page.
#include <errno.h>
#include <string.h>

#include <algorithm>

#include "data_file.h"

namespace qrt::plt {
namespace {

constexpr uint32_t wordSize = sizeof(uint32_t);
constexpr uint32_t present = 0x80000000u;
constexpr uint64_t highestNumber = UINT32_MAX;

struct RelativeFile {
  DataFile data;
  uint32_t slotSize;
  uint32_t current;  // number of the record read last
  uint64_t next;     // number that READ NEXT starts looking at, or that WRITE in sequential access gives
};

RelativeFile& stateOf(const QrtFcb& file) {
  return *static_cast<RelativeFile*>(file.adapterBlock1);
}

uint64_t offsetOf(const RelativeFile& state, uint64_t number) {
  return sizeof(FileHeader) + number * state.slotSize;
}

uint64_t imagePlace(const RelativeFile& state) {
  return offsetOf(state, 0);
}

uint32_t wordAt(const uint8_t* slot) {
  uint32_t word;
  memcpy(&word, slot, wordSize);
  return word;
}

// --- The relative key
// -------------------------------------------------------------------------------------------

QrtRelativeKey* relativeKey(const QrtFileDescription& description) {
  if (description.relativeKeyOffset == 0) return nullptr;
  const auto* block = reinterpret_cast<const uint8_t*>(&description) + description.relativeKeyOffset;
  return reinterpret_cast<QrtRelativeKey*>(const_cast<uint8_t*>(block));
}

uint32_t keyValue(const Statement& statement) {
  const QrtRelativeKey* key = relativeKey(statement.description);
  return key != nullptr ? key->value : 0;
}

void tellNumber(const Statement& statement, uint64_t number) {
  if (QrtRelativeKey* key = relativeKey(statement.description)) key->value = static_cast<uint32_t>(number);
}

// --- Slots
// ------------------------------------------------------------------------------------------------------

// What a slot holds.
struct Slot {
  Outcome outcome;                  // 0; 23 for no record; a failure
  const uint8_t* record = nullptr;  // valid until the next call that looks at the file
  uint32_t length = 0;
};

// The slot at the start of a view.
Slot slotIn(const View& view, uint32_t maxRecord) {
  if (view.systemError != 0) return {failureOf(view.systemError)};
  const uint32_t word = view.length >= wordSize ? wordAt(view.bytes) : 0;
  if (word == 0) return {{status::noRecord}};
  const uint32_t length = word & ~present;
  // Words that nobody stores, or a record that the file has lost the end of.
  if ((word & present) == 0 || length > maxRecord || view.length < wordSize + length) return {failureOf(EIO)};
  return {{}, view.bytes + wordSize, length};
}

Slot slotOf(const Statement& statement, RelativeFile& state, uint64_t number) {
  if (number == 0) return {{status::noRecord}};
  return slotIn(currentViewAt(state.data, offsetOf(state, number), state.slotSize),
                statement.description.maxRecord);
}

// Numbers of the slots that the file has, the last perhaps not whole.
uint64_t slotCount(const RelativeFile& state) {
  const int64_t size = storage::sizeOf(state.data.descriptor);
  const int64_t first = static_cast<int64_t>(offsetOf(state, 1));
  return size > first ? (static_cast<uint64_t>(size - first) + state.slotSize - 1) / state.slotSize : 0;
}

// A record number that was looked for: 0 with an outcome that tells why there is none, 23 or a failure.
struct Number {
  uint64_t value = 0;
  Outcome outcome = {};
};

// First slot of a view that isn't empty, counted from 0; the count of slots when all are. An incomplete slot
// at the end of the file is looked at too.
uint32_t firstUsed(const View& view, uint32_t slotSize, uint32_t& count) {
  count = view.length / slotSize + (view.length % slotSize >= wordSize ? 1 : 0);
  for (uint32_t at = 0; at < count; ++at)
    if (wordAt(view.bytes + at * slotSize) != 0) return at;
  return count;
}

Number firstFrom(RelativeFile& state, uint64_t number) {
  for (;;) {
    const uint64_t offset = offsetOf(state, number);
    const View view = currentViewAt(state.data, offset, state.slotSize);
    if (view.systemError != 0) return {0, failureOf(view.systemError)};
    uint32_t count;
    const uint32_t used = firstUsed(view, state.slotSize, count);
    if (used < count) return {number + used};
    if (count == 0) return {0, {status::noRecord}};
    number += count;
    // Numbers that were never given leave holes, which may be as large as numbers are.
    const int64_t data = storage::nextData(state.data.descriptor, offsetOf(state, number));
    const auto there = static_cast<uint64_t>(data);
    if (data >= 0 && there > offsetOf(state, number)) number = (there - sizeof(FileHeader)) / state.slotSize;
  }
}

Number lastUpTo(RelativeFile& state, uint64_t number) {
  const uint32_t together = std::max(state.data.window.capacity / state.slotSize, 1u);
  for (number = std::min(number, slotCount(state)); number > 0;) {
    const uint64_t first = number > together ? number - together + 1 : 1;
    const View view = currentViewAt(state.data, offsetOf(state, first),
                                    static_cast<uint32_t>(number - first + 1) * state.slotSize);
    if (view.systemError != 0) return {0, failureOf(view.systemError)};
    for (; number >= first; --number) {
      const uint64_t at = (number - first) * state.slotSize;
      if (at + wordSize <= view.length && wordAt(view.bytes + at) != 0) return {number};
    }
  }
  return {0, {status::noRecord}};
}

// --- READ and START
// ---------------------------------------------------------------------------------------------

Outcome takeRecord(const Statement& statement, RelativeFile& state, uint64_t number) {
  const Slot slot = slotOf(statement, state, number);
  if (slot.outcome.status != status::success) return slot.outcome;
  QrtFcb& file = statement.file;
  memcpy(file.record, slot.record, slot.length);
  padRecord(statement, slot.length);
  file.readLength = slot.length;
  state.current = static_cast<uint32_t>(number);
  state.next = number + 1;
  const bool asDescribed = !isVariable(statement.description)
                               ? slot.length == statement.description.maxRecord
                               : slot.length >= statement.description.minRecord;
  return {asDescribed ? status::success : status::recordLengthDiffers};
}

Outcome readNext(const Statement& statement, RelativeFile& state) {
  if (!hasNextRecord(statement.file)) return {status::noNextRecord};
  for (uint64_t from = state.next;;) {
    const Number found = firstFrom(state, from);
    if (found.outcome.status == status::noRecord) return {status::atEnd};
    if (found.outcome.failed()) return found.outcome;
    if (found.value > highestNumber) return {status::numberTooLarge};
    const Outcome outcome = takeRecord(statement, state, found.value);
    if (!outcome.failed()) tellNumber(statement, found.value);
    // Another process may have deleted it meanwhile.
    if (outcome.status != status::noRecord) return outcome;
    from = found.value + 1;
  }
}

void readRelative(QrtFcb* file, QrtProgramEntry* program) {
  const Statement statement(file, program);
  RelativeFile& state = stateOf(*file);
  finishVerb(
      statement, QRT_VERB_READ,
      readsNext(statement) ? readNext(statement, state) : takeRecord(statement, state, keyValue(statement)));
}

Number findByRelation(RelativeFile& state, uint8_t relation, uint64_t key) {
  switch (relation) {
    case QRT_START_EQUAL: {
      if (key == 0) return {0, {status::noRecord}};
      const Number found = firstFrom(state, key);
      return found.value == key || found.outcome.failed() ? found : Number{0, {status::noRecord}};
    }
    case QRT_START_GREATER:
      return firstFrom(state, key + 1);
    case QRT_START_NOT_LESS:
      return firstFrom(state, std::max(key, uint64_t{1}));
    case QRT_START_LESS:
      return key != 0 ? lastUpTo(state, key - 1) : Number{0, {status::noRecord}};
    case QRT_START_NOT_GREATER:
      return lastUpTo(state, key);
    default:
      return {0, {status::noRecord}};
  }
}

void startRelative(QrtFcb* file, QrtProgramEntry* program) {
  const Statement statement(file, program);
  RelativeFile& state = stateOf(*file);
  const Number found = findByRelation(state, file->startRelation, keyValue(statement));
  if (!found.outcome.failed()) state.next = found.value;
  finishVerb(statement, QRT_VERB_START, found.outcome);
}

// --- WRITE, REWRITE, DELETE
// ---------------------------------------------------------------------------------------

// Puts the slot of a record to be stored together, in the room behind the window.
uint8_t* makeSlot(const Statement& statement, RelativeFile& state, uint32_t length) {
  uint8_t* const slot = state.data.window.bytes + state.data.window.capacity;
  const uint32_t word = present | length;
  memcpy(slot, &word, wordSize);
  memcpy(slot + wordSize, statement.file.record, length);
  return slot;
}

// Stores a record in a slot that has none.
Outcome addRecord(const Statement& statement, RelativeFile& state, uint64_t number, uint32_t length) {
  DataFile& data = state.data;
  const uint64_t offset = offsetOf(state, number);
  const uint8_t* const slot = makeSlot(statement, state, length);
  const Change change(data);
  // Whatever lies in more than one page gets its word last: until then there is no record.
  const bool stored =
      liesInOnePage(offset, wordSize + length)
          ? put(data, slot, wordSize + length, offset)
          : put(data, slot + wordSize, length, offset + wordSize) && put(data, slot, wordSize, offset);
  return stored ? Outcome{} : failureToChange(errno);
}

Outcome writeAtKey(const Statement& statement, RelativeFile& state, uint32_t length) {
  const uint32_t number = keyValue(statement);
  if (number == 0) return {status::keyBoundary};
  const Slot slot = slotOf(statement, state, number);
  if (slot.outcome.status == status::success) return {status::duplicateRecord};
  return slot.outcome.status == status::noRecord ? addRecord(statement, state, number, length) : slot.outcome;
}

Outcome writeNext(const Statement& statement, RelativeFile& state, uint32_t length) {
  if (state.next > highestNumber) return {status::keyBoundary};
  const Outcome outcome = addRecord(statement, state, state.next, length);
  if (!outcome.failed()) tellNumber(statement, state.next++);
  return outcome;
}

void writeRelative(QrtFcb* file, QrtProgramEntry* program) {
  const Statement statement(file, program);
  RelativeFile& state = stateOf(*file);
  uint32_t length;
  Outcome outcome = lengthToWrite(statement, length);
  if (!outcome.failed())
    outcome = hasSequentialAccess(statement.description) ? writeNext(statement, state, length)
                                                         : writeAtKey(statement, state, length);
  finishVerb(statement, QRT_VERB_WRITE, outcome);
}

// The record that REWRITE and DELETE mean: the one read last, or by key.
Number recordToChange(const Statement& statement, RelativeFile& state) {
  const bool sequential = hasSequentialAccess(statement.description);
  if (sequential && !followsRead(statement.file)) return {0, {status::noPrecedingRead}};
  const uint32_t number = sequential ? state.current : keyValue(statement);
  return {number, slotOf(statement, state, number).outcome};
}

Outcome rewriteRecord(const Statement& statement, RelativeFile& state) {
  const Number number = recordToChange(statement, state);
  uint32_t length;
  const Outcome outcome = number.outcome.failed() ? number.outcome : lengthToWrite(statement, length);
  if (outcome.failed()) return outcome;
  const uint8_t* const slot = makeSlot(statement, state, length);
  const Change change(state.data);
  const bool replaced =
      replace(state.data, slot, wordSize + length, offsetOf(state, number.value), imagePlace(state));
  return replaced ? Outcome{} : failureToChange(errno);
}

Outcome deleteRecord(const Statement& statement, RelativeFile& state) {
  const Number number = recordToChange(statement, state);
  if (number.outcome.failed()) return number.outcome;
  constexpr uint32_t noRecord = 0;
  const Change change(state.data);
  const bool deleted = put(state.data, &noRecord, wordSize, offsetOf(state, number.value));
  return deleted ? Outcome{} : failureToChange(errno);
}

template <uint8_t verb, Outcome (*perform)(const Statement&, RelativeFile&)>
void changeRelative(QrtFcb* file, QrtProgramEntry* program) {
  const Statement statement(file, program);
  finishVerb(statement, verb, perform(statement, stateOf(*file)));
}

// --- OPEN and CLOSE
// ------------------------------------------------------------------------------------------------

void closeRelative(QrtFcb* file, QrtProgramEntry* program) {
  const Statement statement(file, program);
  closeDataFile(stateOf(*file).data);
  finishClose(statement, {});
}

void installRoutines(const Statement& statement, OpenMode mode) {
  QrtFcb& file = statement.file;
  const bool inputOutput = mode == OpenMode::inputOutput;
  if (mode == OpenMode::input || inputOutput) {
    file.readRoutine = readRelative;
    if (canGoOn(statement.description)) file.startRoutine = startRelative;
  }
  if (inputOutput) {
    file.rewriteRoutine = changeRelative<QRT_VERB_REWRITE, rewriteRecord>;
    file.deleteRoutine = changeRelative<QRT_VERB_DELETE, deleteRecord>;
  }
  // WRITE in sequential access goes behind the last record, which I-O doesn't do.
  if (mode == OpenMode::output || mode == OpenMode::extend ||
      (inputOutput && !hasSequentialAccess(statement.description)))
    file.writeRoutine = writeRelative;
  file.closeRoutine = closeRelative;
}

// Bytes of a slot, 0 for a record that is too long for one.
uint32_t slotSizeFor(uint32_t maxRecord) {
  constexpr uint32_t longest = present - 2 * wordSize;
  return maxRecord <= longest ? wordSize + (maxRecord + wordSize - 1) / wordSize * wordSize : 0;
}

Outcome open(const Statement& statement) {
  const OpenMode mode = openModeOf(statement.file);
  if (mode == OpenMode::extend && !hasSequentialAccess(statement.description))
    return {status::modeNotSupported};
  const uint32_t slotSize = slotSizeFor(statement.description.maxRecord);
  if (statement.description.maxRecord == 0 || slotSize == 0) return {status::attributeConflict};
  Outcome outcome = openDataFile(statement, mode, {sizeof(RelativeFile), slotSize, slotSize});
  if (statement.file.adapterBlock1 == nullptr) return outcome;
  RelativeFile& state = stateOf(statement.file);
  state.slotSize = slotSize;
  state.next = 1;
  if (mode == OpenMode::extend) {
    const Number last = lastUpTo(state, UINT64_MAX);
    state.next = last.value + 1;
    if (last.outcome.failed() && last.outcome.status != status::noRecord) {
      abandon(statement);
      return last.outcome;
    }
  }
  installRoutines(statement, mode);
  return outcome;
}

}  // namespace

void openRelative(QrtFcb* file, QrtProgramEntry* program) {
  const Statement statement(file, program);
  finishOpen(statement, open(statement));
}

}  // namespace qrt::plt
