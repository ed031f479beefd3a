// Severe messages under a debugger: they come back through the guard, and the debugger's module gets them.
#include <qrtrlib.h>

#include "frame/catalogue_writer.h"
#include "support/process.h"

using namespace qrt::test;

namespace {

void attach(bool withModule) {
  setenv("PATH", withModule ? QRT_BUILD_DIRECTORY "/tests/modules/dvtddbg1" : "/nowhere", 1);
  _qrtIsDebuggerLoaded = 1;
}

}  // namespace

TEST(Debugger, SevereMessageReturnsThroughTheEntry) {
  const Catalogue catalogue({usualControl, {40, 1, "2 Told %d"}, {41, 1, "1 Warned"}});
  for (const bool withModule : {false, true}) {
    const Ended ended = inChild([withModule] {
      attach(withModule);
      for (int32_t round = 1; round <= 2; ++round) {
        printf("returned %d\n", static_cast<int>(_qrtWriteERRmsg(40, 0, round)));
        if (threadStorage()->anchor != nullptr) _exit(1);
        printf("%s", threadStorage()->pendingMessage);
      }
      _qrtWriteERRmsg(41, 0);
      puts("went on");
    });
    EXPECT_EQ(ended.exitCode, 0);
    EXPECT_EQ(ended.err, "QRT040S  Told 1\n\nQRT040S  Told 2\n\nQRT041W  Warned\n\n");
    std::string expected;
    for (const char* text : {"QRT040S  Told 1\n\n", "QRT040S  Told 2\n\n"}) {
      if (withModule) expected += std::string("0 2 2 ANSI_X3.4-1968 [") + text + "]\n";
      expected += std::string("returned 0\n") + text;
    }
    EXPECT_EQ(ended.out, expected + "went on\n");
  }
}

// An error under a nested guard goes on to the guard outside it, or ends the run.
TEST(Debugger, NestedGuardRelaysTheJump) {
  const Catalogue catalogue({usualControl});
  for (const bool outerArmed : {false, true}) {
    const Ended ended = inChild([outerArmed] {
      attach(false);
      QrtJumpBuffer outer;
      threadStorage()->anchor = outerArmed ? &outer : nullptr;
      if (qrtSetJump(&outer) != 0) _exit(threadStorage()->anchor == &outer ? 42 : 1);
      // The table's slot lies where nothing can be written; the fault comes back as a jump to the nested
      // guard.
      setvbuf(stdout, nullptr, _IONBF, 0);
      static QrtJumpBuffer* nested = nullptr;
      _qrtSignalInit();
      _qrtInitHashCreate(reinterpret_cast<QrtHashTable**>(8), 3, 0);
      (void)nested;
    });
    EXPECT_EQ(ended.exitCode, outerArmed ? 42 : 3);
  }
}

TEST(Debugger, StartMessageNeedsNoModule) {
  const Catalogue catalogue({usualControl});
  const Ended ended = inChild([] {
    setenv("PATH", "/nowhere", 1);
    const int32_t without = qrtDebugStartMsg(5, 6, 7, "ignored", "text");
    setenv("PATH", QRT_BUILD_DIRECTORY "/tests/modules/dvtddbg1", 1);
    const int32_t with = qrtDebugStartMsg(5, 6, 7, "ignored", "text");
    _exit(without == 0 && with == 77 && fflush(stdout) == 0 ? 42 : 1);
  });
  EXPECT_EQ(ended.exitCode, 42);
  EXPECT_EQ(ended.out, "5 7 7 ANSI_X3.4-1968 [text]\n");
}

TEST(Debugger, WithoutAnArmedGuardTheRunEnds) {
  const Catalogue catalogue({usualControl, {40, 1, "2 Told"}});
  const Ended ended = inChild([] {
    attach(false);
    qrtWriteERRmsg(40, 0);
  });
  EXPECT_EQ(ended.exitCode, 3);
  EXPECT_EQ(ended.err, "QRT040S  Told\n\n");
}
