// Sequential files. Behind the header the records lie one after the other: fixed ones as they are, variable
// ones behind a length of 4 bytes. WRITE fills a buffer; the part of a record that a killed writer has left
// at the end isn't one.
#include <errno.h>
#include <string.h>

#include <algorithm>

#include "data_file.h"

namespace qrt::plt {
namespace {

constexpr uint32_t prefixSize = sizeof(uint32_t);  // of a variable record

struct SequentialFile {
  DataFile data;
  uint64_t next;        // reading: offset of the next record; writing: of the buffer's first byte in the file
  uint64_t last;        // offset of the bytes of the record read last
  uint32_t lastLength;  // of that record
  uint32_t pending;     // writing: bytes in the buffer, which is the window's storage
  bool isStuck;         // the last try to write the buffer failed
};

SequentialFile& stateOf(const QrtFcb& file) {
  return *static_cast<SequentialFile*>(file.adapterBlock1);
}

uint32_t lengthAt(const uint8_t* prefix) {
  uint32_t length;
  memcpy(&length, prefix, prefixSize);
  return length;
}

// --- Where the records end
// ------------------------------------------------------------------------------------

// End of the last whole variable record, looked for from a place where a record ends; -1 with errno.
int64_t endOfVariableRecords(DataFile& data, uint64_t size) {
  const uint64_t known = data.header->knownEnd;
  uint64_t end = known >= sizeof(FileHeader) && known <= size ? known : sizeof(FileHeader);
  for (;;) {
    const View prefix = viewAt(data, end, prefixSize);
    if (prefix.systemError != 0) {
      errno = prefix.systemError;
      return -1;
    }
    if (prefix.length < prefixSize) return static_cast<int64_t>(end);
    const uint64_t behind = end + prefixSize + lengthAt(prefix.bytes);
    if (behind > size) return static_cast<int64_t>(end);
    end = behind;
  }
}

// End of the last whole record; -1 with errno.
int64_t endOfRecords(const Statement& statement, DataFile& data, uint64_t size) {
  constexpr uint64_t start = sizeof(FileHeader);
  const uint64_t told = data.header->recordsEnd;
  if (told != 0 && told < start) {
    errno = EIO;
    return -1;
  }
  const uint64_t end = told != 0 ? std::min(told, size) : size;
  if (isVariable(statement.description)) return endOfVariableRecords(data, end);
  return static_cast<int64_t>(end - (end - start) % statement.description.maxRecord);
}

void noteEnd(DataFile& data, uint64_t end) {
  store(data.header->knownEnd, end);
}

// Cuts off what isn't a whole record, and notes where the records end. False with errno.
bool cutTail(const Statement& statement, DataFile& data) {
  const int64_t size = storage::sizeOf(data.descriptor);
  const int64_t end = size >= 0 ? endOfRecords(statement, data, static_cast<uint64_t>(size)) : -1;
  if (end < 0) return false;
  if (end != size || data.header->recordsEnd != 0) {
    const Change change(data);
    if (end != size && !storage::truncate(data.descriptor, static_cast<uint64_t>(end))) return false;
    store(data.header->recordsEnd, uint64_t{0});
  }
  noteEnd(data, static_cast<uint64_t>(end));
  return true;
}

// --- READ
// -------------------------------------------------------------------------------------------------------

void takeRecord(const Statement& statement, SequentialFile& state, const uint8_t* bytes, uint32_t length,
                uint32_t prefix) {
  QrtFcb& file = statement.file;
  memcpy(file.record, bytes, std::min(length, statement.description.maxRecord));
  file.readLength = length;
  state.last = state.next + prefix;
  state.lastLength = length;
  state.next = state.last + length;
}

Outcome readFixed(const Statement& statement, SequentialFile& state) {
  const uint32_t length = statement.description.maxRecord;
  const View view = viewAt(state.data, state.next, length);
  if (view.systemError != 0) return failureOf(view.systemError);
  if (view.length < length) return {status::atEnd};
  takeRecord(statement, state, view.bytes, length, 0);
  return {};
}

// A length that no writer of this file stores is told with 04, or with 30 where no record can have it.
Outcome readVariable(const Statement& statement, SequentialFile& state) {
  const QrtFileDescription& description = statement.description;
  View view = viewAt(state.data, state.next, prefixSize);
  if (view.systemError != 0) return failureOf(view.systemError);
  if (view.length < prefixSize) return {status::atEnd};
  const uint32_t length = lengthAt(view.bytes);
  const uint32_t taken = prefixSize + std::min(length, description.maxRecord);
  view = viewAt(state.data, state.next, taken);
  if (view.systemError != 0) return failureOf(view.systemError);
  if (length > description.maxRecord) {
    const int64_t size = storage::sizeOf(state.data.descriptor);
    if (static_cast<int64_t>(state.next + prefixSize + length) > size) return failureOf(EIO);
  }
  if (view.length < taken) return {status::atEnd};
  takeRecord(statement, state, view.bytes + prefixSize, length, prefixSize);
  padRecord(statement, length);
  const bool asDescribed = length >= description.minRecord && length <= description.maxRecord;
  return {asDescribed ? status::success : status::recordLengthDiffers};
}

template <Outcome (*read)(const Statement&, SequentialFile&)>
void readSequential(QrtFcb* file, QrtProgramEntry* program) {
  const Statement statement(file, program);
  const Outcome outcome =
      hasNextRecord(*file) ? read(statement, stateOf(*file)) : Outcome{status::noNextRecord};
  const bool endsMember = outcome.status == status::atEnd && (file->flags & QRT_FCB_CONCATENATED) != 0;
  if (!endsMember)
    finishVerb(statement, QRT_VERB_READ, outcome);
  else if (enteredNextMember(statement))
    file->readRoutine(file, program);
}

// --- WRITE and REWRITE
// --------------------------------------------------------------------------------------------

// Writes the buffer. What doesn't get to the file stays in it. False with errno.
bool flush(SequentialFile& state) {
  uint8_t* const buffer = state.data.window.bytes;
  const uint32_t written = storage::writeAt(state.data.descriptor, buffer, state.pending, state.next);
  state.next += written;
  state.pending -= written;
  state.isStuck = state.pending != 0;
  if (state.isStuck) memmove(buffer, buffer + written, state.pending);
  return !state.isStuck;
}

Outcome append(const Statement& statement, SequentialFile& state, uint32_t length, uint32_t prefix) {
  Window& buffer = state.data.window;
  const bool hasRoom = !state.isStuck && buffer.capacity - state.pending >= prefix + length;
  if (!hasRoom && !flush(state)) return failureOf(errno);
  uint8_t* to = buffer.bytes + state.pending;
  memcpy(to, &length, prefix);
  memcpy(to + prefix, statement.file.record, length);
  state.pending += prefix + length;
  return {};
}

void writeSequential(QrtFcb* file, QrtProgramEntry* program) {
  const Statement statement(file, program);
  uint32_t length;
  Outcome outcome = lengthToWrite(statement, length);
  if (!outcome.failed())
    outcome = append(statement, stateOf(*file), length, isVariable(statement.description) ? prefixSize : 0);
  finishVerb(statement, QRT_VERB_WRITE, outcome);
}

// The image of a record that isn't in one page lies behind the records.
Outcome rewriteRecord(const Statement& statement, SequentialFile& state) {
  if (!followsRead(statement.file)) return {status::noPrecedingRead};
  uint32_t length;
  const Outcome outcome = lengthToWrite(statement, length);
  if (outcome.failed()) return outcome;
  if (length != state.lastLength) return {status::badRecordLength};
  DataFile& data = state.data;
  uint64_t end = data.header->recordsEnd;
  const Change change(data);
  if (end == 0 && !liesInOnePage(state.last, length)) {
    const int64_t size = storage::sizeOf(data.descriptor);
    if (size < 0) return failureOf(errno);
    end = static_cast<uint64_t>(size);
    store(data.header->recordsEnd, end);
  }
  return replace(data, statement.file.record, length, state.last, end) ? Outcome{} : failureOf(errno);
}

void rewriteSequential(QrtFcb* file, QrtProgramEntry* program) {
  const Statement statement(file, program);
  finishVerb(statement, QRT_VERB_REWRITE, rewriteRecord(statement, stateOf(*file)));
}

// --- OPEN and CLOSE
// -------------------------------------------------------------------------------------------------

// Brings a writer's file to rest: all records in it, and nothing else.
Outcome settle(const Statement& statement, SequentialFile& state) {
  DataFile& data = state.data;
  if (data.header->imageLength != 0) return failureOf(EIO);  // left for the next writer to try again
  const bool appends = (statement.file.openState & QRT_OPEN_IO) == 0;
  const bool whole = flush(state);
  const Outcome outcome = whole ? Outcome{} : failureOf(errno);
  if (whole && appends)
    noteEnd(data, state.next);
  else if (!cutTail(statement, data) && !outcome.failed())
    return failureOf(errno);
  return outcome;
}

bool isWriter(const QrtFcb& file) {
  return (file.openState & QRT_OPEN_INPUT) == 0;
}

void closeSequential(QrtFcb* file, QrtProgramEntry* program) {
  const Statement statement(file, program);
  if (finishedAsReel(statement)) return;
  SequentialFile& state = stateOf(*file);
  const Outcome outcome = isWriter(*file) ? settle(statement, state) : Outcome{};
  closeDataFile(state.data);
  finishClose(statement, outcome);
}

void installRoutines(const Statement& statement, OpenMode mode) {
  QrtFcb& file = statement.file;
  const bool variable = isVariable(statement.description);
  if (mode == OpenMode::input || mode == OpenMode::inputOutput)
    file.readRoutine = variable ? readSequential<readVariable> : readSequential<readFixed>;
  if (mode == OpenMode::inputOutput) file.rewriteRoutine = rewriteSequential;
  if (mode == OpenMode::output || mode == OpenMode::extend) file.writeRoutine = writeSequential;
  file.closeRoutine = closeSequential;
}

// Readies a file for its first verb. A failure closes it.
Outcome begin(const Statement& statement, OpenMode mode, Outcome opened) {
  SequentialFile& state = stateOf(statement.file);
  state.next = sizeof(FileHeader);
  state.data.window.leastRead = state.data.window.capacity;
  if (mode == OpenMode::input) return opened;
  if (!cutTail(statement, state.data)) {
    const Outcome outcome = failureOf(errno);
    abandon(statement);
    return outcome;
  }
  state.data.window.length = 0;
  if (mode == OpenMode::extend) state.next = state.data.header->knownEnd;
  return opened;
}

Outcome open(const Statement& statement) {
  const OpenMode mode = openModeOf(statement.file);
  const QrtFileDescription& description = statement.description;
  uint32_t leastWindow;
  if (description.maxRecord == 0 || __builtin_add_overflow(description.maxRecord, prefixSize, &leastWindow))
    return {status::attributeConflict};
  Outcome outcome = openDataFile(statement, mode, {sizeof(SequentialFile), leastWindow, 0});
  if (statement.file.adapterBlock1 == nullptr) return outcome;
  outcome = begin(statement, mode, outcome);
  if (!outcome.failed()) installRoutines(statement, mode);
  return outcome;
}

}  // namespace

void openSequential(QrtFcb* file, QrtProgramEntry* program) {
  const Statement statement(file, program);
  finishOpen(statement, open(statement));
}

}  // namespace qrt::plt
