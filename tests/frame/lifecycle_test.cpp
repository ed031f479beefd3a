// Processes, run units and programs: how they come up, and by which way they go down.
#include <pthread.h>
#include <time.h>

#include "support/program.h"

using namespace qrt::test;

namespace {

TEST(Lifecycle, MainProgramEndsRunUnitAndProcess) {
  for (const uint32_t byCount : {0u, QRT_PROGRAM_END_BY_COUNT}) {
    Program main("MAIN"), called("CALLED");
    main.block.flags = called.block.flags = byCount;
    _qrtPgmInit(&main.block);
    EXPECT_EQ(main.block.flags, QRT_PROGRAM_MAIN | 0x0A000000u | byCount);
    for (int time = 0; time < 2; ++time) _qrtPgmInit(&called.block);
    EXPECT_EQ(called.block.flags, 0x0A000000u | byCount);
    EXPECT_EQ(called.entries[0].activeCount, 2);
    EXPECT_EQ(_qrtRuncom->activeCount, 3);
    for (int time = 0; time < 2; ++time) _qrtPgmTerm(byCount != 0 ? &main.block : &called.block);
    EXPECT_EQ(_qrtRuncom->activeCount, 1);
    _qrtPgmTerm(&called.block);  // no counter goes below 0
    EXPECT_EQ(_qrtProccom == nullptr, byCount != 0);
    if (byCount == 0) _qrtPgmTerm(&main.block);
    EXPECT_TRUE(_qrtProccom == nullptr && called.block.plle == nullptr);
  }
}

TEST(Lifecycle, CompilerLevelDecidesOnTheSharedWordAndTheYearWindow) {
  const time_t now = time(nullptr);
  const int year = localtime(&now)->tm_year + 1900;
  const struct {
    uint8_t level[3];
    bool shared;
    int32_t window, after;
    const char* message;  // "" for none
  } rows[] = {
      {{5, 1, 1}, true, QRT_NO_YEAR_WINDOW, QRT_NO_YEAR_WINDOW, ""},
      {{5, 0, 9}, false, 1900 - year, 1900, ""},
      {{5, 1, 0}, false, 1999 - year, 1999, ""},
      {{5, 2, 0}, true, 1899 - year, 1899 - year, "QRT240"},
      {{6, 0, 0}, true, 2000 - year, 2000 - year, "QRT240"},
      {{2, 2, 0}, false, year - 101, year - 101, "QRT241"},
      {{2, 1, 9}, false, year - 101, year - 101, ""},
      {{2, 2, 0}, false, year - 100, year - 100, ""},
      {{2, 2, 0}, false, INT32_MAX, INT32_MAX, ""},
  };
  for (const auto& row : rows) {
    const Ended ended = inChild([&] {
      Program main("WINDOWED");
      main.setLevel(row.level[0], row.level[1], row.level[2]);
      main.block.yearWindow = row.window;
      _qrtPgmInit(&main.block);
      EXPECT_EQ(main.block.runUnitShared, row.shared ? &_qrtRuncom->runUnitWord : nullptr);
      printf("%d", int(main.block.yearWindow));
    });
    EXPECT_EQ(ended.out, std::to_string(row.after));
    EXPECT_EQ(ended.err.substr(0, 6), row.message);
    EXPECT_EQ(ended.err.find("WINDOWED") != std::string::npos, *row.message != 0) << ended.err;
  }
}

// Closing shows the file's index, negative when it is to be silent; it fails for 0.
void closeFile(QrtFcb* file, QrtProgramEntry*) {
  printf("%d ", (file->closeFlags & QRT_CLOSE_SILENT) != 0 ? -int(file->fileIndex) : int(file->fileIndex));
  if (file->fileIndex == 0) qrtWriteERRmsg(907, 0);
  file->openState = 0;
}

// At the end of the run unit each open file is closed silently, once, though the close of others fails; a
// CANCEL ahead of it closes all but the third, which is EXTERNAL.
TEST(Lifecycle, FilesAreClosed) {
  const struct {
    int failing;
    bool cancel;
    const char* shown;
  } rows[] = {
      {0, false, "-1 -2 -3 "}, {1, false, "0 -2 -3 "}, {3, false, "0 0 0 "}, {0, true, "1 2 01 01 -3 "}};
  for (const auto& row : rows) {
    const Ended ended = inChild([&] {
      Program main("MAIN", 1);
      QrtFileDescription descriptions[4] = {};
      descriptions[2].attributes = QRT_FILE_EXTERNAL;
      QrtFcb files[4] = {};
      QrtFcb* slots[5] = {&files[0], &files[1], &files[2], &files[3]};  // the last one isn't bound
      for (int at = 0; at < 4; ++at) {
        files[at].fileIndex = at < row.failing ? 0 : at + 1;
        files[at].openState = at < 3 ? QRT_OPEN_INPUT : 0;
        files[at].description = &descriptions[at];
        files[at].closeRoutine = closeFile;
      }
      _qrtPgmInit(&main.block);
      QrtProgramEntry& entry = main.entries[row.cancel ? 0 : 1];
      entry.files = slots;
      entry.fileCount = 5;
      for (QrtProgramEntry& each : main.entries) each.stateFlags = 0x40000001;
      if (row.cancel) _qrtCloseReset(main.entries.data());
      for (QrtProgramEntry& each : main.entries)
        if (row.cancel) printf("%d%x ", int(each.activeCount), unsigned(each.stateFlags));
      _qrtPgmTerm(&main.block);
    });
    EXPECT_EQ(ended.out, row.shown);
    EXPECT_EQ(ended.exitCode, row.failing > 0 ? 3 : 0) << ended.err;
  }
}

// TMP, the x87 control word, mutexes that their owner can take again; a sort that was cut off.
TEST(Lifecycle, StartAndEndOfTheProcess) {
  for (const auto& [value, directory] :
       {std::pair{"\\tmp", "\\tmp"}, {"", "."}, {"/no such", "."}, {"/dev/null", "."}}) {
    const Ended ended = inChild([value = value] {
      setenv("TMP", value, 1);
      uint16_t control = 0x0272;
      __asm__ volatile("fldcw %0" : : "m"(control));
      _qrtPgmInit(nullptr);
      __asm__ volatile("fnstcw %0" : "=m"(control));
      for (void* mutex : {accept_mutex, accept_mutex, century_window_mutex})
        printf("%d", pthread_mutex_lock(static_cast<pthread_mutex_t*>(mutex)));
      printf(" %04x %s ", control & 0x0F3F, _qrtRuncom->tempDirectory);
      _qrtRuncom->sortActive = 1;
      printf("%d", int(startUp([] { _qrtRunUnitTerm(0); })));
    });
    EXPECT_EQ(ended.out, std::string("000 033f ") + directory + " 255");
    EXPECT_EQ(ended.err.substr(0, 6), "QRT012");
  }
}

TEST(ProgramList, NamesAndChunks) {
  Program main("MAIN");
  const int32_t before = liveBlocksAfterARun();
  run(main, [&] {
    QrtPlle* previous = main.block.plle;
    for (uint32_t length = 1; length < 300; ++length) {
      const std::string name(length, 'A');
      QrtPlle* const made = _qrtCreateInsertPLLE(name.data(), length, &main, nullptr);
      EXPECT_EQ(_qrtCreateInsertPLLE(name.data(), length, nullptr, &main), made);
      EXPECT_EQ(std::string(made->name, made->nameLength), name);
      EXPECT_EQ(made->name == made->inlineName, length <= 30);
      EXPECT_EQ(made == previous + 1, length % 128 != 0);
      EXPECT_EQ(made->entry, &main);
      EXPECT_EQ(made->module, nullptr);
      previous = made;
    }
  });
  EXPECT_EQ(liveBlocks(), before);
}

// For every n the run ends well, or by the message and an abnormal end; nothing is left behind where the
// process goes on.
TEST(Lifecycle, AllocationFailsAtTheNthRequest) {
  if (!canFailAllocations) GTEST_SKIP();
  for (const bool hosted : {false, true}) {
    Program main("MAIN"), called("A-CALLED-PROGRAM-WITH-A-LONG-NAME-OF-40-B");
    const auto startAndEnd = [&] {
      if (hosted) _qrt_cpm_init(nullptr, nullptr);
      _qrtPgmInit(&main.block);
      _qrtPgmInit(&called.block);
      threadStorage();
      _qrtPgmTerm(&called.block);
      _qrtPgmTerm(&main.block);
    };
    int told = 0, requests = 1000;
    for (int32_t n = 1; n <= requests; ++n) {
      const Ended ended = inChild([&] {
        setenv("COBRTOPT", "CHECK=ON,UPSI=00000001", 1);
        startAndEnd();  // what the C library keeps for good is made here
        const int32_t before = liveBlocks();
        startUp([&] {
          const FailingAllocation failing(n);
          startAndEnd();
          requests = failing.requests();
        });
        startAndEnd();  // a host goes on as if nothing had happened
        printf("%d %d", requests, int(liveBlocks() - before));
      });
      const bool reported = ended.err.find("QRT907") == 0 || ended.err.find("QRT993") == 0;
      told += reported;
      EXPECT_EQ(ended.exitCode, reported && !hosted ? 3 : 0) << n << ended.err;
      int leaked = 0;
      sscanf(ended.out.c_str(), "%d %d", &requests, &leaked);
      EXPECT_EQ(leaked, 0) << n << " hosted " << hosted << ended.err;
    }
    EXPECT_LT(requests, 1000);
    EXPECT_GE(told, 8) << hosted;
  }
}

}  // namespace
