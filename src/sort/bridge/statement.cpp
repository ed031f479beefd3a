// SORT, MERGE, RELEASE and RETURN: what a program's calls leave in the run unit between them, and the
// registers.
#include "sort/bridge/statement.h"

#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <string_view>

#include "platform/work_files.h"
#include "sort/bridge/context.h"

namespace qrt::sort::bridge {
namespace {

constexpr int32_t recordBufferSize = 256000;
constexpr size_t fileNameSize = 1024;
constexpr int32_t prefixLength = 4;
constexpr int32_t nothingFetched = -1;
constexpr int16_t failed = 16;
constexpr int32_t sortInsideSort = 13, sortFailed = 26;  // messages
constexpr int32_t readError = 34;

// The name buffer of the run unit, and behind it the whole of the offset that its word cuts to 32 bits.
struct WorkFile {
  char name[fileNameSize];
  uint64_t offset;
};

QrtSortState& state() {
  return _qrtRuncom->sortState;
}

WorkFile& workFile() {
  return *reinterpret_cast<WorkFile*>(state().fileName);
}

bool isNamed() {
  return state().fileName != nullptr && *state().fileName != 0;
}

void moveTo(uint64_t offset) {
  workFile().offset = offset;
  state().fileOffset = static_cast<uint32_t>(offset);
}

void nameWorkFile(const char* kind) {
  const std::string_view directory = _qrtRuncom->tempDirectory != nullptr ? _qrtRuncom->tempDirectory : "";
  const char* separator = directory.empty() || directory.ends_with('\\') ? "" : "\\";
  snprintf(workFile().name, fileNameSize, "%.*s%s%s%010d", static_cast<int>(directory.size()),
           directory.data(), separator, kind, platform::processNumber());
}

void removeWorkFile() {
  if (!isNamed()) return;
  platform::removeFile(state().fileName);
  *state().fileName = 0;
}

bool isVariable() {
  return state().record->form == QRT_SORT_VARIABLE;
}

// ---- The engine run of a statement

Endpoint filesOf(const QrtSortFileList* list) {
  return {.fileCount = list->count, .files = list->files};
}

bool hasFiles(const QrtSortFileList* list) {
  return list != nullptr && list->count != 0;
}

Request requestOf(int32_t function, const QrtSortRegisters& registers, const QrtSortState& given) {
  const std::string_view control = given.controlFile != nullptr ? given.controlFile : "";
  return {.function = function,
          .record = *given.record,
          .keys = given.keys,
          .collatingTable = given.collatingTable,
          .controlFile = control.substr(0, control.find(' ')),
          .input = {},
          .output = {},
          .temporaryDirectory = _qrtRuncom->tempDirectory,
          .program = registers.program};
}

// One sort at a time in a run unit.
int32_t runAlone(const Request& request) {
  if (_qrtRuncom->sortActive != 0) {
    qrtWriteERRmsg(sortInsideSort, 0);
    return endedFromOutside;
  }
  _qrtRuncom->sortActive = 1;
  const int32_t failure = run(request);
  _qrtRuncom->sortActive = 0;
  return failure;
}

void finish(const QrtSortRegisters& registers, int32_t failure) {
  *registers.sortReturn = failure != none ? failed : 0;
  _qrtRuncom->sortErrno = failure;
  if (failure == none || registers.messageOff != 0) return;
  const QrtProgramBlock* block = registers.program->block;
  char name[161];
  snprintf(name, sizeof(name), "%.*s", static_cast<int>(block->nameLength), block->name);
  qrtWriteERRmsg(sortFailed, 0, name, registers.statement, failure);
}

// ---- Start

// The state for RELEASE and RETURN, with what was passed; false without memory.
bool prepareHandOver(const QrtSortState& given) {
  QrtSortState& now = state();
  if (now.recordBuffer == nullptr)
    now.recordBuffer = static_cast<uint8_t*>(_qrtCheckMalloc(recordBufferSize));
  if (now.fileName == nullptr) {
    now.fileName = static_cast<char*>(_qrtCheckMalloc(sizeof(WorkFile)));
    if (now.fileName != nullptr) *now.fileName = 0;
  }
  if (now.recordBuffer == nullptr || now.fileName == nullptr) return false;
  removeWorkFile();  // of a statement that was left in the middle
  now = {.fileName = now.fileName,
         .bufferSize = recordBufferSize,
         .recordBuffer = now.recordBuffer,
         .cursor = now.recordBuffer,
         .position = 0,
         .fileOffset = 0,
         .record = given.record,
         .keys = given.keys,
         .usingFiles = given.usingFiles,
         .givingFiles = given.givingFiles,
         .collatingTable = given.collatingTable,
         .controlFile = given.controlFile,
         .coreSize = given.coreSize};
  moveTo(0);
  return true;
}

// SORT or MERGE USING with an OUTPUT PROCEDURE.
int32_t sortToWorkFile(Request& request) {
  nameWorkFile("sortwko.");
  fprintf(stderr, "BEFORE SORTMERGE : sortfilename %s\n", state().fileName);
  request.output = {.fileName = state().fileName};
  const int32_t failure = runAlone(request);
  fprintf(stderr, "AFTER SORTMERGE : sortfilename %s\n", state().fileName);
  state().position = nothingFetched;
  return failure;
}

// RETURN finds its end at once.
void leaveNothing() {
  removeWorkFile();
  state().position = 0;
}

int32_t start(int32_t function, const QrtSortRegisters& registers, const QrtSortState& given) {
  Request request = requestOf(function, registers, given);
  if (hasFiles(given.usingFiles)) request.input = filesOf(given.usingFiles);
  // Such a statement may stand in the INPUT or OUTPUT PROCEDURE of another, whose state stays.
  if (hasFiles(given.usingFiles) && hasFiles(given.givingFiles)) {
    request.output = filesOf(given.givingFiles);
    return runAlone(request);
  }
  if (!prepareHandOver(given)) return noMemoryForTable;
  if (!hasFiles(given.usingFiles)) return none;
  const int32_t failure = sortToWorkFile(request);
  if (failure != none) leaveNothing();
  return failure;
}

// ---- End of the INPUT PROCEDURE

int32_t sortReleased(const QrtSortRegisters& registers) {
  QrtSortState& now = state();
  if (now.recordBuffer == nullptr || now.record == nullptr) return noInput;
  const bool toFiles = hasFiles(now.givingFiles);
  if (!isNamed() && now.position == 0)
    return !toFiles || emptyFile(registers.program, *now.givingFiles->files[0]) ? none : outputNotOpened;

  Request request = requestOf(QRT_SORT_START, registers, now);
  request.input = {.bufferLength = now.position, .buffer = now.position != 0 ? now.recordBuffer : nullptr};
  char spillFile[fileNameSize] = "";
  if (isNamed()) {
    memcpy(spillFile, now.fileName, fileNameSize);
    *now.fileName = 0;
    request.input.fileName = spillFile;
  }
  if (toFiles) {
    request.output = filesOf(now.givingFiles);
  } else if (*spillFile != 0) {
    nameWorkFile("sortwko.");
    request.output = {.fileName = now.fileName};
  } else {
    request.output = {.bufferLength = now.position, .buffer = now.recordBuffer};
    now.bufferSize = now.position;
  }
  const int32_t failure = runAlone(request);
  now.cursor = now.recordBuffer;
  now.position = nothingFetched;
  if (*spillFile != 0) platform::removeFile(spillFile);
  if (failure != none) leaveNothing();
  return failure;
}

// ---- RELEASE

// Adds what the buffer holds to the file of released records.
bool spill() {
  QrtSortState& now = state();
  const bool first = !isNamed();
  if (first) {
    nameWorkFile("sortwki.");
    platform::removeFile(now.fileName);  // of an earlier process of that number
  }
  if (!platform::appendToFile(now.fileName, now.recordBuffer, static_cast<size_t>(now.position))) {
    if (first) removeWorkFile();
    return false;
  }
  now.cursor = now.recordBuffer;
  now.position = 0;
  return true;
}

void storeRecord(const uint8_t* record, int32_t length) {
  QrtSortState& now = state();
  const int32_t room = now.record->maxLength;
  const int32_t moved = std::clamp(length, 0, room);
  uint8_t* to = now.cursor;
  if (isVariable()) {
    const int32_t prefix = moved + prefixLength;
    memcpy(to, &prefix, prefixLength);
    to += prefixLength;
  } else {
    memset(to + moved, ' ', static_cast<size_t>(room - moved));
  }
  memcpy(to, record, static_cast<size_t>(moved));
  now.cursor = to + (isVariable() ? moved : room);
  now.position = static_cast<int32_t>(now.cursor - now.recordBuffer);
}

// ---- RETURN

// The next block of the work file; false when there is none.
bool fetchBlock() {
  QrtSortState& now = state();
  if (!isNamed()) {
    if (now.position == 0) return false;
    now.position = 0;
    return true;
  }
  const int64_t count = platform::readFromFile(now.fileName, workFile().offset, now.recordBuffer,
                                               static_cast<size_t>(now.bufferSize));
  if (count < 0) _qrtRuncom->sortErrno = readError;
  if (count > 0) moveTo(workFile().offset + static_cast<uint64_t>(count));
  if (count < now.bufferSize) removeWorkFile();
  now.position = 0;
  if (count <= 0) return false;
  now.cursor = now.recordBuffer;
  now.bufferSize = static_cast<int32_t>(count);
  return true;
}

int32_t dataLengthAt(const uint8_t* prefix) {
  int32_t length;
  memcpy(&length, prefix, prefixLength);
  return length - prefixLength;
}

// Whether a whole record lies at `next`, in `left` bytes; of a variable form, one with `leastData` bytes.
bool liesWhole(const uint8_t* next, int32_t left, int32_t leastData) {
  if (!isVariable()) return left >= state().record->maxLength;
  if (left < prefixLength + leastData) return false;
  const int32_t length = dataLengthAt(next);
  return length >= 0 && left - prefixLength >= length;
}

}  // namespace

void sortMerge(int32_t function, const QrtSortRegisters* registers, const QrtSortRecordSpec* record,
               const uint8_t* collatingTable, const char* controlFile, const QrtSortFileList* usingFiles,
               const QrtSortFileList* givingFiles, QrtSortKeyList* keys) {
  int32_t failure = none;
  switch (function) {
    case QRT_SORT_CLEAN_UP:
      cleanUp();
      _qrtRuncom->sortActive = 0;
      _qrtRuncom->sortErrno = none;
      return;
    case QRT_SORT_START:
    case QRT_MERGE_START: {
      QrtSortState given{};
      given.record = record;
      given.keys = keys;
      given.usingFiles = usingFiles;
      given.givingFiles = givingFiles;
      given.collatingTable = collatingTable;
      given.controlFile = controlFile;
      given.coreSize = registers->coreSize;
      failure = rewriteNationalKeys(*keys) ? start(function, *registers, given) : noMemoryForTable;
      break;
    }
    case QRT_SORT_RELEASED:
      failure = sortReleased(*registers);
      break;
    case QRT_SORT_REFUSED:
      failure = unknownFunction;
      break;
    default:
      break;
  }
  finish(*registers, failure);
}

void release(int32_t length, const uint8_t* record, int16_t* result) {
  const QrtSortState& now = state();
  const int32_t added =
      isVariable() ? std::clamp(length, 0, now.record->maxLength) + prefixLength : now.record->maxLength;
  if (now.position + added > now.bufferSize && (now.position == 0 || !spill() || added > now.bufferSize)) {
    *result = failed;
    return;
  }
  storeRecord(record, length);
}

void returnRecord(int32_t* length, uint8_t* record, int16_t* atEnd) {
  QrtSortState& now = state();
  if ((now.position == 0 || now.position == nothingFetched) && !fetchBlock()) {
    *atEnd = 1;
    return;
  }
  const uint8_t* data = now.cursor;
  // A work file that was cut short, or records beyond the buffer.
  const int32_t left = now.bufferSize - now.position;
  if (left <= 0 || !liesWhole(data, left, 0)) {
    _qrtRuncom->sortErrno = readError;
    leaveNothing();
    *atEnd = 1;
    return;
  }
  *length = now.record->maxLength;
  if (isVariable()) {
    *length = dataLengthAt(data);
    data += prefixLength;
  }
  memcpy(record, data, static_cast<size_t>(*length));
  now.cursor = const_cast<uint8_t*>(data) + *length;
  now.position = static_cast<int32_t>(now.cursor - now.recordBuffer);
  const int32_t rest = now.bufferSize - now.position;
  if (isNamed() && rest > 0 && !liesWhole(now.cursor, rest, 1)) {
    moveTo(workFile().offset + static_cast<uint64_t>(now.position) - static_cast<uint64_t>(now.bufferSize));
    now.position = 0;
  }
  if (now.position == now.bufferSize) now.position = 0;
}

void getErrno(int32_t* number) {
  *number = _qrtRuncom->sortErrno;
}

void endRunUnit() {
  QrtSortState& now = state();
  if (current != nullptr && current->owner == _qrtRuncom) {
    cleanUp();
    current = nullptr;  // its storage goes with the run unit
    withdrawFiles();
  }
  removeWorkFile();
  _qrtCheckFree(now.fileName);
  _qrtCheckFree(now.recordBuffer);
  now = {};
  while (void* block = _qrtRuncom->sortBlocks) {
    memcpy(&_qrtRuncom->sortBlocks, block, sizeof(void*));
    _qrtCheckFree(block);
  }
}

}  // namespace qrt::sort::bridge
