// The two kinds of guard. The plain one stands in the generated entries; the nested one wraps work inside a
// service that must leave its own state in order before a severe error goes further out.
#pragma once

#include "qrtrlib.h"

// The block of threadStorage(); null until that was asked for, or a guard armed. It stands beside the jump
// primitives, with the head of the exception chain.
extern "C" QrtThreadStorage* qrtStorageBlock;
extern "C" struct QrtGuardRoots qrtGuardRoots;

namespace qrt::frame {

// A guard on the stack of the function that arms it.
struct Guard {
  QrtJumpBuffer buffer;
  QrtThreadStorage* storage;
  QrtJumpBuffer* outer;  // the guard that was innermost before; null for none
};
static_assert(offsetof(Guard, storage) == 32 && offsetof(Guard, outer) == 36);

// Makes the guard the innermost one: what threadStorage() and ?_qrtsetjmp do, in one call. Returns 0, and
// comes back with another value on a jump to it. The roots are always qrtGuardRoots: an entry has its address
// at hand.
extern "C" int32_t qrtArmGuard(Guard* guard, QrtGuardRoots* roots = &qrtGuardRoots)
    __attribute__((returns_twice, regparm(2)));

inline void disarm(const Guard& guard) {
  guard.storage->anchor = guard.outer;
}

// The jump path of a plain guard: disarms it and tells the debugger.
void caughtByGuard(const Guard& guard);

// The jump path of a nested guard: disarms it and jumps to the next one, or ends the run when there is none.
[[noreturn]] void relayJump(const Guard& guard);

// The plain guard, for an entry that does without one in its frequent cases, which can't report. A jump to it
// comes back here as it does to a generated entry.
template <typename Work>
[[gnu::noinline]] void underPlainGuard(Work work) {
  Guard guard;
  if (qrtArmGuard(&guard) != 0) return caughtByGuard(guard);
  work();
  disarm(guard);
}

// Runs `work` under a guard of its own. `undo` runs on the jump path only, ahead of the relay. Neither may
// own resources by destructors: a jump doesn't run them.
template <typename Work, typename Undo>
void underNestedGuard(Work&& work, Undo&& undo) {
  Guard guard;
  if (qrtArmGuard(&guard) != 0) {
    undo();
    relayJump(guard);
  }
  work();
  disarm(guard);
}

template <typename Work>
void underNestedGuard(Work&& work) {
  underNestedGuard(work, [] {});
}

}  // namespace qrt::frame
