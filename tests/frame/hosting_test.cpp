// Hosts: nested run units of a transaction monitor, containers of both kinds, and registered stop-run
// routines.

#include "support/program.h"

using namespace qrt::test;

namespace {

// Stop-run routines: of a run unit, which may not come back and jumps out, and of a pair, which does.
QrtJumpBuffer out;

void leave(void* context) {
  *static_cast<int32_t*>(context) += 1;
  qrtLongJump(&out, 77);
}

void noteCode(void* context, int32_t code) {
  *static_cast<int32_t*>(context) = code;
}

template <typename Routine>
QrtHostRoutine host(Routine* routine) {
  return reinterpret_cast<QrtHostRoutine>(routine);
}

TEST(Hosting, TraxRunUnitsNest) {
  Program outer("OUTER"), inner("INNER");
  const int32_t before = liveBlocksAfterARun();
  _qrt_cpm_init(nullptr, &outer);
  EXPECT_TRUE(_qrtTraxModHandle == &outer && _qrtRuncom == nullptr);  // it waits for its first program
  _qrtPgmInit(&outer.block);
  QrtRunUnitRecord* const first = _qrtRuncom;
  EXPECT_NE(_qrtCheckMalloc(100), nullptr);  // goes with the run unit
  _qrtTraxRunUnit(1, nullptr);
  EXPECT_TRUE(_qrtIsTrax == 2 && _qrtRuncom->runUnitNumber == 2);
  _qrtPgmInit(&inner.block);
  EXPECT_TRUE(inner.block.flags & QRT_PROGRAM_MAIN);
  inner.entries[0].stateFlags = QRT_ENTRY_NOT_INITIAL;
  _qrtRunUnitTerm(9);  // comes back to the host
  EXPECT_EQ(inner.entries[0].activeCount + inner.entries[0].stateFlags, 0u);
  EXPECT_TRUE(_qrtIsTrax == 1 && _qrtRuncom == first);
  _qrtPgmTerm(&outer.block);
  EXPECT_TRUE(_qrtIsTrax == 0 && _qrtProccom == nullptr);
  EXPECT_EQ(liveBlocks(), before);
}

// By which value a run comes out of the start.
TEST(Hosting, WaysOut) {
  Program main("MAIN"), called("CALLED");
  EXPECT_EQ(run(main, [] { _qrtRunUnitTerm(8); }), 8);
  EXPECT_EQ(run(main, [] { _qrt_cpm_exit(); }), 1);
  EXPECT_EQ(run(main, [] { _qrt_cpm_cancel(); }), cameBack);
  const auto calls = [&] {
    _qrtPgmInit(&called.block);
    _qrtTraxRunUnit(0, nullptr);
    _qrtPgmTerm(&called.block);
    ADD_FAILURE() << "came back";
  };
  EXPECT_EQ(run(main, calls), 1);
  EXPECT_TRUE(_qrt_trax_exit_in_progress == 0 && _qrtProccom == nullptr);
}

TEST(Hosting, RegisteredRoutine) {
  Program called("CALLED"), main("MAIN");
  int32_t calls = 0, result = -1;
  _qrtCOBOLInit(1, nullptr, &result, nullptr);
  EXPECT_TRUE(result == 1 && _qrtProccom == nullptr);
  for (const auto& [fcode, expected] : {std::pair{2, 1}, {1, 0}, {1, 1}}) {
    QRTCOBOLINIT(fcode, host(leave), &result, &calls);
    EXPECT_EQ(result, expected);
  }
  _qrtPgmInit(&called.block);
  EXPECT_EQ(_qrtRuncom->mainPLLE, nullptr);
  _qrtCOBOLHostInit(&result);
  EXPECT_EQ(result, 0);
  _qrtPgmInit(&main.block);
  EXPECT_EQ(_qrtRuncom->mainPLLE, main.block.plle);
  _qrtPgmTerm(&main.block);
  EXPECT_NE(main.block.plle, nullptr);  // the run unit stays up for the host
  for (const auto& [fcode, expected] : {std::pair{2, 1}, {1, 0}, {1, 1}}) {
    QRTCOBOLTERM(fcode, &result);
    EXPECT_EQ(result, expected);
    EXPECT_EQ(_qrtProccom == nullptr, fcode == 1);
  }
  EXPECT_EQ(calls, 0);

  _qrtCOBOLInit(1, host(leave), &result, &calls);
  if (qrtSetJump(&out) == 0) _qrtRunUnitTerm(4);
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(_qrtProccom, nullptr);
  const Ended ended = inChild([&] {
    _qrtCOBOLInit(1, host(+[](void*) {}), &result, nullptr);
    _qrtRunUnitTerm(4);
  });
  EXPECT_EQ(ended.exitCode, 183);
}

// Level 1: the run turns hosted at the first entry of a program while the blocks of its start are in use.
TEST(Container, LevelOne) {
  for (const bool abnormal : {false, true}) {
    const Ended ended = inChild([=] {
      Program main("MAIN");
      const int32_t before = liveBlocksAfterARun();
      _qrtPgmInit(nullptr);
      threadStorage();
      int32_t calls = 0, result = -1;
      const auto show = [](int32_t flag, const char* tag, const char* text, int32_t length) -> int32_t {
        return length > 0 ? printf("%d %s %.6s ", int(flag), tag, text) : 0;
      };
      _qrtCOBOLInit1(1, host(leave), &result, &calls, show, nullptr, nullptr);
      if (qrtSetJump(&out) == 0) {
        _qrtPgmInit(&main.block);
        printf("%d %d %d ", int(result), int(_qrtIsApc), int(_qrtIsTrax));
        if (!abnormal) _qrtRunUnitTerm(0);
        printf("%d ", int(startUp([] { qrtWriteERRmsg(907, 0); })));
      }
      printf("%d %d %d", int(calls), int(_qrtIsTrax), int(liveBlocks() - before));
    });
    EXPECT_EQ(ended.out, abnormal ? "0 1 1 1 TCBL QRT907 1 TCBL QRT901 1 0 0 0" : "0 1 1 1 0 0") << ended.err;
  }
}

// Level 2: a routine for each depth, and an abnormal end that the container hears of once the unit is down.
TEST(Container, LevelTwo) {
  const Ended ended = inChild([] {
    setenv("__COBOL_APC_CONTAINER", "2", 1);
    constexpr int depths = 40;
    static int32_t codes[depths];
    int32_t result = -1;
    const auto abnormalEnd = +[] { printf(" %d %d", int(_qrtIsTrax), int(_qrtRuncom->runUnitNumber)); };
    _qrtCOBOLInit(9, nullptr, nullptr, reinterpret_cast<void*>(abnormalEnd));
    for (int depth = 0; depth < depths; ++depth) {
      _qrtCOBOLInit(1, host(noteCode), &result, &codes[depth]);
      if (depth == 0) _qrtPgmInit(nullptr);
      if (depth == 31 && _qrtApcStopRun != _qrtApcStopRunTab) puts("grown early");
    }
    printf("%d %d %d ", int(result), int(_qrtIsTrax), int(_qrtApcStopRunMax));
    for (int depth = depths - 1; depth >= 33; --depth) {
      const int32_t way = startUp([=] { _qrtRunUnitTerm(depth == 39 ? 0 : depth); });
      printf("%d/%d ", int(way), int(codes[depth]));
    }
    _qrtCOBOLTerm(1, &result);  // puts the table back
    printf("%d %d %d ", int(result), int(_qrtIsTrax), _qrtApcStopRun == _qrtApcStopRunTab);
    const int32_t way = startUp([] { _qrtRunUnitTerm(5); });
    printf("%d/%d", int(way), int(codes[31]));
    qrtWriteERRmsg(907, 0);
  });
  EXPECT_EQ(ended.out, "0 40 64 256/256 38/38 37/37 36/36 35/35 34/34 33/33 0 32 1 5/5 30 30") << ended.err;
  EXPECT_EQ(ended.exitCode, 3);
}

}  // namespace
