// File control blocks of a program and of the run unit.
#include "fileio/control.h"

#include <string.h>

#include "fileio/attributes.h"
#include "fileio/concatenation.h"
#include "fileio/file_systems.h"
#include "frame/message.h"

namespace qrt::fileio {
namespace {

constexpr uint32_t recordPrefix = 32;
constexpr uint32_t lineEndAndTerminator = 2;

void setDefaultFileSystem(QrtFcb& file) {
  if (file.description->organization == QRT_ORGANIZATION_LINE_SEQUENTIAL) {
    file.defaultCode = nativeFileSystem;
    memcpy(file.defaultName, "NAT", sizeof(file.defaultName));
    return;
  }
  auto& ofRun = _qrtRuncom->fileSystem;
  const FileSystemName& name = defaultFileSystem({ofRun, sizeof(ofRun)});
  memcpy(ofRun, name.inUse.data(), sizeof(ofRun));
  file.defaultCode = static_cast<uint8_t>(name.code);
  memcpy(file.defaultName, ofRun, sizeof(file.defaultName));
}

void initialise(QrtFcb& file, QrtFileDescription* description) {
  file.description = description;
  setDefaultFileSystem(file);
  setClosedRoutines(file);
  if (description->keyCount > 1) file.keyArea = &file + 1;
}

void bindOwn(QrtFcb& file, QrtFileDescription* description) {
  file.recordBase = *description->recordAreaSlot;
  file.record = file.recordBase + recordPrefix;
  initialise(file, description);
}

uint32_t keyLengthOf(const QrtFileDescription& description) {
  return static_cast<uint32_t>(strnlen(description.externalName, sizeof(description.externalName)));
}

// Makes the run unit's block of an EXTERNAL file, with its record buffer; null, and nothing kept, when memory
// is short.
QrtFcb* makeShared(QrtFileDescription* description) {
  const bool manyKeys = description->organization == QRT_ORGANIZATION_INDEXED && description->keyCount > 1;
  const uint32_t size = sizeof(QrtFcb) + (manyKeys ? (description->keyCount - 1) * sizeof(void*) : 0);
  auto* file = static_cast<QrtFcb*>(_qrtCheckCalloc(1, size));
  auto* buffer =
      static_cast<uint8_t*>(_qrtCheckCalloc(1, recordPrefix + description->maxRecord + lineEndAndTerminator));
  if (file == nullptr || buffer == nullptr ||
      _qrt_hash_insert(_qrtRuncom->fileTable, description->externalName, keyLengthOf(*description), file) !=
          0) {
    _qrtCheckFree(buffer);
    _qrtCheckFree(file);
    return nullptr;
  }
  memcpy(file->eyecatcher, "FCB", sizeof(file->eyecatcher));
  file->fileIndex = description->fileIndex;
  file->recordLength = description->maxRecord;
  file->recordBase = buffer;
  file->record = buffer + recordPrefix;
  initialise(*file, description);
  return file;
}

// The run unit's block of an EXTERNAL file for a program that describes it so; null when memory is short.
QrtFcb* bindShared(QrtFileDescription* description, const QrtProgramBlock& program) {
  auto* file = static_cast<QrtFcb*>(
      _qrt_hash_find(_qrtRuncom->fileTable, description->externalName, keyLengthOf(*description)));
  if (file == nullptr) {
    file = makeShared(description);
    if (file == nullptr) return nullptr;
  } else {
    if (file->description != description) checkAttributes(*file->description, *description, program);
    file->flags |= QRT_FCB_SHARED;
  }
  *description->recordAreaSlot = file->recordBase;
  return file;
}

bool isExternal(const QrtFileDescription& description) {
  return (description.attributes & QRT_FILE_EXTERNAL) != 0;
}

}  // namespace

void initFcbs(int32_t fileCount, QrtFcb** files, QrtFileDescription** descriptions,
              QrtProgramBlock* program) {
  // A block of an earlier run unit is gone; should binding end the run, its end must not meet it here.
  for (int32_t at = 0; at < fileCount; ++at)
    if (isExternal(*descriptions[at])) files[at] = nullptr;

  for (int32_t at = 0; at < fileCount; ++at) {
    if (!isExternal(*descriptions[at])) {
      bindOwn(*files[at], descriptions[at]);
      continue;
    }
    files[at] = bindShared(descriptions[at], *program);
    if (files[at] == nullptr) {
      qrtWriteERRmsg(frame::message::outOfMemory, 0);
      return;
    }
  }
}

void setClosedRoutines(QrtFcb& file) {
  file.openRoutine = _qrtGenericOpen;
  file.closeRoutine = _qrtCloseError;
  file.readRoutine = _qrtReadError;
  file.writeRoutine = _qrtWriteError;
  file.rewriteRoutine = _qrtRewriteError;
  file.startRoutine = _qrtStartError;
  file.deleteRoutine = _qrtDeleteError;
  file.useRoutine = _qrtCallUseProc;
}

const QrtFileDescription& descriptionFor(const QrtFcb& file, const QrtProgramEntry* program) {
  if ((file.flags & QRT_FCB_SHARED) != 0)
    for (int32_t at = 0; at < program->fileCount; ++at)
      if (program->files[at] == &file) return *program->block->fileDescriptions[at];
  return *file.description;
}

void releaseFileName(QrtFcb& file, const QrtFileDescription& description) {
  if ((file.flags & QRT_FCB_NAME_ALLOCATED) == 0) return;
  _qrtCheckFree(const_cast<char*>(file.fileName));
  file.flags &= ~QRT_FCB_NAME_ALLOCATED;
  file.fileName = description.assignName;
}

void releaseMembers(QrtFcb& file) {
  freeConcatenation(file.concatenation);
  file.concatenation = nullptr;
}

}  // namespace qrt::fileio
