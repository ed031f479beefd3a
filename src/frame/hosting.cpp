// The entries of hosts: transaction monitors, application-server containers, and plain embedding programs.
#include "frame/hosting.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "frame/lifecycle.h"
#include "frame/message.h"
#include "frame/programs.h"
#include "frame/stop_run.h"
#include "platform/exceptions.h"

int32_t _qrtDebug = 0;
QrtStopRunPair _qrtApcStopRunTab[QRT_STOP_RUN_PAIRS] = {};
QrtStopRunPair* _qrtApcStopRun = _qrtApcStopRunTab;
int32_t _qrtApcStopRunMax = QRT_STOP_RUN_PAIRS;

namespace qrt::frame {
namespace {

constexpr int trappedSignalEnd = 183;  // exit code

enum FunctionCode : int32_t { registerStopRun = 1, firstCall = 9, bindRoutine = 10 };

// The number in an environment variable, 1 for one that holds none; `absent` when the variable is unset.
int32_t levelFrom(const char* variable, int32_t absent) {
  const char* text = getenv(variable);
  if (text == nullptr) return absent;
  const long number = strtol(text, nullptr, 10);
  return number != 0 ? static_cast<int32_t>(number) : 1;
}

void readContainerEnvironment(const char* nameInTrace) {
  constexpr const char* containerVariable = "__COBOL_APC_CONTAINER";
  _qrtDebug = levelFrom("__QRTDEBUG", _qrtDebug);
  _qrtIsApc = levelFrom(containerVariable, 1);
  if (_qrtDebug == 0) return;
  const char* container = getenv(containerVariable);
  printf(">>%s APC CONTAINER RTS built at %s %s  __COBOL_APC_CONTAINER=%s\n", nameInTrace, __DATE__, __TIME__,
         container != nullptr ? container : "(null)");
}

// The table outlives run units, so it lies on the plain heap.
bool growStopRunTable() {
  const auto pairs = static_cast<size_t>(_qrtApcStopRunMax);
  auto* grown = static_cast<QrtStopRunPair*>(calloc(2 * pairs, sizeof(QrtStopRunPair)));
  if (grown == nullptr) return false;
  memcpy(grown, _qrtApcStopRun, pairs * sizeof(QrtStopRunPair));
  if (_qrtApcStopRun != _qrtApcStopRunTab) free(_qrtApcStopRun);
  _qrtApcStopRun = grown;
  _qrtApcStopRunMax *= 2;
  return true;
}

// Plain or container level 1: the routine of the one run unit. The result stands also where the start of the
// process doesn't come back.
void registerForRunUnit(int32_t functionCode, QrtHostRoutine routine, int32_t* result, void* context) {
  *result = 1;
  if (hosted() || functionCode != registerStopRun || routine == nullptr) return;
  if (_qrtProccom == nullptr) _qrtPgmInit(nullptr);
  if (_qrtRuncom == nullptr || _qrtRuncom->stopRunCallback != nullptr) return;
  _qrtRuncom->stopRunCallback = reinterpret_cast<void (*)(void*)>(routine);
  _qrtRuncom->stopRunContext = context;
  *result = 0;
}

void endNestedRunUnit(int32_t functionCode, int32_t* result) {
  if (gotSignal() != 0) {
    if (_qrtIsTrax <= 1) exit(trappedSignalEnd);
    _qrtCheckFreeAll();
    return;
  }
  *result = 0;
  if (functionCode == firstCall) {
    _qrtCleanUp();
  } else if (hosted() || _qrtRuncom != nullptr) {
    if (_qrtDebug > 1)
      printf("at %s:%d: _qrtRunUnitTerm  _qrtIsTrax=%d _qrtRuncom=%d \n", __FILE_NAME__, __LINE__,
             static_cast<int>(_qrtIsTrax), reinterpret_cast<int>(_qrtRuncom));
    const bool wasHosted = hosted();
    takeRunUnitDown(EndReason::mainReturned, 1);
    if (!wasHosted) qrtLongJump(&_qrtJmpCobStart, 1);
  }
  resetStopRunTable();
}

}  // namespace

bool setStopRunPair(QrtHostRoutine routine, void* context) {
  while (_qrtIsTrax >= _qrtApcStopRunMax)
    if (!growStopRunTable()) {
      qrtWriteERRmsg(message::outOfMemory, 0);
      return false;
    }
  _qrtApcStopRun[_qrtIsTrax] = {reinterpret_cast<void (*)(void*, int32_t)>(routine), context};
  return true;
}

const QrtStopRunPair* currentStopRunPair() {
  if (_qrtIsTrax >= _qrtApcStopRunMax) return nullptr;
  const QrtStopRunPair* pair = &_qrtApcStopRun[_qrtIsTrax];
  return pair->routine != nullptr ? pair : nullptr;
}

void resetStopRunTable() {
  if (_qrtApcStopRun == _qrtApcStopRunTab) return;
  memcpy(_qrtApcStopRunTab, _qrtApcStopRun, sizeof(_qrtApcStopRunTab));
  free(_qrtApcStopRun);
  _qrtApcStopRun = _qrtApcStopRunTab;
  _qrtApcStopRunMax = QRT_STOP_RUN_PAIRS;
}

}  // namespace qrt::frame

void _qrtCOBOLInit(int32_t fcode, QrtHostRoutine routine, int32_t* result, void* context) {
  using namespace qrt::frame;
  if (_qrtIsApc >= levelOfNestedRunUnits && _qrtDebug > 1) {
    printf("%s:%d: _qrtCOBOLInit fcode=%d  _qrtIsApc=%d  _qrtIsTrax=%d\n", __FILE_NAME__, __LINE__,
           static_cast<int>(fcode), static_cast<int>(_qrtIsApc), static_cast<int>(_qrtIsTrax));
    fflush(stdout);
  }
  if (fcode == bindRoutine) {
    _qrtCOBOLApcLoadBind(routine);
  } else if (fcode == firstCall) {
    readContainerEnvironment("_COBOL");
    _qrtCOBOLErrorCallbacks(reinterpret_cast<QrtMessageCallback>(routine),
                            reinterpret_cast<QrtAbnormalEndCallback>(context));
  } else if (_qrtIsApc >= levelOfNestedRunUnits) {
    const bool registered = setStopRunPair(routine, context);
    if (registered) _qrtTraxRunUnit(1, nullptr);
    *result = registered ? 0 : 1;
  } else {
    registerForRunUnit(fcode, routine, result, context);
  }
}

void QRTCOBOLINIT(int32_t fcode, QrtHostRoutine routine, int32_t* result, void* context)
    __attribute__((alias("_qrtCOBOLInit")));
void _QrtCOBOLInit(int32_t fcode, QrtHostRoutine routine, int32_t* result, void* context)
    __attribute__((alias("_qrtCOBOLInit")));

void _qrtCOBOLInit1(int32_t fcode, QrtHostRoutine routine, int32_t* result, void* context,
                    QrtMessageCallback messages, QrtAbnormalEndCallback abnormalEnd, QrtHostRoutine bind) {
  using namespace qrt::frame;
  readContainerEnvironment("COBOL");
  setStopRunPair(routine, context);
  _qrtCOBOLErrorCallbacks(messages, abnormalEnd);
  _qrtCOBOLApcLoadBind(bind);
  _qrtCOBOLInit(fcode, routine, result, context);
}

void _qrtCOBOLTerm(int32_t fcode, int32_t* result) {
  using namespace qrt::frame;
  if (_qrtIsApc >= levelOfNestedRunUnits) {
    if (_qrtDebug > 1)
      printf("at %s:%d: _qrtCOBOLTerm  _qrtIsTrax=%d fcode=%d gotSignal=%d\n", __FILE_NAME__, __LINE__,
             static_cast<int>(_qrtIsTrax), static_cast<int>(fcode), static_cast<int>(gotSignal()));
    return endNestedRunUnit(fcode, result);
  }
  const bool registered = _qrtRuncom != nullptr && _qrtRuncom->stopRunCallback != nullptr;
  *result = 1;
  if (fcode != registerStopRun || !registered) return;
  *result = 0;
  _qrtRuncom->stopRunCallback = nullptr;
  takeRunUnitDown(EndReason::hostTerm, 256);
}

void QRTCOBOLTERM(int32_t fcode, int32_t* result) __attribute__((alias("_qrtCOBOLTerm")));
void _QrtCOBOLTerm(int32_t fcode, int32_t* result) __attribute__((alias("_qrtCOBOLTerm")));

void _qrtCOBOLHostInit(int32_t* result) {
  using namespace qrt::frame;
  *result = hosted() ? 1 : 0;
  if (hosted()) return;
  _qrtPgmInit(nullptr);
  expectMainProgramOfHost();
}

void _qrtCOBOLErrorCallbacks(QrtMessageCallback messages, QrtAbnormalEndCallback abnormalEnd) {
  qrt::frame::messageCallback = messages;
  qrt::frame::abnormalEndCallback = abnormalEnd;
}

void _qrtCOBOLApcLoadBind(QrtHostRoutine) {}

void _qrtTraxRunUnit(int32_t mode, QrtMessageCallback messages) {
  using namespace qrt::frame;
  constexpr int32_t openRunUnit = 1;
  if (mode != openRunUnit) {
    _qrt_trax_exit_in_progress = 1;
    return;
  }
  ++_qrtIsTrax;
  if (_qrtIsApc == 0 || messages != nullptr) messageCallback = messages;
  _qrt_cpm_enable();
  _qrtRunUnitInit();
}

void _qrt_cpm_init(QrtMessageCallback messages, void* module) {
  _qrtTraxModHandle = module;
  _qrtTraxRunUnit(1, messages);
}

void _qrt_cpm_cancel() {
  _qrtCleanUp();
}

void _qrt_cpm_exit() {
  _qrtRunUnitTerm(1);
  qrtLongJump(&_qrtJmpCobStart, 1);
}

int32_t _qrtCallMain(int32_t (*routine)(void* argument), void* argument) {
  // Passes every exception on; the chain is again as it was behind the call.
  const qrt::platform::InstalledHandler frame([](QrtExceptionRecord*) -> int32_t { return 1; });
  return routine(argument);
}
