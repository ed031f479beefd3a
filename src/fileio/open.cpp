// The generic OPEN and CLOSE.
#include "fileio/open.h"

#include <string.h>

#include "fileio/concatenation.h"
#include "fileio/control.h"
#include "fileio/file_systems.h"
#include "fileio/resolve.h"
#include "fileio/status.h"

namespace qrt::fileio {
namespace {

constexpr int32_t noDetail = 0;
constexpr int32_t adapterNotLoaded = 51;

// The flags of a file that outlive its close.
constexpr uint32_t keptFlags = QRT_FCB_SHARED | QRT_FCB_CONCATENATED;

// An adapter's open routine gets the file a second time.
using AdapterOpen = void (*)(QrtFcb* file, QrtProgramEntry* program, QrtFcb* sameFile);

void callOpenRoutine(QrtFcb& file, QrtProgramEntry* program) {
  file.adapterPosition = 0;
  file.adapterCount = 1;
  reinterpret_cast<AdapterOpen>(reinterpret_cast<void*>(file.openRoutine))(&file, program, &file);
}

// Lets the adapter of the file's system install its routines; returns the detail code of a failure. A status
// from resolving stays, for it tells more than a missing adapter.
int32_t installAdapter(QrtFcb& file, QrtProgramEntry* program) {
  if (file.status != status::success) return noDetail;
  const int32_t code = fileSystemCodeOf(file);
  if (!loadAdapter(code)) {
    file.status = status::noAdapter;
    return adapterNotLoaded;
  }
  adapterRows[code].init(&file, program, code);
  return noDetail;
}

void becomeOpen(QrtFcb& file, const QrtFileDescription& description) {
  constexpr uint8_t hasLinage = 0x80;
  constexpr uint8_t nothingWritten = 0x04;
  file.openRoutine = _qrtOpenError;
  file.openState = file.openRequest;
  file.openRequest = 0;
  if ((description.linageFlags & hasLinage) != 0) {
    memcpy(file.linageSaved, file.linageCurrent, sizeof(file.linageSaved));
    file.linageValid = 1;
  }
  file.advanceLines = 1;
  file.flags |= QRT_FCB_POSITIONED;
  file.recordState = nothingWritten;
  if (file.status == status::success && (file.openState & QRT_OPEN_NO_REWIND) != 0)
    file.status = status::noReel;
}

// What an attempt to open leaves beside the status.
struct Attempt {
  int32_t detail;        // variant of message 201
  int32_t extendedCode;  // for the extended status; 0 for none
};

Attempt attemptOpen(QrtFcb& file, const QrtFileDescription& description, QrtProgramEntry* program,
                    bool isLaterMember) {
  file.currentOperation = QRT_VERB_OPEN;
  file.status = status::success;
  file.openState = 0;
  const int32_t extendedCode = resolve(file, description, *program, isLaterMember);
  const int32_t detail = installAdapter(file, program);
  const bool ready = file.status < status::atEnd;
  if (ready) callOpenRoutine(file, program);
  if (ready && file.status <= status::atEnd)
    becomeOpen(file, description);
  else
    file.openRoutine = _qrtGenericOpen;
  return {detail, extendedCode};
}

bool isAbsentMember(const QrtFcb& file) {
  constexpr uint32_t absentMember = QRT_FCB_CONCATENATED | QRT_FCB_ABSENT;
  return file.status == status::optionalAbsent && (file.flags & absentMember) == absentMember;
}

// Closes the member that is open and makes `next` the name to open in the same mode.
void stepToMember(QrtFcb& file, const char* next, QrtProgramEntry* program) {
  file.closeFlags = QRT_CLOSE_MEMBER;
  file.closeRoutine(&file, program);
  file.fileName = next;
  file.openRequest = file.openState;
}

// Opens the file, or the first of its members that is there. With none there the last one stays open.
Attempt openPresent(QrtFcb& file, const QrtFileDescription& description, QrtProgramEntry* program,
                    bool isLaterMember) {
  Attempt attempt = attemptOpen(file, description, program, isLaterMember);
  while (isAbsentMember(file)) {
    const char* const next = nextMember(file.concatenation);
    if (next == nullptr) break;
    stepToMember(file, next, program);
    attempt = attemptOpen(file, description, program, true);
  }
  return attempt;
}

void reportOpen(QrtFcb& file, const QrtFileDescription& description, QrtProgramEntry* program,
                const Attempt& attempt) {
  writeFileStatus(file, description);
  if (attempt.extendedCode != 0) writeExtendedStatus(file, description, attempt.extendedCode);
  if (file.status >= status::atEnd) callUseProcedure(&file, attempt.detail, program);
}

int32_t endMembers(QrtFcb& file) {
  file.currentOperation = QRT_VERB_READ;
  file.status = status::atEnd;
  file.flags |= QRT_FCB_AT_END;
  return 0;
}

// What the opening of a later member means to the READ that asked for it.
int32_t resultOfMember(QrtFcb& file, Attempt& attempt) {
  if (file.status == status::optionalAbsent) return endMembers(file);
  if (file.status < status::atEnd) {
    file.currentOperation = QRT_VERB_READ;
    file.status = status::success;
    return 1;
  }
  if (file.status != status::unresolved) attempt.extendedCode = file.status;
  file.status = status::unresolved;
  return -1;
}

void freeBlock(void*& block) {
  _qrtCheckFree(block);
  block = nullptr;
}

}  // namespace

void genericOpen(QrtFcb* file, QrtProgramEntry* program) {
  _qrtRuncom->adapterTable = adapterRows;
  const QrtFileDescription& description = descriptionFor(*file, program);
  // A closed file starts afresh; an adapter that steps on comes with the state of the member before.
  const bool isLaterMember = file->openState != 0 && file->concatenation != nullptr;
  reportOpen(*file, description, program, openPresent(*file, description, program, isLaterMember));
  file->lastOperation = QRT_VERB_OPEN;
}

int32_t openNextMember(QrtFcb* file, QrtProgramEntry* program) {
  const QrtFileDescription& description = descriptionFor(*file, program);
  const char* const next = file->concatenation != nullptr ? nextMember(file->concatenation) : nullptr;
  Attempt attempt{};
  int32_t result;
  if (next == nullptr) {
    result = endMembers(*file);
  } else {
    stepToMember(*file, next, program);
    attempt = openPresent(*file, description, program, true);
    attempt.detail = noDetail;
    result = resultOfMember(*file, attempt);
  }
  reportOpen(*file, description, program, attempt);
  return result;
}

}  // namespace qrt::fileio

void _qrtGenericClose(QrtFcb* file, QrtProgramEntry* program, int32_t detail) {
  using namespace qrt::fileio;
  const QrtFileDescription& description = descriptionFor(*file, program);
  file->currentOperation = QRT_VERB_CLOSE;
  releaseFileName(*file, description);
  file->lastCloseFlags = file->closeFlags;
  file->flags &= keptFlags;
  setClosedRoutines(*file);
  freeBlock(file->adapterBlock1);
  freeBlock(file->adapterBlock2);
  if ((file->closeFlags & QRT_CLOSE_MEMBER) != 0) {
    file->closeFlags &= static_cast<uint16_t>(~QRT_CLOSE_MEMBER);
    return;
  }
  file->flags &= ~QRT_FCB_CONCATENATED;
  if (file->concatenation != nullptr) {
    releaseMembers(*file);
    file->fileName = description.assignName;
  }
  if ((file->closeFlags & QRT_CLOSE_LOCK) != 0) file->openRoutine = _qrtOpenError;
  if (file->status == status::success && (file->closeFlags & (QRT_CLOSE_REEL | QRT_CLOSE_UNIT)) != 0)
    file->status = status::noReel;
  writeFileStatus(*file, description);
  const bool silent = (file->closeFlags & QRT_CLOSE_SILENT) != 0;
  if (!silent && file->status >= status::atEnd) callUseProcedure(file, detail, program);
  // The run unit's end closes silently; a later run of a cached program starts afresh.
  file->closeFlags &= static_cast<uint16_t>(~QRT_CLOSE_SILENT);
  file->openState = 0;
  file->lastOperation = QRT_VERB_CLOSE;
}
