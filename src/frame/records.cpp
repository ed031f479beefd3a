// The process-wide anchors of the library: exported records and flags, and the thread storage block.
#include <new>

#include "frame/guard.h"
#include "frame/hosting.h"
#include "frame/message.h"
#include "qrtrlib.h"

QrtProcessRecord* _qrtProccom = nullptr;
QrtRunUnitRecord* _qrtRuncom = nullptr;
int32_t _qrtIsTrax = 0;
int32_t _qrtIsApc = 0;
int32_t _qrtIsDebuggerLoaded = 0;
QrtJumpBuffer _qrtJmpCobStart = {};
void* _qrtTraxModHandle = nullptr;
uint32_t _qrtInEE = 0;
uint32_t _qrtFirst_frame = 0;
uint32_t cpm_mutex = 0;
void* _qrtExceptionAddress = nullptr;
char* _qrtDebugBuf = nullptr;
int32_t _qrtDebugBufLen = 0;

namespace qrt::frame {
int32_t (*messageCallback)(int32_t flag, const char* tag, const char* text, int32_t length) = nullptr;
void (*abnormalEndCallback)() = nullptr;
}  // namespace qrt::frame

// Called by the arming of the first guard as well.
extern "C" QrtThreadStorage* qrtMakeStorageBlock();

QrtThreadStorage* qrtMakeStorageBlock() {
  void* block = _qrtMalloc(sizeof(QrtThreadStorage), qrt::frame::message::outOfMemory, 0);
  if (block == nullptr) _qrtAbend();
  return qrtStorageBlock = new (block) QrtThreadStorage{};
}

QrtThreadStorage* threadStorage() {
  return qrtStorageBlock != nullptr ? qrtStorageBlock : qrtMakeStorageBlock();
}

void freeThreadStorage() {
  _qrtCheckFree(qrtStorageBlock);
  qrtStorageBlock = nullptr;
}

void resetThreadStorageAnchor() {
  qrtStorageBlock = nullptr;
}
