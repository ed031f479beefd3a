// Severe messages under a debugger: they come back through the guard, and the debugger's module gets them.

#include "support/catalogue_writer.h"

using namespace qrt::test;

TEST(Debugger, SevereMessageReturnsThroughTheEntry) {
  const Catalogue catalogue({usualControl, {40, 1, "2 Told %d"}, {41, 1, "1 Warned"}});
  const Ended ended = inChild([] {
    _qrtIsDebuggerLoaded = 1;
    for (const char* path : {"/nowhere", QRT_BUILD_DIRECTORY "/tests/modules/dvtddbg1"}) {
      setenv("PATH", path, 1);
      printf("returned %d\n", static_cast<int>(_qrtWriteERRmsg(40, 0, *path)));
      if (threadStorage()->anchor != nullptr) _exit(1);
      printf("%s", threadStorage()->pendingMessage);
    }
    _qrtWriteERRmsg(41, 0);
    fflush(stdout);
    qrtWriteERRmsg(40, 0, 1);  // no guard is armed: the run ends
  });
  EXPECT_EQ(ended.exitCode, 3);
  EXPECT_EQ(ended.err, "QRT040S  Told 47\n\nQRT040S  Told 47\n\nQRT041W  Warned\n\nQRT040S  Told 1\n\n");
  EXPECT_EQ(ended.out,
            "returned 0\nQRT040S  Told 47\n\n"
            "0 2 2 ANSI_X3.4-1968 [QRT040S  Told 47\n\n]\nreturned 0\nQRT040S  Told 47\n\n");
}

// An error under a nested guard goes on to the guard outside it, or ends the run.
TEST(Debugger, NestedGuardRelaysTheJump) {
  const Catalogue catalogue({usualControl});
  for (const bool outerArmed : {false, true}) {
    const Ended ended = inChild([outerArmed] {
      setenv("PATH", "/nowhere", 1);
      _qrtIsDebuggerLoaded = 1;
      QrtJumpBuffer outer;
      threadStorage()->anchor = outerArmed ? &outer : nullptr;
      if (qrtSetJump(&outer) != 0) _exit(threadStorage()->anchor == &outer ? 42 : 1);
      _qrtSignalInit();
      // The slot can't be written: the fault's message comes back as a jump to the nested guard.
      _qrtInitHashCreate(reinterpret_cast<QrtHashTable**>(8), 3, 0);
    });
    EXPECT_EQ(ended.exitCode, outerArmed ? 42 : 3);
  }
}
