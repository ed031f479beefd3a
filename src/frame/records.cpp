// The process-wide anchors of the library: exported records and flags, and the thread storage block.
#include <new>

#include "frame/hosting.h"
#include "frame/message.h"
#include "qrtrlib.h"

QrtProcessRecord* _qrtProccom = nullptr;
QrtRunUnitRecord* _qrtRuncom = nullptr;
int32_t _qrtIsTrax = 0;
int32_t _qrtIsApc = 0;
int32_t _qrtIsDebuggerLoaded = 0;
QrtJumpBuffer _qrtJmpCobStart = {};

namespace qrt::frame {
int32_t (*messageCallback)(int32_t flag, const char* tag, const char* text, int32_t length) = nullptr;
void (*abnormalEndCallback)() = nullptr;
}  // namespace qrt::frame

namespace {
QrtThreadStorage* storageBlock = nullptr;

__attribute__((noinline)) QrtThreadStorage* makeStorageBlock() {
  void* block = _qrtMalloc(sizeof(QrtThreadStorage), qrt::frame::outOfMemory, 0);
  if (block != nullptr) storageBlock = new (block) QrtThreadStorage{};
  return storageBlock;
}
}  // namespace

QrtThreadStorage* threadStorage() {
  return storageBlock != nullptr ? storageBlock : makeStorageBlock();
}

void freeThreadStorage() {
  _qrtCheckFree(storageBlock);
  storageBlock = nullptr;
}

void resetThreadStorageAnchor() {
  storageBlock = nullptr;
}
