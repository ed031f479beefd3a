// The life of the process and of its run units: how both come up, and the one road on which they go down.
#include "frame/lifecycle.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <xmmintrin.h>

#include <atomic>
#include <new>

#include "frame/guard.h"
#include "frame/hosting.h"
#include "frame/message.h"
#include "frame/programs.h"
#include "frame/stop_run.h"
#include "frame/streams.h"
#include "platform/file_state.h"
#include "platform/locale.h"
#include "platform/threads.h"
#include "program/program_path.h"
#include "sort/bridge/statement.h"

void* _qrt_init_term_rte_mutex = nullptr;
void* accept_mutex = nullptr;
void* create_plle_mutex = nullptr;
void* display_mutex = nullptr;
void* extvar_mutex = nullptr;
void* init_hash_mutex = nullptr;
void* pgm_count_mutex = nullptr;
void* catget_mutex = nullptr;
void* iconvt_mutex = nullptr;
void* collseq_mutex = nullptr;
void* century_window_mutex = nullptr;

namespace qrt::frame {
namespace {

constexpr int stopRunRoutineReturned = 183;  // exit code
constexpr int32_t runUnitEndsInSort = 12;    // message

constexpr int32_t programBuckets = 256;
constexpr int32_t fileBuckets = 32;

uint32_t runUnitCounter = 0;
bool hasBeenUp = false;  // stays when the process goes down

// The last two have no name that callers know.
platform::Mutex mutexes[13];
std::atomic<bool> mutexesMade = false;
platform::CriticalSection makingOfMutexes;

void makeMutexes() {
  if (mutexesMade) return;
  const platform::CriticalSection::Scope entered(makingOfMutexes);
  if (mutexesMade) return;
  for (platform::Mutex& mutex : mutexes) platform::makeMutex(mutex);
  platform::Mutex* next = mutexes;
  for (void** handle : {&_qrt_init_term_rte_mutex, &accept_mutex, &create_plle_mutex, &display_mutex,
                        &extvar_mutex, &init_hash_mutex, &pgm_count_mutex, &catget_mutex, &iconvt_mutex,
                        &collseq_mutex, &century_window_mutex})
    *handle = next++;
  mutexesMade = true;
}

// All exceptions masked, extended precision, round to nearest.
void resetFloatingPoint() {
  __asm__ volatile("fninit");
  _mm_setcsr(0x1F80);
}

void makeProcessRecord() {
  void* block = _qrtMalloc(sizeof(QrtProcessRecord), message::outOfMemory, 0);
  if (block == nullptr) return;
  auto* process = new (block) QrtProcessRecord{};
  memcpy(process->eyecatcher, "XPROCCOM", sizeof(process->eyecatcher));
  process->optionFlags = QRT_OPTION_CHECK | QRT_OPTION_DEBUG;
  strcpy(process->upsi, "00000000");
  process->localeCodePageIndex = -1;
  process->fileMode = 'L';
  _qrtProccom = process;
  program::programDirectories();
}

void endProcess() {
  qrtWriteERRmsg(0, QRT_MESSAGE_CONTROL | 1);
  closeStandardFiles();
  if (!hosted()) _qrt_cpm_destroy();
  program::releaseProgramDirectories();
  _qrtCheckFree(_qrtProccom);
  _qrtProccom = nullptr;
}

char* copyOfTemporaryDirectory() {
  const char* name = getenv("TMP");
  if (name == nullptr || *name == 0 || !platform::directoryExists(name)) name = ".";
  const auto size = static_cast<uint32_t>(strlen(name)) + 1;
  void* copy = _qrtMalloc(size, message::outOfMemory, 0);
  return copy != nullptr ? static_cast<char*>(memcpy(copy, name, size)) : nullptr;
}

// The record lies outside of every list of hosted allocations, so it is made and freed while _qrtRuncom is
// null. Null when memory is short.
QrtRunUnitRecord* makeRunUnitRecord() {
  QrtRunUnitRecord* const below = _qrtRuncom;
  _qrtRuncom = nullptr;
  void* block = _qrtCheckMalloc(sizeof(QrtRunUnitRecord));
  _qrtRuncom = below;
  if (block == nullptr) return nullptr;
  auto* unit = new (block) QrtRunUnitRecord{};
  memcpy(unit->eyecatcher, "XRUNCOMM", sizeof(unit->eyecatcher));
  unit->runUnitNumber = ++runUnitCounter;
  memcpy(unit->upsi, _qrtProccom->upsi, sizeof(unit->upsi));
  unit->errCountLeft = _qrtProccom->errCount;
  memcpy(unit->fileSystem, _qrtProccom->fileSystem, sizeof(unit->fileSystem));
  unit->fileMode = _qrtProccom->fileMode;
  unit->randomSeed = 1;
  unit->centuryWindow = 80;
  return unit;
}

void pushRunUnit() {
  void* link = _qrtMalloc(sizeof(QrtRunUnitLink), message::outOfMemory, 0);
  if (link == nullptr) return;
  _qrtProccom->runUnitStack = new (link) QrtRunUnitLink{_qrtRuncom, _qrtProccom->runUnitStack};
}

// A run unit that ran out of memory on its way up isn't on the stack yet.
void popRunUnit() {
  QrtRunUnitLink* top = _qrtProccom->runUnitStack;
  if (top == nullptr || top->runUnit != _qrtRuncom) return;
  _qrtProccom->runUnitStack = top->next;
  _qrtCheckFree(top);
}

void endSort(EndReason reason) {
  if (reason == EndReason::cleanUp && _qrtRuncom->sortActive != 0)
    sort::bridge::sortMerge(QRT_SORT_CLEAN_UP, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
  if (_qrtRuncom->sortActive == 0) return;
  _qrtRuncom->sortActive = 0;  // the message may end the run, which leads through here again
  qrtWriteERRmsg(runUnitEndsInSort, 0);
}

void freeTables() {
  QrtRunUnitRecord& unit = *_qrtRuncom;
  _qrt_hash_terminate(unit.fileTable);
  for (int32_t index = 0; void* item = _qrt_hash_next(unit.externalTable, index); ++index)
    _qrtCheckFree(item);
  _qrt_hash_terminate(unit.externalTable);
  _qrt_hash_terminate(unit.programTable);
  _qrtFreePLLE();
  sort::bridge::endRunUnit();
  _qrtCheckFree(unit.tempDirectory);
  unit.fileTable = unit.externalTable = unit.programTable = nullptr;
  unit.tempDirectory = nullptr;
}

// A guard of a run unit below may hold on to the block, which then goes with that unit's list.
void freeStorage() {
  if (hosted() && _qrtProccom->runUnitStack != nullptr) return resetThreadStorageAnchor();
  if (qrtStorageBlock == nullptr) return;
  _qrtCheckFree(qrtStorageBlock->pendingMessage);
  freeThreadStorage();
}

void freeRunUnitRecord() {
  _qrtCheckFreeAll();
  QrtRunUnitRecord* const unit = _qrtRuncom;
  _qrtRuncom = nullptr;
  _qrtCheckFree(unit);
}

// Calls the container's routine for the depth that has been left, and leaves.
void leaveByStopRunPair(int32_t code) {
  constexpr int reason = static_cast<int>(EndReason::stopRun);
  const QrtStopRunPair* pair = currentStopRunPair();
  if (pair == nullptr) return;
  if (code == 0) code = 256;
  if (_qrtDebug > 1)
    printf("at %s:%d: _qrtRunUnitTerm  _qrtIsTrax=%d reason=%d retcode=%d\n", __FILE_NAME__, __LINE__,
           _qrtIsTrax, reason, code);
  pair->routine(pair->context, code);
  if (_qrtDebug > 1)
    printf("at %s:%d: _qrtRunUnitTerm  _qrtIsTrax=%d reason=%d\n", __FILE_NAME__, __LINE__, _qrtIsTrax,
           reason);
  if (_qrtJmpCobStart.returnAddress != 0) qrtLongJump(&_qrtJmpCobStart, code);
  exit(stopRunRoutineReturned);
}

}  // namespace

void bringProcessUp() {
  if (_qrtIsApc != 0 && hasBeenUp && !hosted()) _qrtIsTrax = 1;
  makeMutexes();
  if (_qrtProccom != nullptr && _qrtProccom->runUnitStack != nullptr) return;
  if (_qrtProccom != nullptr) endProcess();  // left by a hosted start that ran out of memory
  runUnitCounter = 0;
  _qrtExceptionAddress = nullptr;
  platform::adoptSystemLocale();
  resetFloatingPoint();
  makeProcessRecord();
  if (_qrtProccom == nullptr) return;
  openSysout();
  _qrtProcessRteOpts();
  _qrtRunUnitInit();
  hasBeenUp = true;
}

void takeRunUnitDown(EndReason reason, int32_t code) {
  if (_qrtRuncom == nullptr) return;
  auto* const stopRunRoutine = _qrtRuncom->stopRunCallback;
  void* const stopRunContext = _qrtRuncom->stopRunContext;
  if (stopRunRoutine != nullptr && reason == EndReason::mainReturned) return;

  endSort(reason);
  closePrograms();
  _qrtUTerm();
  freeTables();
  _qrt_cpm_forget();
  popRunUnit();
  freeStorage();
  freeRunUnitRecord();
  if (const QrtRunUnitLink* below = _qrtProccom->runUnitStack)
    _qrtRuncom = below->runUnit;
  else
    endProcess();
  if (hosted()) --_qrtIsTrax;

  if (_qrtIsApc != 0 && reason == EndReason::cleanUp) return;
  if (stopRunRoutine != nullptr) {
    stopRunRoutine(stopRunContext);
    exit(stopRunRoutineReturned);
  }
  if (_qrtIsApc != 0 && reason == EndReason::stopRun) leaveByStopRunPair(code);
}

}  // namespace qrt::frame

void _qrtRunUnitInit() {
  using namespace qrt::frame;
  if (_qrtProccom == nullptr) return;
  QrtRunUnitRecord* unit = makeRunUnitRecord();
  if (unit == nullptr) {
    qrtWriteERRmsg(message::outOfMemory, 0);
    return;
  }
  _qrtRuncom = unit;
  unit->tempDirectory = copyOfTemporaryDirectory();
  unit->programTable = _qrt_hash_create(programBuckets, QRT_HASH_KEY_BY_REFERENCE);
  unit->fileTable = _qrt_hash_create(fileBuckets, QRT_HASH_KEY_BY_REFERENCE);
  if (unit->programTable == nullptr || unit->fileTable == nullptr) qrtWriteERRmsg(message::outOfMemory, 0);
  pushRunUnit();
  expectMainProgram();
  _qrtUInit();
}

void _qrtRunUnitTerm(int32_t returnCode) {
  using namespace qrt::frame;
  constexpr int32_t jumpValueOfZero = 255;  // a jump can't carry 0
  if (_qrtIsApc >= levelOfNestedRunUnits && !hosted() && _qrtRuncom == nullptr) return;
  const bool wasHosted = hosted();
  takeRunUnitDown(EndReason::stopRun, returnCode);
  if (!wasHosted) qrtLongJump(&_qrtJmpCobStart, returnCode != 0 ? returnCode : jumpValueOfZero);
}

void _qrtCleanUp() {
  qrt::frame::takeRunUnitDown(qrt::frame::EndReason::cleanUp, 256);
}
