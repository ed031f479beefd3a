// The generic OPEN and CLOSE.
#include "fileio/open.h"

#include <string.h>

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

// One attempt to open; returns the detail code of a failure.
int32_t attemptOpen(QrtFcb& file, const QrtFileDescription& description, QrtProgramEntry* program) {
  file.currentOperation = QRT_VERB_OPEN;
  file.status = status::success;
  file.openState = 0;
  resolve(file, description, *program);
  const int32_t detail = installAdapter(file, program);
  const bool ready = file.status < status::atEnd;
  if (ready) callOpenRoutine(file, program);
  if (ready && file.status <= status::atEnd)
    becomeOpen(file, description);
  else
    file.openRoutine = _qrtGenericOpen;
  return detail;
}

void freeBlock(void*& block) {
  _qrtCheckFree(block);
  block = nullptr;
}

}  // namespace

void genericOpen(QrtFcb* file, QrtProgramEntry* program) {
  _qrtRuncom->adapterTable = adapterRows;
  const QrtFileDescription& description = descriptionFor(*file, program);
  const int32_t detail = attemptOpen(*file, description, program);
  writeFileStatus(*file, description);
  if (file->status >= status::atEnd) callUseProcedure(file, detail, program);
  file->lastOperation = QRT_VERB_OPEN;
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
    freeBlock(file->concatenation);
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
