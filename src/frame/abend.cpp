// The abnormal end of a run, and the trapping of signals that may lead to it.
#include <signal.h>
#include <stdlib.h>
#include <string.h>

#include <utility>

#include "frame/catalogue.h"
#include "frame/guard.h"
#include "frame/hosting.h"
#include "frame/message.h"
#include "platform/exceptions.h"
#include "platform/process.h"

namespace {

using namespace qrt;

constexpr int stopRunReturned = 183;

int32_t trappedSignals = 0;

void tellSignal(int signal) {
  ++trappedSignals;
  const char* const name = signal == SIGILL    ? "SIGILL "
                           : signal == SIGFPE  ? "SIGFPE "
                           : signal == SIGSEGV ? "SIGSEGV"
                           : signal == SIGINT  ? "SIGINT "
                                               : "SIG??? ";
  constexpr uint32_t secondVariant = 1;
  qrtWriteERRmsg(frame::message::signalTrapped, QRT_MESSAGE_KEEP_TRACEBACK | secondVariant, name,
                 _qrtExceptionAddress);
}

}  // namespace

void _qrtAbend() {
  using namespace qrt::frame;
  auto* const stopRun = _qrtRuncom != nullptr ? _qrtRuncom->stopRunCallback : nullptr;
  void* const stopRunContext = _qrtRuncom != nullptr ? _qrtRuncom->stopRunContext : nullptr;
  if (_qrtProccom != nullptr && _qrtProccom->abendHook != nullptr)
    std::exchange(_qrtProccom->abendHook, nullptr)(_qrtProccom);
  if (hosted() && _qrtIsApc < 2) {
    if (messageCallback != nullptr)
      messageCallback(1, hostTag, hostAbendText, static_cast<int32_t>(strlen(hostAbendText)));
    _qrtCleanUp();
    if (_qrtJmpCobStart.returnAddress == 0) platform::endAbnormally();  // nobody to go back to
    // Without a run unit that took the block down, it still names a guard that the jump leaves behind.
    if (qrtStorageBlock != nullptr) qrtStorageBlock->anchor = nullptr;
    qrtLongJump(&_qrtJmpCobStart, 1);
  }
  // What a signal interrupted may be in no state to be taken down.
  if (trappedSignals == 0) _qrtCleanUp();
  if (_qrtIsApc != 0 && abnormalEndCallback != nullptr) {
    abnormalEndCallback();
    platform::endAbnormally();
  }
  if (stopRun != nullptr) {
    stopRun(stopRunContext);
    exit(stopRunReturned);
  }
  platform::endAbnormally();
}

void _qrtSignalInit() {
  if (frame::hosted()) return;
  platform::setVectoredHandler(_qrtExceptHandler);
  for (int signal : {SIGFPE, SIGILL, SIGINT, SIGSEGV}) platform::setSignalRoutine(signal, tellSignal);
}

void _qrtSignalTerminate() {
  if (frame::hosted()) return;
  for (int signal : {SIGILL, SIGINT, SIGSEGV}) platform::setSignalRoutine(signal, nullptr);
  platform::setVectoredHandler(nullptr);
}

int32_t _qrtExceptHandler(QrtExceptionPointers* exception) {
  _qrtExceptionAddress = exception->record->address;
  return 0;
}

int32_t gotSignal() {
  return trappedSignals;
}

int32_t _qrtGetname(uint32_t, uint32_t) {
  return -1;
}
