// Jump paths of the guards.
#include "frame/guard.h"

namespace qrt::frame {

void caughtByGuard(QrtJumpBuffer* outer) {
  threadStorage()->anchor = outer;
}

void relayJump(QrtJumpBuffer* outer) {
  threadStorage()->anchor = outer;
  qrtLongJump(outer, 1);
}

}  // namespace qrt::frame
