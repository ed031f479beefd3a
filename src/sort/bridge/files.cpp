// The files of a SORT or MERGE: those of the program through their control blocks, those of this room as
// plain streams, and the service through which the engine reaches them.
#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <new>

#include "platform/paths.h"
#include "platform/work_files.h"
#include "sort/bridge/context.h"
#include "sort/engine/file_service.h"

namespace qrt::sort::bridge {
namespace {

constexpr int32_t prefixLength = 4;
constexpr uint16_t closeWord = 0x8000;

// A temporary file with the blocks that stand for it, in one allocation.
struct TemporaryFile {
  QrtFcb file;
  QrtFileDescription description;
  char name[PATH_MAX];
};

bool succeeded(const QrtFcb& file) {
  constexpr int16_t successes[] = {0, 2, 4, 5, 7};
  return std::ranges::find(successes, file.status) != std::end(successes);
}

FileEntry& entryOf(Context& context, int32_t file, Direction direction) {
  if (context.primaryPass)
    return direction == Direction::input ? context.inputs.entries[file + context.inputBase]
                                         : context.outputs.entries[file];
  return context.outputs.entries[direction == Direction::input ? file : file + context.outputBase];
}

// ---- Temporary text files, which have no routines of their own

bool openText(QrtFcb& file, Direction direction) {
  file.stream = platform::openStream(file.fileName, direction == Direction::input ? "r" : "w");
  return file.stream != nullptr;
}

bool closeText(QrtFcb& file) {
  FILE* stream = file.stream;
  file.stream = nullptr;
  return stream == nullptr || fclose(stream) == 0;
}

int32_t readText(QrtFcb& file, uint8_t* to, int32_t room) {
  int32_t length = 0;
  for (int byte; (byte = getc_unlocked(file.stream)) != '\n'; ++length) {
    if (byte == EOF) return length == 0 ? -1 : length;
    if (length < room) to[length] = static_cast<uint8_t>(byte);
  }
  return std::min(length, room);
}

bool writeText(QrtFcb& file, std::span<const uint8_t> data) {
  return fwrite(data.data(), 1, data.size(), file.stream) == data.size() && putc('\n', file.stream) != EOF;
}

// ---- The service

void countRelative(FileEntry& entry) {
  const QrtFileDescription& description = *entry.file->description;
  if (organizationOf(*entry.file) != QRT_ORGANIZATION_RELATIVE || description.relativeKeyOffset == 0) return;
  if ((description.accessMode & (QRT_ACCESS_RANDOM | QRT_ACCESS_DYNAMIC)) == 0) return;
  auto* block =
      const_cast<uint8_t*>(reinterpret_cast<const uint8_t*>(&description)) + description.relativeKeyOffset;
  reinterpret_cast<QrtRelativeKey*>(block)->value = ++entry.relativeCounter;
}

bool openEntry(void* service, int32_t number, Direction direction) {
  auto& context = *static_cast<Context*>(service);
  if (context.ended) return false;
  FileEntry& entry = entryOf(context, number, direction);
  entry.relativeCounter = 0;
  if (!entry.callers) return openText(*entry.file, direction);
  return openFile(context.request.program, *entry.file,
                  direction == Direction::input ? QRT_OPEN_INPUT : QRT_OPEN_OUTPUT);
}

bool closeEntry(void* service, int32_t number, Direction direction) {
  auto& context = *static_cast<Context*>(service);
  FileEntry& entry = entryOf(context, number, direction);
  if (!entry.callers) return closeText(*entry.file);
  return closeFile(context.request.program, *entry.file,
                   context.primaryPass && direction == Direction::input);
}

// The next record of the file, `length` bytes in the record area; -1 at the end, -2 for a failure.
int32_t readCallersRecord(Context& context, FileEntry& entry) {
  QrtFcb& file = *entry.file;
  file.startRelation = file.keyOfReference = file.reserved46 = 0;
  file.statementFlags = QRT_STATEMENT_AT_END;
  // Reading on is what is meant also where the access mode would take this for a READ by key.
  if ((file.description->accessMode & (QRT_ACCESS_RANDOM | QRT_ACCESS_DYNAMIC)) != 0)
    file.statementFlags |= QRT_STATEMENT_READ_NEXT;
  countRelative(entry);
  file.readRoutine(&file, context.request.program);
  if (file.status == 10) return -1;
  if (!succeeded(file)) return -2;
  const auto maxLength = static_cast<int32_t>(file.description->maxRecord);
  return isFixed(file) ? maxLength : std::min(static_cast<int32_t>(file.readLength), maxLength);
}

ServiceRead readEntry(void* service, int32_t number, std::span<uint8_t> room) {
  auto& context = *static_cast<Context*>(service);
  if (context.ended) return {ServiceRead::failure, 0};
  FileEntry& entry = entryOf(context, number, Direction::input);
  const int32_t prefix = context.inputKind == RecordKind::prefixed ? prefixLength : 0;
  uint8_t* const data = room.data() + prefix;
  const int32_t dataRoom = static_cast<int32_t>(room.size()) - prefix;

  int32_t length;
  if (entry.callers) {
    length = readCallersRecord(context, entry);
    if (length == -2) return {ServiceRead::failure, 0};
    if (length >= 0) {
      length = std::min(length, dataRoom);
      memcpy(data, entry.file->record, static_cast<size_t>(length));
    }
  } else {
    length = readText(*entry.file, data, dataRoom);
    if (ferror(entry.file->stream)) return {ServiceRead::failure, 0};
  }
  if (length < 0) return {ServiceRead::endOfFile, 0};

  const int32_t shortest = std::min(context.request.record.minLength, dataRoom);
  if (isLineSequential(*entry.file) && length < shortest) {
    memset(data + length, ' ', static_cast<size_t>(shortest - length));
    length = shortest;
  }
  length += prefix;
  if (prefix != 0) memcpy(room.data(), &length, prefixLength);
  return {ServiceRead::record, static_cast<uint32_t>(length)};
}

bool writeEntry(void* service, int32_t number, std::span<const uint8_t> record) {
  auto& context = *static_cast<Context*>(service);
  if (context.ended) return false;
  FileEntry& entry = entryOf(context, number, Direction::output);
  if (context.outputKind == RecordKind::prefixed) record = record.subspan(prefixLength);
  if (context.outputKind == RecordKind::line) {
    if (!record.empty() && record.back() == '\n') record = record.first(record.size() - 1);
    if (!record.empty() && record.back() == '\r') record = record.first(record.size() - 1);
  }
  QrtFcb& file = *entry.file;
  if (!entry.callers) return writeText(file, record);

  const size_t area = file.description->maxRecord;
  const size_t moved = std::min(record.size(), area);
  countRelative(entry);
  memcpy(file.record, record.data(), moved);
  if (isFixed(file)) memset(file.record + moved, ' ', area - moved);
  file.recordLength = static_cast<uint32_t>(record.size());
  file.writeRoutine(&file, context.request.program);
  return succeeded(file);
}

void freeTable(FileTable& table) {
  for (int32_t index = 0; index < table.count; ++index)
    if (FileEntry& entry = table.entries[index]; !entry.callers) _qrtCheckFree(entry.file);
  _qrtCheckFree(table.entries);
  table = {};
}

void deleteFile(FileEntry& entry) {
  if (!entry.deleteAtEnd) return;
  closeText(*entry.file);
  platform::removeFile(entry.file->fileName);
  entry.deleteAtEnd = false;
}

void deleteFilesOf(FileTable& table) {
  for (int32_t index = 0; index < table.count; ++index) deleteFile(table.entries[index]);
}

}  // namespace

std::string_view organizationWord(const FileEntry& entry) {
  switch (organizationOf(*entry.file)) {
    case QRT_ORGANIZATION_SEQUENTIAL:
      return entry.callers ? " sequential" : " byte_stream";
    case QRT_ORGANIZATION_LINE_SEQUENTIAL:
      return " line_sequential";
    case QRT_ORGANIZATION_INDEXED:
      return " indexed";
    case QRT_ORGANIZATION_RELATIVE:
      return " direct";
  }
  return {};
}

std::string_view nameOf(const QrtFcb& file) {
  const QrtFileDescription* description = file.description;
  if (file.fileName != nullptr && file.fileName != description->assignName) return file.fileName;
  return {description->assignName, strnlen(description->assignName, description->assignLength)};
}

bool openFile(QrtProgramEntry* program, QrtFcb& file, uint16_t mode) {
  file.openRequest = mode | (mode == QRT_OPEN_INPUT ? QRT_OPEN_CAN_READ : QRT_OPEN_CAN_WRITE);
  file.openRoutine(&file, program);
  return succeeded(file);
}

bool closeFile(QrtProgramEntry* program, QrtFcb& file, bool primaryInput) {
  (primaryInput ? file.closeFlags : file.openRequest) = closeWord;
  file.closeRoutine(&file, program);
  return succeeded(file);
}

bool emptyFile(QrtProgramEntry* program, QrtFcb& file) {
  return openFile(program, file, QRT_OPEN_OUTPUT) && closeFile(program, file, false);
}

int32_t makeTemporaryFile(const Context& context, FileEntry& entry, int32_t index, uint8_t organization) {
  void* block = _qrtCheckMalloc(sizeof(TemporaryFile));
  if (block == nullptr) return noMemoryForFile;
  auto& made = *new (block) TemporaryFile{};
  const QrtSortRecordSpec& record = context.request.record;
  snprintf(made.name, sizeof(made.name), "%s\\SS%06lu.%03d", context.request.temporaryDirectory,
           platform::currentThreadNumber(), static_cast<int>(index));
  made.file.fileSystemChar = '4';
  made.file.description = &made.description;
  made.file.fileName = made.name;
  made.description.organization = organization;
  made.description.recordFormat = record.form == QRT_SORT_FIXED ? QRT_RECORD_FIXED : QRT_RECORD_VARIABLE;
  made.description.maxRecord = static_cast<uint32_t>(record.maxLength);
  made.description.minRecord = static_cast<uint32_t>(record.minLength);
  made.description.assignName = made.name;
  made.description.assignLength = static_cast<uint16_t>(strlen(made.name));
  entry = {.callers = false, .deleteAtEnd = true, .file = &made.file};
  return none;
}

void freeTables(Context& context) {
  freeTable(context.inputs);
  freeTable(context.outputs);
}

void deleteTemporaryFiles(Context& context) {
  deleteFile(context.padded);
  deleteFilesOf(context.inputs);
  deleteFilesOf(context.outputs);
  if (context.request.input.fileName != nullptr) platform::removeFile(context.request.input.fileName);
}

void offerFiles(Context& context) {
  context.service = {&context, openEntry, closeEntry, readEntry, writeEntry};
  offerFileService(&context.service);
}

void withdrawFiles() {
  offerFileService(nullptr);
}

}  // namespace qrt::sort::bridge
