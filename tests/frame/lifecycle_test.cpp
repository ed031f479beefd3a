// Processes, run units and programs: how they come up, and by which way they go down.
#include <qrtrlib.h>
#include <stdlib.h>
#include <time.h>

#include "support/allocation.h"
#include "support/process.h"
#include "support/program.h"

using namespace qrt::test;

namespace {

// Which files had their close routine called, by fileIndex, and with which flags.
std::string closed;

void recordClose(QrtFcb* file, QrtProgramEntry*) {
  closed += std::to_string(file->fileIndex) + ((file->closeFlags & QRT_CLOSE_SILENT) != 0 ? "s " : " ");
  file->openState = 0;
}

QrtFcb openFile(int32_t index, void (*closeRoutine)(QrtFcb*, QrtProgramEntry*) = recordClose) {
  QrtFcb file{};
  file.fileIndex = index;
  file.openState = QRT_OPEN_INPUT | QRT_OPEN_CAN_READ;
  file.closeRoutine = closeRoutine;
  return file;
}

// A program that has opened its files after it was entered.
struct ProgramWithFiles : Program {
  QrtFcb open = openFile(1), shut = openFile(2), external = openFile(3);
  QrtFcb* slots[3] = {&open, &shut, &external};
  QrtFileDescription descriptionOfFiles[3] = {};

  explicit ProgramWithFiles(const char* name, size_t nested = 0) : Program(name, nested) {
    shut.openState = 0;
    descriptionOfFiles[2].attributes = QRT_FILE_EXTERNAL;
    for (int index = 0; index < 3; ++index) slots[index]->description = &descriptionOfFiles[index];
  }

  // Behind the first entry, so that no control block is made anew.
  void haveFiles(size_t entry = 0) {
    entries[entry].files = slots;
    entries[entry].fileCount = 3;
  }
};

TEST(Lifecycle, MainProgramEndsRunUnitAndProcess) {
  Program main("MAIN"), called("CALLED");
  const int32_t way = run(main, [&] {
    EXPECT_EQ(_qrtRuncom->mainPLLE, main.block.plle);
    EXPECT_TRUE(main.block.flags & QRT_PROGRAM_MAIN);
    EXPECT_EQ(main.block.flags & 0x0A000000, 0x0A000000u);
    EXPECT_STREQ(std::string(main.block.upsi, 8).c_str(), "00000000");
    _qrtPgmInit(&called.block);
    _qrtPgmInit(&called.block);
    EXPECT_FALSE(called.block.flags & QRT_PROGRAM_MAIN);
    EXPECT_EQ(called.entries[0].activeCount, 2);
    EXPECT_EQ(_qrtRuncom->activeCount, 3);
    EXPECT_EQ(called.entries[0].block, &called.block);
    EXPECT_EQ(called.block.plle->entry, called.entries[0].entryPoint);
    _qrtPgmTerm(&called.block);
    _qrtPgmTerm(&called.block);
    _qrtPgmTerm(&called.block);  // no counter goes below 0
    EXPECT_EQ(called.entries[0].activeCount, 0);
    EXPECT_EQ(_qrtRuncom->activeCount, 0);
  });
  EXPECT_EQ(way, cameBack);
  EXPECT_EQ(_qrtRuncom, nullptr);
  EXPECT_EQ(_qrtProccom, nullptr);
  EXPECT_EQ(main.block.plle, nullptr);
  EXPECT_EQ(called.block.plle, nullptr);
  EXPECT_FALSE(main.block.flags & QRT_PROGRAM_MAIN);
}

TEST(Lifecycle, NullBlockBringsUpTheProcessWithoutAMainProgram) {
  Program called("CALLED"), main("MAIN");
  _qrtPgmInit(nullptr);
  ASSERT_NE(_qrtRuncom, nullptr);
  EXPECT_EQ(_qrtRuncom->runUnitNumber, 1u);
  _qrtPgmInit(&called.block);
  EXPECT_FALSE(called.block.flags & QRT_PROGRAM_MAIN);
  _qrtPgmTerm(&called.block);
  EXPECT_NE(_qrtRuncom, nullptr);

  int32_t result = -1;
  _qrtCOBOLHostInit(&result);
  EXPECT_EQ(result, 0);
  _qrtPgmInit(nullptr);
  _qrtPgmInit(&main.block);
  EXPECT_EQ(_qrtRuncom->mainPLLE, main.block.plle);
  _qrtPgmTerm(&main.block);
  EXPECT_EQ(_qrtProccom, nullptr);
}

TEST(Lifecycle, StopRunLeavesThroughTheStart) {
  for (const auto& [code, value] : {std::pair{0, 255}, {8, 8}, {256, 256}, {-3, -3}}) {
    Program main("MAIN"), called("CALLED");
    EXPECT_EQ(run(main,
                  [&] {
                    _qrtPgmInit(&called.block);
                    _qrtRunUnitTerm(code);
                  }),
              value);
    EXPECT_EQ(_qrtProccom, nullptr);
    EXPECT_EQ(called.block.plle, nullptr);
  }
}

TEST(Lifecycle, EndByCountWaitsForTheLastActiveProgram) {
  Program main("MAIN"), called("CALLED");
  main.block.flags = called.block.flags = QRT_PROGRAM_END_BY_COUNT;
  _qrtPgmInit(&main.block);
  _qrtPgmInit(&called.block);
  _qrtPgmTerm(&main.block);
  EXPECT_NE(_qrtRuncom, nullptr);
  _qrtPgmTerm(&called.block);
  EXPECT_EQ(_qrtRuncom, nullptr);
}

TEST(Lifecycle, CompilerLevelDecidesOnTheSharedWord) {
  const struct {
    uint8_t version, release, modification;
    bool shared;
  } rows[] = {{5, 1, 1, true}, {5, 0, 9, false}, {5, 1, 0, false}, {5, 2, 0, true}, {6, 0, 0, true}};
  for (const auto& row : rows) {
    Program main("MAIN");
    main.setLevel(row.version, row.release, row.modification);
    run(main, [&] {
      EXPECT_EQ(main.block.runUnitShared, row.shared ? &_qrtRuncom->runUnitWord : nullptr)
          << int(row.version) << int(row.release) << int(row.modification);
    });
  }
}

TEST(Lifecycle, YearWindowIsCheckedAgainstTheCurrentYear) {
  const time_t now = time(nullptr);
  const int year = localtime(&now)->tm_year + 1900;
  const struct {
    int32_t window;
    uint8_t version;
    int32_t after;
    const char* message;  // null for none
  } rows[] = {
      {QRT_NO_YEAR_WINDOW, 5, QRT_NO_YEAR_WINDOW, nullptr},
      {1900 - year, 5, 1900, nullptr},
      {1999 - year, 5, 1999, nullptr},
      {1899 - year, 5, 1899 - year, "QRT240"},
      {2000 - year, 5, 2000 - year, "QRT240"},
      {year - 100, 5, year - 100, nullptr},
      {year - 101, 5, year - 101, "QRT241"},
      {year - 101, 2, year - 101, nullptr},
  };
  for (const auto& row : rows) {
    const Ended ended = inChild([&] {
      Program main("WINDOWED");
      main.block.yearWindow = row.window;
      main.setLevel(row.version, row.version == 2 ? 1 : 2, 9);
      run(main, [&] { printf("%d", int(main.block.yearWindow)); });
    });
    EXPECT_EQ(ended.out, std::to_string(row.after));
    EXPECT_EQ(ended.err.find("QRT24") != std::string::npos, row.message != nullptr) << ended.err;
    if (row.message == nullptr) continue;
    EXPECT_EQ(ended.err.find(row.message), 0u) << ended.err;
    EXPECT_NE(ended.err.find("WINDOWED"), std::string::npos);
  }
}

TEST(Lifecycle, EndOfRunUnitClosesOpenFilesSilently) {
  ProgramWithFiles main("MAIN"), called("CALLED", 2);
  closed.clear();
  run(main, [&] {
    main.haveFiles();
    _qrtPgmInit(&called.block);
    called.haveFiles(2);
    called.open.fileIndex = 7;
    called.external.openState = 0;
  });
  EXPECT_TRUE(closed == "1s 3s 7s " || closed == "7s 1s 3s ") << closed;
}

TEST(Lifecycle, CloseResetSparesExternalFiles) {
  ProgramWithFiles main("MAIN"), called("CALLED", 1);
  run(main, [&] {
    _qrtPgmInit(&called.block);
    called.haveFiles();
    for (QrtProgramEntry& entry : called.entries)
      entry = {3, 0x40000001, nullptr, entry.lastIndex, entry.files, entry.fileCount, 0, entry.block};
    closed.clear();
    _qrtCloseReset(called.entries.data());
    EXPECT_EQ(closed, "1 ");
    for (const QrtProgramEntry& entry : called.entries) {
      EXPECT_EQ(entry.activeCount, 0);
      EXPECT_EQ(entry.stateFlags, 1u);
    }
    EXPECT_NE(called.block.plle, nullptr);
  });
}

TEST(Lifecycle, SevereErrorInACloseRoutineEndsTheRunOnce) {
  const Ended ended = inChild([] {
    ProgramWithFiles main("MAIN");
    main.open.closeRoutine = [](QrtFcb*, QrtProgramEntry*) {
      fputs("tried ", stdout);
      qrtWriteERRmsg(907, 0);
    };
    main.external.closeRoutine = [](QrtFcb* file, QrtProgramEntry*) {
      fputs("closed ", stdout);
      file->openState = 0;
    };
    run(main, [&] { main.haveFiles(); });
  });
  EXPECT_EQ(ended.exitCode, 3);
  EXPECT_EQ(ended.out, "tried closed ");
  EXPECT_EQ(ended.err.find("QRT907"), ended.err.rfind("QRT907"));
}

TEST(Lifecycle, EndDuringASortIsReported) {
  const Ended ended = inChild([] {
    Program main("MAIN");
    run(main, [&] {
      _qrtRuncom->sortActive = 1;
      _qrtRunUnitTerm(4);
    });
    puts(_qrtProccom == nullptr ? "down" : "up");
  });
  EXPECT_NE(ended.err.find("QRT012"), std::string::npos) << ended.err;
  EXPECT_EQ(ended.out, "down\n");
}

TEST(Lifecycle, TemporaryDirectoryIsTmpWhereItExists) {
  for (const auto& [value, expected] : {std::pair{"/tmp", "/tmp"},
                                        {"\\tmp", "\\tmp"},
                                        {"", "."},
                                        {"/tmp/no such", "."},
                                        {"/dev/null", "."}}) {
    const Ended ended = inChild([value] {
      setenv("TMP", value, 1);
      _qrtPgmInit(nullptr);
      fputs(_qrtRuncom->tempDirectory, stdout);
    });
    EXPECT_EQ(ended.out, expected);
  }
}

TEST(Lifecycle, StartSetsTheFloatingPointUnit) {
  const Ended ended = inChild([] {
    uint16_t control = 0x0272;
    __asm__ volatile("fldcw %0" : : "m"(control));
    _qrtPgmInit(nullptr);
    __asm__ volatile("fnstcw %0" : "=m"(control));
    printf("%04x", control & 0x0F3F);
  });
  EXPECT_EQ(ended.out, "033f");
}

TEST(ProgramList, NamesAndChunks) {
  Program main("MAIN");
  const int32_t before = liveBlocks();
  run(main, [&] {
    const std::string long30(30, 'A'), long31(31, 'B');
    QrtPlle* inlined = _qrtCreateInsertPLLE(long30.data(), 30, &main, nullptr);
    EXPECT_EQ(inlined->name, inlined->inlineName);
    QrtPlle* separate = _qrtCreateInsertPLLE(long31.data(), 31, &main, nullptr);
    EXPECT_NE(separate->name, separate->inlineName);
    EXPECT_EQ(std::string(separate->name, separate->nameLength), long31);
    EXPECT_EQ(_qrtCreateInsertPLLE(long31.data(), 31, nullptr, &main), separate);
    EXPECT_EQ(separate->entry, &main);
    EXPECT_EQ(separate->module, nullptr);

    std::vector<QrtPlle*> records;
    for (int index = 3; index < 300; ++index) {
      const std::string name = "PROGRAM-" + std::to_string(index);
      records.push_back(
          _qrtCreateInsertPLLE(name.data(), static_cast<uint32_t>(name.size()), nullptr, nullptr));
    }
    EXPECT_EQ(records[128 - 4], inlined + 126);  // the 128th record ends the first chunk
    EXPECT_NE(records[128 - 3], inlined + 127);
    EXPECT_EQ(_qrt_hash_find(_qrtRuncom->programTable, "PROGRAM-299", 11), records.back());
  });
  EXPECT_EQ(liveBlocks(), before);
}

// Memory made before the run became hosted, and memory of a hosted run given back outside of it.
TEST(Memory, BlocksAreFreedInEitherMode) {
  const int32_t before = liveBlocks();
  QrtRunUnitRecord unit{};
  void* const plain = _qrtCheckMalloc(20);
  _qrtIsTrax = 1;
  _qrtRuncom = &unit;
  void* const hosted[] = {_qrtCheckMalloc(20), _qrtCheckMalloc(1)};
  _qrtCheckFree(plain);
  _qrtIsTrax = 0;
  _qrtCheckFree(hosted[0]);
  _qrtIsTrax = 1;
  EXPECT_EQ(*static_cast<void**>(unit.hostedAllocations), nullptr);
  _qrtCheckFreeAll();
  EXPECT_EQ(unit.hostedAllocations, nullptr);
  _qrtIsTrax = 0;
  _qrtRuncom = nullptr;
  EXPECT_EQ(liveBlocks(), before);
}

int32_t writeToStderr(int32_t, const char*, const char* text, int32_t length) {
  fprintf(stderr, "%.*s\n", static_cast<int>(length), text);
  return 0;
}

void startAndEnd(Program& main, Program& called, bool hosted) {
  if (hosted) _qrt_cpm_init(writeToStderr, nullptr);
  _qrtPgmInit(&main.block);
  _qrtPgmInit(&called.block);
  threadStorage();
  _qrtPgmTerm(&called.block);
  _qrtPgmTerm(&main.block);
}

// For every n the run ends well, or by the message and an abnormal end; nothing is left behind where the
// process goes on.
TEST(Lifecycle, AllocationFailsAtTheNthRequest) {
  if (!canFailAllocations) GTEST_SKIP();
  setenv("COBRTOPT", "CHECK=ON,UPSI=00000001", 1);
  for (const bool hosted : {false, true}) {
    int told = 0, requestsMade = 0;
    for (int32_t n = 1; requestsMade == 0 || n <= requestsMade; ++n) {
      ASSERT_LT(n, 1000);
      const Ended ended = inChild([&] {
        Program main("MAIN"), called("A-CALLED-PROGRAM-WITH-A-LONG-NAME-OF-40-B");
        startAndEnd(main, called, hosted);  // what the C library keeps for good is made here
        const int32_t before = liveBlocks();
        int32_t requests = 0;
        startUp([&] {
          FailingAllocation failing(n);
          startAndEnd(main, called, hosted);
          requests = failing.requests();
        });
        startAndEnd(main, called, hosted);  // a host goes on as if nothing had happened
        printf("%d %d", int(requests), int(liveBlocks() - before));
      });
      EXPECT_EQ(ended.signal, 0) << n;
      const bool reported = ended.err.find("QRT907") == 0 || ended.err.find("QRT993") == 0;
      told += reported;
      if (reported && !hosted) {
        EXPECT_EQ(ended.exitCode, 3) << n << ended.err;
        continue;
      }
      EXPECT_EQ(ended.exitCode, 0) << n << ended.err;
      int leaked = -1;
      EXPECT_EQ(sscanf(ended.out.c_str(), "%d %d", &requestsMade, &leaked), 2) << ended.out;
      EXPECT_EQ(leaked, 0) << n << " hosted " << hosted << ended.err;
    }
    EXPECT_GE(told, 8) << hosted;
  }
  unsetenv("COBRTOPT");
}

}  // namespace
