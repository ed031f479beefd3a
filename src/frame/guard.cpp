// Jump paths of the guards.
#include "frame/guard.h"

#include "platform/locale.h"

namespace qrt::frame {

void caughtByGuard(const Guard& guard) {
  disarm(guard);
  qrtDebugStartMsg(0, 1, 2, platform::codeSetName(), guard.storage->pendingMessage);
}

void relayJump(const Guard& guard) {
  disarm(guard);
  if (guard.outer == nullptr) _qrtAbend();
  qrtLongJump(guard.outer, 1);
}

}  // namespace qrt::frame
