// The two kinds of guard. The plain one stands in the generated entries; the nested one wraps work inside a
// service that must leave its own state in order before a severe error goes further out.
#pragma once

#include "qrtrlib.h"

namespace qrt::frame {

// The jump path of a plain guard: makes `outer` the innermost guard again and tells the debugger.
void caughtByGuard(QrtJumpBuffer* outer);

// The jump path of a nested guard: makes `outer` the innermost guard again and jumps there, or ends the run
// when no guard is armed.
[[noreturn]] void relayJump(QrtJumpBuffer* outer);

// Runs `work` under a guard of its own. `undo` runs on the jump path only, ahead of the relay. Neither may
// own resources by destructors: a jump doesn't run them.
template <typename Work, typename Undo>
void underNestedGuard(Work&& work, Undo&& undo) {
  QrtJumpBuffer buffer;
  QrtThreadStorage* const storage = threadStorage();
  QrtJumpBuffer* const outer = storage->anchor;
  storage->anchor = &buffer;
  if (qrtSetJump(&buffer) != 0) {
    undo();
    relayJump(outer);
  }
  work();
  storage->anchor = outer;
}

template <typename Work>
void underNestedGuard(Work&& work) {
  underNestedGuard(work, [] {});
}

}  // namespace qrt::frame
