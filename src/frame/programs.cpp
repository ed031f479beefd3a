// Entering and leaving compiled programs, and closing them at the end of their run unit.
#include "frame/programs.h"

#include <string.h>

#include <algorithm>
#include <span>
#include <utility>

#include "fileio/control.h"
#include "frame/hosting.h"
#include "frame/lifecycle.h"
#include "frame/message.h"
#include "platform/clock.h"
#include "platform/modules.h"

int32_t _qrt_trax_exit_in_progress = 0;

namespace qrt::frame {
namespace {

constexpr int32_t relativeWindowOutOfRange = 240;  // message: program, window, computed year
constexpr int32_t windowPassed = 241;              // message: window, window + 100, program

bool firstProgram = false;
bool firstProgramOfHost = false;

std::span<QrtProgramEntry> allEntries(QrtProgramEntry* first) {
  return {first, static_cast<size_t>(first->lastIndex) + 1};
}

std::span<QrtFcb*> filesOf(const QrtProgramEntry& entry) {
  return {entry.files, entry.files != nullptr ? static_cast<size_t>(entry.fileCount) : 0};
}

bool compiledAtOrAbove(const QrtProgramBlock& program, uint8_t version, uint8_t release,
                       uint8_t modification) {
  const uint8_t level[] = {version, release, modification};
  return memcmp(program.compilerLevel, level, sizeof(level)) >= 0;
}

void checkYearWindow(QrtProgramBlock& program) {
  char name[256];
  const size_t length = std::min<size_t>(program.nameLength, sizeof(name) - 1);
  memcpy(name, program.name, length);
  name[length] = 0;

  const int32_t window = program.yearWindow;
  const int32_t year = platform::localTime().year;
  if (window < 0) {
    const int32_t first = year + window;
    if (first >= 1900 && first <= 1999)
      program.yearWindow = first;
    else
      qrtWriteERRmsg(relativeWindowOutOfRange, 0, name, window, first);
  } else if (window < year - 100) {
    qrtWriteERRmsg(windowPassed, 0, window, window + 100, name);
  }
}

// First entry of a program in this run unit.
void bind(QrtProgramBlock& program, QrtPlle& plle) {
  QrtProgramEntry& first = program.entries[0];
  plle.program = &program;
  first.block = &program;
  if (first.files != nullptr) _qrtInitFCB(first.fileCount, first.files, program.fileDescriptions, &program);
  program.flags |= _qrtProccom->optionFlags;
  program.upsi = _qrtRuncom->upsi;
  if (compiledAtOrAbove(program, 5, 1, 1)) program.runUnitShared = &_qrtRuncom->runUnitWord;
  if (program.yearWindow != QRT_NO_YEAR_WINDOW && compiledAtOrAbove(program, 2, 2, 0))
    checkYearWindow(program);
  program.plle = &plle;
}

QrtPlle* findOrMakePlle(const QrtProgramBlock& program) {
  auto* plle =
      static_cast<QrtPlle*>(_qrt_hash_find(_qrtRuncom->programTable, program.name, program.nameLength));
  if (plle == nullptr)
    plle = _qrtCreateInsertPLLE(program.name, program.nameLength, program.entries[0].entryPoint, nullptr);
  if (plle == nullptr) qrtWriteERRmsg(message::outOfMemory, 0);
  return plle;
}

void enter(QrtProgramBlock& program) {
  if (program.plle == nullptr) {
    QrtPlle* plle = findOrMakePlle(program);
    if (plle == nullptr) return;
    if (firstProgram || firstProgramOfHost) {
      _qrtRuncom->mainPLLE = plle;
      firstProgram = firstProgramOfHost = false;
      program.flags |= QRT_PROGRAM_MAIN;
    }
    if (plle->program == nullptr) bind(program, *plle);
  }
  _qrtPgmEnterLock(program.entries);
}

void countDown(QrtProgramEntry* program) {
  if (program->activeCount > 0) --program->activeCount;
  if (_qrtRuncom != nullptr && _qrtRuncom->activeCount > 0) --_qrtRuncom->activeCount;
}

void putBackToInitialState(QrtProgramEntry* first) {
  for (QrtProgramEntry& entry : allEntries(first)) {
    entry.activeCount = 0;
    entry.stateFlags &= ~QRT_ENTRY_NOT_INITIAL;
  }
}

// A severe error inside a close routine takes the run unit down once more from within: files whose close
// hasn't come back are then passed over.
bool closingPrograms = false;

void closeAtEnd(QrtFcb* file, QrtProgramEntry* program, bool onceMore) {
  if (file == nullptr) return;
  if (file->openState == 0) {
    // An OPEN that failed leaves the name that it tried.
    if ((file->flags & QRT_FCB_NAME_ALLOCATED) != 0) fileio::releaseFileName(*file, *file->description);
    fileio::releaseMembers(*file);
    return;
  }
  if (onceMore && (file->closeFlags & QRT_CLOSE_SILENT) != 0) return;
  file->closeFlags |= QRT_CLOSE_SILENT;
  file->closeRoutine(file, program);
}

void closeProgram(const QrtPlle& plle, bool onceMore) {
  QrtProgramBlock& program = *plle.program;
  if (hosted() || _qrt_cpm_cached2(plle.name, plle.nameLength) != 0) putBackToInitialState(program.entries);
  for (QrtProgramEntry& entry : allEntries(program.entries))
    for (QrtFcb* file : filesOf(entry)) closeAtEnd(file, &entry, onceMore);
  program.plle = nullptr;
}

void freeExternalFile(QrtFcb* file) {
  if ((file->flags & QRT_FCB_NAME_ALLOCATED) != 0) _qrtCheckFree(const_cast<char*>(file->fileName));
  _qrtCheckFree(file->recordBase);
  _qrtCheckFree(file);
}

template <typename Value, typename Work>
void forEachValue(QrtHashTable* table, Work&& work) {
  for (int32_t index = 0; void* value = _qrt_hash_next(table, index); ++index)
    work(*static_cast<Value*>(value));
}

}  // namespace

void expectMainProgram() {
  firstProgram = true;
}

void expectMainProgramOfHost() {
  firstProgramOfHost = true;
}

void closePrograms() {
  const bool onceMore = std::exchange(closingPrograms, true);
  forEachValue<QrtPlle>(_qrtRuncom->programTable, [onceMore](QrtPlle& plle) {
    if (plle.program != nullptr) closeProgram(plle, onceMore);
  });
  // What the cache holds of a module is a use of its own, so this one is given back all the same.
  forEachValue<QrtPlle>(_qrtRuncom->programTable, [](QrtPlle& plle) {
    _qrt_cpm_free2(plle.name, plle.nameLength);
    if (plle.module != nullptr) platform::unloadModule(plle.module);
  });
  forEachValue<QrtFcb>(_qrtRuncom->fileTable, [](QrtFcb& file) { freeExternalFile(&file); });
  closingPrograms = false;
}

}  // namespace qrt::frame

void _qrtPgmInit(QrtProgramBlock* program) {
  using namespace qrt::frame;
  bringProcessUp();
  if (program == nullptr)
    firstProgram = false;
  else if (_qrtRuncom != nullptr)
    enter(*program);
}

void _qrtPgmTerm(QrtProgramBlock* program) {
  using namespace qrt::frame;
  constexpr int32_t code = 255;
  bool over = false;
  if ((program->flags & QRT_PROGRAM_END_BY_COUNT) == 0) {
    _qrtPgmExit(program->entries);
    over = (program->flags & QRT_PROGRAM_MAIN) != 0 && program->entries->activeCount == 0;
  } else {
    _qrtPgmExitLock(program->entries);
    over = _qrtRuncom != nullptr && _qrtRuncom->activeCount == 0;
  }
  if (over) {
    program->flags &= ~QRT_PROGRAM_MAIN;
    takeRunUnitDown(EndReason::mainReturned, code);
    _qrt_trax_exit_in_progress = 0;
  } else if (_qrt_trax_exit_in_progress != 0) {
    _qrt_trax_exit_in_progress = 0;
    takeRunUnitDown(EndReason::stopRun, code);
    qrtLongJump(&_qrtJmpCobStart, 1);
  }
}

void _qrtPgmEnterLock(QrtProgramEntry* program) {
  ++program->activeCount;
  if (_qrtRuncom != nullptr) ++_qrtRuncom->activeCount;
}

void _qrtPgmEnterUnlock(void*) {}

void _qrtPgmExit(QrtProgramEntry* program) {
  qrt::frame::countDown(program);
}

void _qrtPgmExitLock(QrtProgramEntry* program) {
  qrt::frame::countDown(program);
}

void _qrtPgmExitUnlock(void*) {}

void _qrtCloseReset(QrtProgramEntry* program) {
  using namespace qrt::frame;
  for (QrtFcb* file : filesOf(*program)) {
    if (file == nullptr || (file->description->attributes & QRT_FILE_EXTERNAL) != 0) continue;
    if (file->openState == 0) continue;
    file->closeFlags = 0;  // those of a CLOSE UNIT, which has left the file open
    file->closeRoutine(file, program);
  }
  putBackToInitialState(program);
}
