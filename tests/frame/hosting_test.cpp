// Hosts: nested run units of a transaction monitor, containers of both kinds, and registered stop-run
// routines.
#include <qrtrlib.h>
#include <stdlib.h>

#include <functional>

#include "support/allocation.h"
#include "support/process.h"
#include "support/program.h"

using namespace qrt::test;

namespace {

// The routine of a host may not come back: this one notes its arguments and jumps out.
struct Left {
  QrtJumpBuffer out{};
  void* context = nullptr;
  int32_t code = -1;
};

void leave(void* context) {
  auto* left = static_cast<Left*>(context);
  left->context = context;
  qrtLongJump(&left->out, 77);
}

void leaveWithCode(void* context, int32_t code) {
  static_cast<Left*>(context)->code = code;
}

template <typename Routine>
QrtHostRoutine host(Routine* routine) {
  return reinterpret_cast<QrtHostRoutine>(routine);
}

// Text of an `inChild` with the environment of a container of that level.
Ended inContainer(const char* level, const std::function<void()>& work, const char* debug = nullptr) {
  return inChild([&] {
    setenv("__COBOL_APC_CONTAINER", level, 1);
    if (debug != nullptr) setenv("__QRTDEBUG", debug, 1);
    int32_t result = -7;
    _qrtCOBOLInit(9, nullptr, &result, nullptr);
    if (result != -7) puts("result was written");
    work();
  });
}

TEST(Hosting, TraxRunUnitsNest) {
  _qrtPgmInit(nullptr);  // what a process makes once and for all is made here
  _qrtCleanUp();
  Program outer("OUTER"), inner("INNER");
  const int32_t before = liveBlocks();
  _qrt_cpm_init(nullptr, &outer);
  EXPECT_EQ(_qrtTraxModHandle, &outer);
  EXPECT_EQ(_qrtIsTrax, 1);
  EXPECT_EQ(_qrtRuncom, nullptr);  // the process waits for its first program
  _qrtPgmInit(&outer.block);
  QrtRunUnitRecord* const first = _qrtRuncom;
  ASSERT_NE(first, nullptr);
  ASSERT_NE(_qrtCheckMalloc(100), nullptr);  // goes with the run unit
  EXPECT_NE(first->hostedAllocations, nullptr);

  _qrtTraxRunUnit(1, nullptr);
  EXPECT_EQ(_qrtIsTrax, 2);
  EXPECT_EQ(_qrtRuncom->runUnitNumber, 2u);
  _qrtPgmInit(&inner.block);
  EXPECT_TRUE(inner.block.flags & QRT_PROGRAM_MAIN);
  inner.entries[0].stateFlags = QRT_ENTRY_NOT_INITIAL;
  _qrtRunUnitTerm(9);  // comes back to the host
  EXPECT_EQ(inner.entries[0].activeCount, 0);
  EXPECT_EQ(inner.entries[0].stateFlags, 0u);
  EXPECT_EQ(_qrtIsTrax, 1);
  EXPECT_EQ(_qrtRuncom, first);
  EXPECT_EQ(_qrtRuncom->mainPLLE, outer.block.plle);
  _qrtPgmTerm(&outer.block);
  EXPECT_EQ(_qrtIsTrax, 0);
  EXPECT_EQ(_qrtProccom, nullptr);
  EXPECT_EQ(liveBlocks(), before);
}

TEST(Hosting, ExitInProgressEndsTheRunUnitAtTheNextExit) {
  Program main("MAIN"), called("CALLED");
  const int32_t way = run(main, [&] {
    _qrtPgmInit(&called.block);
    _qrtTraxRunUnit(0, nullptr);
    EXPECT_EQ(_qrt_trax_exit_in_progress, 1);
    _qrtPgmTerm(&called.block);
    ADD_FAILURE() << "came back";
  });
  EXPECT_EQ(way, 1);
  EXPECT_EQ(_qrt_trax_exit_in_progress, 0);
  EXPECT_EQ(_qrtRuncom, nullptr);
}

TEST(Hosting, CpmCallsEndTheRunUnit) {
  Program main("MAIN");
  EXPECT_EQ(run(main, [] { _qrt_cpm_exit(); }), 1);
  _qrtPgmInit(&main.block);
  _qrt_cpm_cancel();
  EXPECT_EQ(_qrtProccom, nullptr);
}

TEST(Hosting, RegisteredRoutineKeepsTheRunUnitForTheHost) {
  Program main("MAIN");
  Left left;
  int32_t result = -1;
  _qrtCOBOLInit(1, nullptr, &result, nullptr);
  EXPECT_EQ(result, 1);
  EXPECT_EQ(_qrtProccom, nullptr);
  QRTCOBOLINIT(1, host(leave), &result, &left);
  EXPECT_EQ(result, 0);
  _QrtCOBOLInit(1, host(leave), &result, &left);
  EXPECT_EQ(result, 1);  // there is one already
  _qrtCOBOLInit(2, host(leave), &result, &left);
  EXPECT_EQ(result, 1);
  int32_t hostResult = -1;
  _qrtCOBOLHostInit(&hostResult);
  _qrtPgmInit(&main.block);
  _qrtPgmTerm(&main.block);
  EXPECT_NE(_qrtRuncom, nullptr);
  EXPECT_NE(main.block.plle, nullptr);
  QRTCOBOLTERM(2, &result);
  EXPECT_EQ(result, 1);
  _qrtCOBOLTerm(1, &result);
  EXPECT_EQ(result, 0);
  EXPECT_EQ(left.context, nullptr);  // the host has ended the run unit by itself
  EXPECT_EQ(_qrtRuncom, nullptr);
  _QrtCOBOLTerm(1, &result);
  EXPECT_EQ(result, 1);
}

TEST(Hosting, StopRunGoesToTheRegisteredRoutine) {
  Left left;
  int32_t result = -1;
  _qrtCOBOLInit(1, host(leave), &result, &left);
  const int32_t way = qrtSetJump(&left.out);
  if (way == 0) _qrtRunUnitTerm(4);
  EXPECT_EQ(way, 77);
  EXPECT_EQ(left.context, &left);
  EXPECT_EQ(_qrtRuncom, nullptr);

  const Ended ended = inChild([] {
    int32_t ignored;
    _qrtCOBOLInit(1, host(+[](void*) {}), &ignored, nullptr);
    _qrtRunUnitTerm(4);
  });
  EXPECT_EQ(ended.exitCode, 183);
}

// Level 1: the run turns hosted at the first entry of a program while the blocks of its start are in use.
TEST(Container, LevelOne) {
  for (const bool messages : {false, true}) {
    const Ended ended = inContainer("1", [=] {
      Program main("MAIN"), called("CALLED");
      Left left;
      const int32_t before = liveBlocks();
      int32_t result = -1;
      _qrtCOBOLInit1(
          1, host(leave), &result, &left,
          [](int32_t flag, const char* tag, const char* text, int32_t length) -> int32_t {
            if (length > 0) printf("%d %s %.6s ", int(flag), tag, text);
            return 0;
          },
          [] { fputs("abnormal end", stdout); }, nullptr);
      printf("%d %d ", int(result), int(_qrtIsApc));
      if (qrtSetJump(&left.out) == 0) {
        _qrtPgmInit(&main.block);
        printf("%d ", int(_qrtIsTrax));
        _qrtPgmInit(&called.block);
        if (!messages) _qrtRunUnitTerm(0);
        printf("%d ", int(startUp([] { qrtWriteERRmsg(907, 0); })));
      }
      printf("%d %d", int(_qrtIsTrax), int(liveBlocks() - before));
    });
    EXPECT_EQ(ended.exitCode, 0) << ended.out << ended.err;
    if (!messages) {
      EXPECT_EQ(ended.out, "0 1 1 0 0");
      continue;
    }
    EXPECT_EQ(ended.out, "0 1 1 1 TCBL QRT907 1 TCBL QRT901 1 0 0");
  }
}

TEST(Container, StopRunPairOfEachDepth) {
  const Ended ended = inContainer("2", [] {
    constexpr int depths = 40;
    static Left left[depths];
    int32_t result = -1;
    for (int depth = 0; depth < depths; ++depth) {
      _qrtCOBOLInit(1, host(leaveWithCode), &result, &left[depth]);
      if (result != 0 || _qrtIsTrax != depth + 1) puts("not registered");
      if (depth == 0) _qrtPgmInit(nullptr);
      if (depth == 31 && _qrtApcStopRun != _qrtApcStopRunTab) puts("grown early");
    }
    printf("%d %d ", int(_qrtApcStopRunMax), int(_qrtRuncom->runUnitNumber));
    for (int depth = depths - 1; depth >= 33; --depth) {
      const int32_t code = depth == 39 ? 0 : depth;
      const int32_t way = startUp([=] { _qrtRunUnitTerm(code); });
      printf("%d/%d ", int(way), int(left[depth].code));
    }
    _qrtCOBOLTerm(1, &result);  // puts the table back
    printf("%d %d %d ", int(result), int(_qrtIsTrax), _qrtApcStopRun == _qrtApcStopRunTab);
    const int32_t way = startUp([] { _qrtRunUnitTerm(5); });
    printf("%d/%d", int(way), int(left[31].code));
  });
  EXPECT_EQ(ended.out, "64 40 256/256 38/38 37/37 36/36 35/35 34/34 33/33 0 32 1 5/5") << ended.err;
}

TEST(Container, TermWithoutARunUnitDoesNothingButResetTheTable) {
  const Ended ended = inContainer("2", [] {
    int32_t result = -1;
    _qrtCOBOLTerm(1, &result);
    _qrtRunUnitTerm(3);
    printf("%d", int(result));
  });
  EXPECT_EQ(ended.out, "0");
}

TEST(Container, TraceLines) {
  const Ended ended = inContainer(
      "2",
      [] {
        static Left left;
        int32_t result = -1;
        _qrtCOBOLInit(1, host(leaveWithCode), &result, &left);
        _qrtPgmInit(nullptr);
        startUp([] { _qrtRunUnitTerm(6); });
        _qrtCOBOLInit(1, host(leaveWithCode), &result, &left);
        _qrtCOBOLTerm(1, &result);
      },
      "2");
  const char* const expected[] = {">>_COBOL APC CONTAINER RTS built at ",
                                  "  __COBOL_APC_CONTAINER=2\n",
                                  ": _qrtCOBOLInit fcode=1  _qrtIsApc=2  _qrtIsTrax=0\n",
                                  ": _qrtRunUnitTerm  _qrtIsTrax=0 reason=2 retcode=6\n",
                                  ": _qrtRunUnitTerm  _qrtIsTrax=0 reason=2\n",
                                  ": _qrtCOBOLInit fcode=1  _qrtIsApc=2  _qrtIsTrax=0\n",
                                  ": _qrtCOBOLTerm  _qrtIsTrax=1 fcode=1 gotSignal=0\n",
                                  ": _qrtRunUnitTerm  _qrtIsTrax=1 _qrtRuncom="};
  size_t at = 0;
  for (const char* line : expected) {
    at = ended.out.find(line, at);
    ASSERT_NE(at, std::string::npos) << line << "not in\n" << ended.out;
    at += strlen(line);
  }
}

TEST(Container, LevelsFromTheEnvironment) {
  for (const auto& [level, debug, expected] :
       {std::tuple{"3", "0", "3 1"}, {"x", "5", "1 5"}, {"0", "-", "1 1"}}) {
    const Ended ended = inContainer(
        level, [] { fprintf(stderr, "%d %d", int(_qrtIsApc), int(_qrtDebug)); }, debug);
    EXPECT_EQ(ended.err, expected);
  }
}

// The run unit is down, with everything it had, when the host hears of the end.
TEST(Container, AbnormalEndTellsTheHost) {
  const Ended ended = inContainer("2", [] {
    static int32_t before;
    Program main("MAIN");
    int32_t result;
    _qrtCOBOLErrorCallbacks(nullptr,
                            [] { printf("%d %d", _qrtRuncom == nullptr, int(liveBlocks() - before)); });
    before = liveBlocks();
    _qrtCOBOLInit(1, host(leaveWithCode), &result, nullptr);
    _qrtPgmInit(&main.block);
    qrtWriteERRmsg(907, 0);
  });
  EXPECT_EQ(ended.exitCode, 3);
  EXPECT_EQ(ended.out, "1 0") << ended.err;
}

TEST(Hosting, MainRoutineIsCalled) {
  int32_t argument = 20;
  EXPECT_EQ(_qrtCallMain([](void* value) { return *static_cast<int32_t*>(value) + 3; }, &argument), 23);
}

}  // namespace
