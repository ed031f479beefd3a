// OPEN and CLOSE around an adapter: what it gets, which status comes out, which USE procedure runs.
#include "file_program.h"
#include "frame/catalogue_writer.h"

using namespace qrt::test;

namespace {

// What the scripted adapter does, and what it has seen.
struct {
  int16_t initStatus, openStatus, closeStatus;
  int inits, opens;
  int32_t code;
  bool passedTwice, freshPosition;
} script;

void closeScripted(QrtFcb* file, QrtProgramEntry* program) {
  file->status = script.closeStatus;
  _qrtGenericClose(file, program, 0);
}

// An adapter's open routine gets the file a second time.
void openScripted(QrtFcb* file, QrtProgramEntry*, QrtFcb* same) {
  ++script.opens;
  script.passedTwice = file == same;
  script.freshPosition = file->adapterPosition == 0 && file->adapterCount == 1;
  file->status = script.openStatus;
  file->linageCurrent[0] = 66;
  file->adapterBlock1 = _qrtCheckMalloc(10);
  file->adapterBlock2 = _qrtCheckMalloc(10);
  if (script.openStatus <= 10) file->closeRoutine = closeScripted;
}

void initScripted(QrtFcb* file, QrtProgramEntry*, int32_t code) {
  ++script.inits;
  script.code = code;
  file->status = script.initStatus;
  file->openRoutine = reinterpret_cast<QrtFileRoutine>(reinterpret_cast<void*>(openScripted));
}

std::string used;

class Open : public InFolder {
 protected:
  Open() {
    script = {};
    used.clear();
    scriptAdapter(initScripted);
    for (int row = 0; row < 5; ++row)
      file.use[row] = {[](void* argument) { used += static_cast<const char*>(argument); },
                       const_cast<char*>(names[row])};
    file.description.linageFlags = 0x80;
  }
  static constexpr const char* names[] = {"input ", "output ", "i-o ", "extend ", "file "};
  File file{"PLT-data", 10, QRT_ORGANIZATION_RELATIVE};
  FileProgram program{"MAIN", {&file}};
};

TEST_F(Open, HandsTheFileToItsAdapter) {
  run(program, [&] {
    const int32_t before = liveBlocks();
    QrtFcb& fcb = program.fcb();
    fcb.adapterPosition = 7;
    EXPECT_EQ(program.open(output), "00");
    EXPECT_EQ(script.code, 5);
    EXPECT_TRUE(script.passedTwice && script.freshPosition);
    EXPECT_EQ(fcb.openState, output);
    EXPECT_EQ(fcb.openRequest, 0);
    EXPECT_EQ(fcb.linageSaved[0], 66u);
    EXPECT_EQ(fcb.linageValid, 1u);
    EXPECT_EQ(fcb.recordState, 4);
    EXPECT_EQ(fcb.lastOperation, QRT_VERB_OPEN);
    EXPECT_EQ(fcb.flags, QRT_FCB_POSITIONED);
    EXPECT_EQ(program.open(output), "41");
    EXPECT_EQ(program.close(), "00");
    EXPECT_EQ(fcb.openState, 0);
    EXPECT_EQ(fcb.adapterBlock1, nullptr);
    EXPECT_EQ(liveBlocks(), before);
    EXPECT_EQ(program.open(output), "00");
    EXPECT_EQ(script.inits, 2);
    EXPECT_EQ(used, "output ");
  });
}

TEST_F(Open, StatusDecidesWhetherTheFileIsOpen) {
  struct {
    int16_t initStatus, openStatus;
    uint16_t noRewind;
    const char* status;
    int opens;
    bool open;
    const char* used;
  } const table[] = {
      {0, 0, QRT_OPEN_NO_REWIND, "07", 1, true, ""},
      {0, 5, QRT_OPEN_NO_REWIND, "05", 1, true, ""},
      {9, 0, 0, "00", 1, true, ""},
      {10, 0, 0, "10", 0, false, "i-o "},
      {0, 10, 0, "10", 1, true, "file "},  // the request is over, so that no mode is left to go by
      {0, 11, 0, "11", 1, false, "i-o "},
      {93, 0, 0, "93", 0, false, "i-o "},
  };
  for (const auto& row : table) {
    used.clear();
    script = {row.initStatus, row.openStatus, 0, 0, 0, 0, false, false};
    run(program, [&] {
      EXPECT_EQ(program.open(inputOutput | row.noRewind), row.status);
      EXPECT_EQ(script.opens, row.opens);
      EXPECT_EQ(program.fcb().openState != 0, row.open);
      EXPECT_EQ(program.fcb().openRoutine, row.open ? _qrtOpenError : _qrtGenericOpen);
      EXPECT_EQ(used, row.used);
      _qrtCheckFree(row.open ? nullptr : program.fcb().adapterBlock1);
      _qrtCheckFree(row.open ? nullptr : program.fcb().adapterBlock2);
      if (!row.open) program.fcb().adapterBlock1 = program.fcb().adapterBlock2 = nullptr;
    });
  }
}

TEST_F(Open, ClosesByItsFlags) {
  struct {
    uint16_t flags;
    int16_t status;
    const char* reported;
    const char* used;
    const char* next;  // status of the next OPEN
  } const table[] = {
      {0, 0, "00", "", "00"},
      {QRT_CLOSE_LOCK, 0, "00", "", "38"},
      {QRT_CLOSE_REEL, 0, "07", "", "00"},
      {0, 30, "30", "input ", "00"},
      {QRT_CLOSE_SILENT, 30, "30", "", "00"},
      {QRT_CLOSE_LOCK, 30, "30", "input ", "38"},
  };
  for (const auto& row : table) {
    script = {};
    run(program, [&] {
      program.open(input);
      script.closeStatus = row.status;
      used.clear();
      EXPECT_EQ(program.close(row.flags), row.reported);
      EXPECT_EQ(used, row.used);
      EXPECT_EQ(program.fcb().lastCloseFlags, row.flags);
      EXPECT_EQ(program.fcb().lastOperation, QRT_VERB_CLOSE);
      EXPECT_EQ(program.open(input), row.next);
    });
  }
}

TEST_F(Open, MemberCloseLeavesTheFileOpen) {
  run(program, [&] {
    program.open(input);
    file.statusArea.base[1] = '?';
    EXPECT_EQ(program.close(QRT_CLOSE_MEMBER), "0?");
    EXPECT_EQ(program.fcb().closeFlags, 0);
    EXPECT_EQ(program.fcb().openState, input);
    EXPECT_EQ(program.fcb().openRoutine, _qrtGenericOpen);
  });
}

TEST_F(Open, RunUnitEndIsSilent) {
  run(program, [&] {
    program.open(input);
    script.closeStatus = 30;
  });
  EXPECT_EQ(used, "");
  EXPECT_EQ(file.status(), "30");
}

TEST_F(Open, MissingAdapterIsNamed) {
  file.dropStatusAreas();
  const Catalogue catalogue(
      {usualControl, {200, 1, "1 <%s %s %d %s>"}, {201, 51, "0 no module %s"}, {901, 1, "2 ended"}});
  for (const char* assignment : {"NSD-data", "XYZ-data"}) {
    File other(assignment);
    other.dropStatusAreas();
    FileProgram main("MAIN", {&other});
    const Ended ended = inChild([&] { run(main, [&] { main.open(input); }); });
    EXPECT_EQ(ended.exitCode, 3);
    const bool known = assignment[0] == 'N';
    EXPECT_EQ(ended.err.find("Load Lib qrtrfnsd index 6\n") == 0, known) << ended.err;
    EXPECT_NE(ended.err.find(known ? "<OPEN data 96 no module qrtrfnsd>" : "<OPEN data 96 no module XYZ>"),
              std::string::npos)
        << ended.err;
  }
}

// The described status for each request for memory that fails, and nothing left behind.
TEST_F(Open, MemoryShortageThroughALineSequentialRun) {
  if (!canFailAllocations) GTEST_SKIP();
  const std::string line(100, 'x');
  makeFile("in", line);
  File in("in   ", 200), out("out  ", 200);
  FileProgram copier("COPY", {&in, &out});
  // The statuses of the statements, up to the first OPEN that fails.
  const auto copy = [&] {
    std::string statuses = copier.open(input, 0);
    statuses += copier.open(output, 1);
    if (statuses != "0000") return statuses;
    statuses += copier.read(0);
    statuses += copier.write(line, 1);
    statuses += copier.read(0);
    statuses += copier.close(0, 0);
    statuses += copier.close(0, 1);
    return statuses;
  };
  run(copier, [&] {
    EXPECT_EQ(copy(), "00000000100000") << "the adapter is loaded now";
    bool ended = false;
    for (int32_t n = 1; !ended; ++n) {
      ASSERT_LT(n, 100);
      std::string statuses;
      {
        const FailingAllocation failing(n);
        statuses = copy();
        ended = !failing.hasFailed();
      }
      const std::vector<std::string> described = {"00000000100000", "3400", "0034", "3000", "0030"};
      EXPECT_NE(std::find(described.begin(), described.end(), statuses), described.end()) << n << statuses;
      if (copier.fcb(0).openState != 0) copier.close(0, 0);
      if (copier.fcb(1).openState != 0) copier.close(0, 1);
    }
  });
  int32_t before = 0;
  for (int round = 0; round < 2; ++round) {
    before = liveBlocks();
    run(copier, [&] { copy(); });
  }
  EXPECT_EQ(liveBlocks(), before);
}

}  // namespace
