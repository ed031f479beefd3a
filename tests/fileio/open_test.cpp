// OPEN and CLOSE around an adapter: which file it gets, which status comes out, which USE procedure runs.
#include "file_program.h"

using namespace qrt::test;

namespace {

// What the scripted adapter does, and what it has seen.
struct {
  int16_t initStatus, openStatus, closeStatus;
  bool asAgreed;
} script;

// An adapter's open routine gets the file a second time.
void openScripted(QrtFcb* file, QrtProgramEntry*, QrtFcb* same) {
  script.asAgreed = file == same && file->adapterPosition == 0 && file->adapterCount == 1;
  file->status = script.openStatus;
  file->linageCurrent[3] = 66;
  if (script.openStatus > 10) return;
  file->adapterBlock1 = _qrtCheckMalloc(10);
  file->adapterBlock2 = _qrtCheckMalloc(10);
  file->closeRoutine = [](QrtFcb* closed, QrtProgramEntry* program) {
    closed->status = script.closeStatus;
    _qrtGenericClose(closed, program, 0);
  };
}

void initScripted(QrtFcb* file, QrtProgramEntry*, int32_t code) {
  file->status = code == 5 ? script.initStatus : 99;
  file->openRoutine = reinterpret_cast<QrtFileRoutine>(reinterpret_cast<void*>(openScripted));
}

struct Open : InFolder {
  Open() {
    scriptAdapter(initScripted);
    file.noteUse();
    file.description.linageFlags = 0x80;
  }
  File file{"PLT-data", 10, QRT_ORGANIZATION_RELATIVE};
  FileProgram program{"MAIN", {&file}};
};

TEST_F(Open, StatusDecidesWhetherTheFileIsOpen) {
  constexpr uint16_t noRewind = QRT_OPEN_NO_REWIND;
  struct {
    int16_t initStatus, openStatus;
    uint16_t noRewind;
    const char *status, *used;
    bool open;
  } const table[] = {
      {0, 0, 0, "00", "", true},   {0, 0, noRewind, "07", "", true}, {0, 5, noRewind, "05", "", true},
      {9, 0, 0, "00", "", true},   {10, 0, 0, "10", "x", false},     {0, 11, 0, "11", "x", false},
      {0, 10, 0, "10", "f", true},  // the request is over, so that no mode is left to go by
  };
  for (const auto& row : table)
    run(program, [&] {
      used.clear();
      script = {row.initStatus, row.openStatus, 0, false};
      file.own.adapterPosition = 7;
      EXPECT_EQ(program.open(inputOutput | row.noRewind), row.status);
      EXPECT_EQ(used, row.used);
      EXPECT_EQ(script.asAgreed, row.initStatus < 10);
      EXPECT_EQ(file.own.openState, row.open ? inputOutput | row.noRewind : 0);
      EXPECT_EQ(file.own.linageSaved[3], row.open ? 66u : 0u);
      EXPECT_EQ(program.open(input), row.open ? "41" : row.status);
      file.own.linageSaved[3] = 0;
    });
}

TEST_F(Open, ClosesByItsFlags) {
  struct {
    uint16_t flags;
    int16_t status;
    const char *reported, *used, *next;  // the last: status of the next OPEN
  } const table[] = {
      {0, 0, "00", "", "00"},
      {0, 30, "30", "i", "00"},
      {QRT_CLOSE_REEL, 0, "07", "", "00"},
      {QRT_CLOSE_LOCK, 30, "30", "i", "38"},
      {QRT_CLOSE_SILENT, 30, "30", "", "00"},
      {QRT_CLOSE_MEMBER, 30, "00", "", "00"},  // a step inside the statement
  };
  const int32_t before = liveBlocksAfterARun();
  for (const auto& row : table)
    run(program, [&] {
      script = {};
      program.open(input);
      script.closeStatus = row.status;
      used.clear();
      EXPECT_EQ(program.close(row.flags), row.reported);
      EXPECT_EQ(used, row.used);
      EXPECT_EQ(file.own.openState, row.flags == QRT_CLOSE_MEMBER ? input : 0);
      EXPECT_EQ(program.open(input), row.next);
      program.close();
    });
  EXPECT_EQ(liveBlocks(), before) << "the adapter's blocks go with each CLOSE";
}

TEST_F(Open, NamesAndFileSystems) {
  scriptAdapter([](QrtFcb* opened, QrtProgramEntry*, int32_t) { opened->status = 30; });
  constexpr uint8_t asIs = QRT_FILE_ASSIGN_AS_IS, text = QRT_FILE_ASSIGN_TEXT, variable = 0;
  enum Served { none, root, server, both };
  struct {
    uint8_t attributes;
    std::string assignment, found;  // the latter: code, letters, name and status
    const char* described = "";     // letters of the description
    Served served = none;           // variables of the served file system
    const char* option = "";        // of the run
  } const table[] = {
      {text, "data.txt   ", "5PLT data.txt 30"},    {text, "   ", "5PLT   30"},
      {text, "plt-data ", "5PLT data 30", "NAT"},   {text, "NSD-data", "6NSD data 96"},
      {text, "BTR-data", "3BTR data 96"},           {text, "GXM-data", "1HDU data 96"},
      {text, "RDB-data", "8QDB data 96"},           {text, "EXT-data", "0EXT data 96"},
      {text, "xyz-name", "0XYZ name 96"},           {text, "NAT-no", "4NAT no 39"},
      {text, "a-data", "5PLT a-data 30"},           {text, "data-2.txt", "5PLT data-2.txt 30"},
      {text, "PL1-data", "5PLT PL1-data 30"},       {text, "PLT-", "5PLT PLT- 30"},
      {text, "SET", "6NSD SET 96", "nsd"},          {text, "data", "5PLT data 30", "EXT"},
      {asIs, "NSD-x ", "5PLT NSD-x  30"},           {variable, "SET", "8QDB other 96", "QDB"},
      {variable, "PREFIXED", "6NSD d.txt 96"},      {variable, "EMPTY", "5PLT EMPTY 30"},
      {variable, "NSD-NO", "5PLT NSD-NO 30"},       {text, "KFS-/top/x", "2KFS /top/x 96", "", root},
      {text, "KFS-x", "2KFS x 39", "", root},       {text, "KFS-x", "2KFS x 39", "", server},
      {text, "KFS-x  ", "2KFS srv/x 96", "", both}, {text, "HDU-/top/x", "2KFS /top/x 96", "", root},
      {text, "HDU-x", "1HDU x 96", "", both},       {text, "d", "1HDU d 96", "", none, "HDU"},
      {text, "d", "1HDU d 96", "", none, "KRD"},    {text, "d", "4NAT d 39", "", none, "NAT"},
      {text, "d", "7EXT d 96", "", none, "EXT"},    {text, "d", "8QDB d 96", "", none, "RDB"},
      {text, "d", "5PLT d 30", "", none, "GXM"},
  };
  setenv("SET", "other", 1);
  setenv("PREFIXED", "NSD-d.txt", 1);
  setenv("EMPTY", "", 1);
  for (const auto& row : table) {
    File named(row.assignment, 10, QRT_ORGANIZATION_RELATIVE);
    named.description.attributes = row.attributes;
    memcpy(named.description.fileSystemCode + 1, row.described, strnlen(row.described, 3));
    setenv("HELVA_CDS_ROOT", (row.served & root) != 0 ? "/top" : "", 1);
    setenv("TRAX_TK_KFS_SERVER", (row.served & server) != 0 ? "srv" : "", 1);
    FileProgram main("MAIN", {&named});
    startUp([&] {
      _qrtPgmInit(nullptr);
      strcpy(_qrtRuncom->fileSystem, row.option);
      _qrtPgmInit(&main.block);
      EXPECT_EQ(_qrtRuncom->fileSystem, std::string(named.own.defaultName, 3));
      for (int attempt = 0; attempt < 2; ++attempt) {
        const std::string status = main.open(input);
        EXPECT_EQ(std::string(&named.own.fileSystemChar, 4) + " " + named.own.fileName + " " + status,
                  row.found);
      }
      _qrtRunUnitTerm(0);
    });
  }
}

// The described status for each request for memory that fails, and nothing left behind.
TEST_F(Open, MemoryShortageThroughALineSequentialRun) {
  if (!canFailAllocations) GTEST_SKIP();
  const std::string line(100, 'x');
  makeFile("in", line);
  File in("in   ", 200), out("out  ", 200), absent("absent  ");
  FileProgram copier("COPY", {&in, &out, &absent});
  // The statuses of the statements, up to the first OPEN that fails.
  const auto copy = [&] {
    std::string statuses = copier.open(input, 0);
    statuses += copier.open(output, 1);
    if (statuses == "0000") statuses += copier.read(0), statuses += copier.write(line, 1);
    for (size_t index : {0, 1})
      if (copier.fcb(index).openState != 0) statuses += copier.close(0, index);
    return statuses;
  };
  const std::string described[] = {"340000", "003400", "300000", "003000", "000000000000"};
  for (int32_t round = 0, before = 0; round < 3; ++round, before = liveBlocks()) {
    run(copier, [&] {
      EXPECT_EQ(copy(), "000000000000");
      EXPECT_EQ(copier.open(input, 2), "35") << "its name goes with the run unit";
      for (int32_t n = 1; n < 20; ++n) {
        const FailingAllocation failing(n);
        const std::string statuses = copy();
        EXPECT_NE(std::ranges::find(described, statuses), std::end(described)) << n << statuses;
        EXPECT_TRUE(n < 19 || !failing.hasFailed());
      }
    });
    EXPECT_TRUE(round < 2 || liveBlocks() == before);
  }
}

}  // namespace
