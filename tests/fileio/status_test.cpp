// Status areas in their forms, the verbs of a file in the wrong state, the end of a run by a file.
#include "file_program.h"
#include "support/catalogue_writer.h"

using namespace qrt::test;

namespace {

struct Status : InFolder {
  Status() { file.noteUse(); }
  File file{"data", 10, QRT_ORGANIZATION_SEQUENTIAL};
  FileProgram program{"MAIN", {&file}};
  QrtFcb& fcb = file.own;
};

TEST_F(Status, AreasInEachForm) {
  struct {
    uint8_t flags;
    std::string status, extended;
  } const table[] = {
      {0, "47", "000000  "},
      {0x80, "\xF4\xF7", "000"},
      {0x10, std::string("4\0007\0", 4), "000000"},
      {0x40, "47", "\xF0\xF0\xF0\xF0\xF0\xF0\x40\x40"},
      {0x90, "\xF4\xF7", ""},
  };
  for (const auto& row : table) {
    GuardedArea status(row.status.size()), extended(row.extended.size());
    // The areas lie behind their bases.
    uint8_t *statusBase = status.base - 3, *extendedBase = extended.base - 5;
    QrtFileDescription& description = file.description;
    description.statusFlags = row.flags;
    description.statusBase = &statusBase, description.statusOffset = 3;
    description.status2Base = &extendedBase, description.status2Offset = 5;
    description.status2Length = static_cast<uint16_t>(row.extended.size());
    run(program, [&] { program.read(); });
    EXPECT_EQ(status.text(), row.status);
    EXPECT_EQ(extended.text(), row.extended);
  }
}

TEST_F(Status, ExtendedStatusOfAnAdapter) {
  memcpy(fcb.fileSystemName, "XYZ", 3);
  fcb.fileName = "name";
  const std::tuple<int16_t, const char*, const char*> table[] = {
      // status, plain text, text with the system
      {35, "000051,name   ", "000051,name   "},
      {96, "000051         ", "000051,XYZ,name"},
      {33, "000051,na", "000051,na"},
      {96, "000051   ", "000051,XY"},
      {30, "000051  ", "000051  "},
      {35, "     ", "     "},
  };
  for (const auto& [status, plain, withSystem] : table)
    for (const auto& [fill, text] : {std::pair{&_qrt_filestat2, plain}, {&_qrt_filestat2x, withSystem}}) {
      GuardedArea area(strlen(text));
      fcb.status = status;
      fill(area.base, static_cast<int32_t>(strlen(text)), 51, &fcb, 0);
      EXPECT_EQ(area.text(), text);
    }
}

TEST_F(Status, VerbsInTheWrongState) {
  constexpr uint32_t absent = QRT_FCB_ABSENT, placed = QRT_FCB_POSITIONED, found = QRT_FCB_READ_POSITION;
  const QrtFileRoutine read = _qrtReadError, write = _qrtWriteError, start = _qrtStartError,
                       rewrite = _qrtRewriteError, remove = _qrtDeleteError, reopen = _qrtOpenError,
                       close = _qrtCloseError;
  constexpr uint16_t io = inputOutput;
  constexpr uint8_t opened = QRT_VERB_OPEN, got = QRT_VERB_READ, began = QRT_VERB_START;
  constexpr uint8_t key = QRT_STATEMENT_INVALID_KEY, atEnd = QRT_STATEMENT_AT_END;
  struct Kind {
    uint8_t organization, access, statement;
  } const line{0, 0x80, 0}, bit{0x80, 0x80, 0}, relative{0x10, 0x80, 0}, random{0x20, 0, 0},
      keyed{0x20, 0, key}, ended{0x20, 0, atEnd}, next{0x10, 0, QRT_STATEMENT_READ_NEXT};
  struct {
    QrtFileRoutine verb;
    uint16_t state;
    uint32_t flags;
    uint8_t last;
    Kind kind;
    int status;
    const char* used;  // the USE procedure
  } const table[] = {
      {read, 0, 0, 0, line, 47, "f"},
      {read, input, absent, opened, line, 10, "i"},
      {read, input, absent, got, line, 46, "i"},
      {read, input, absent | found, got, line, 10, "i"},
      {read, input, absent, began, relative, 46, "i"},
      {read, input, absent | placed, began, next, 10, "i"},
      {read, input, absent, opened, random, 23, "i"},
      {read, input, absent, opened, keyed, 23, ""},
      {read, input, absent, opened, ended, 23, "i"},
      {read, input, absent, opened, next, 10, "i"},
      {write, io, 0, 0, relative, 92, "x"},
      {write, io, 0, 0, bit, 30, "x"},
      {write, io, 0, 0, random, 30, "x"},
      {write, input, 0, 0, line, 48, "i"},
      {rewrite, input, 0, 0, line, 49, "i"},
      {remove, extend, 0, 0, relative, 49, "e"},
      {start, output, placed, 0, relative, 47, "o"},
      {start, input, absent | placed, 0, relative, 23, "i"},
      {reopen, input, 0, 0, line, 41, "f"},
      {close, 0, 0, 0, line, 42, "f"},
      {close, input, absent, 0, line, 0, ""},
  };
  for (const auto& row : table)
    run(program, [&] {
      fcb.openState = row.state;
      fcb.flags = row.flags;
      fcb.lastOperation = row.last;
      file.description.organization = row.kind.organization;
      file.description.accessMode = row.kind.access;
      fcb.statementFlags = row.kind.statement;
      used.clear();
      EXPECT_EQ(std::stoi(program.perform(row.verb)), row.status) << &row - table;
      EXPECT_EQ(fcb.flags & (found | placed), row.flags & (row.verb == read ? placed : 0u));
      EXPECT_EQ(used, row.used) << &row - table;
      EXPECT_TRUE(used.empty() || verbSeen == fcb.currentOperation) << &row - table;
      EXPECT_EQ(file.extendedArea.text(), "000000" + std::string(18, ' '));
      fcb.openState = 0;
    });
}

TEST_F(Status, PhrasesOfTheStatementComeAheadOfUse) {
  for (const auto& [phrase, handled] :
       {std::pair{0, ""}, {QRT_STATEMENT_INVALID_KEY, "20 21 22 23 24 "}, {QRT_STATEMENT_AT_END, "10 "}})
    run(program, [&, phrase = phrase, handled = handled] {
      performing = &fcb;
      std::string unused;
      fcb.statementFlags = static_cast<uint8_t>(phrase);
      for (fcb.status = 10; fcb.status < 30; ++fcb.status) {
        used.clear();
        _qrtCallUseProc(&fcb, 0, program.entries.data());
        if (used.empty()) unused += std::to_string(fcb.status) + " ";
      }
      EXPECT_EQ(unused, handled);
    });
}

TEST_F(Status, UnheardPermanentErrorEndsTheRun) {
  const Catalogue catalogue(
      {usualControl, {200, 1, "1 <%s %s %d %s>"}, {201, 51, "0 no module %s"}, {901, 1, "2 ended"}});
  struct {
    const char* assignment;
    bool hasStatus, hasExtended, hasTable;
    const char* shown;  // from the start; empty when the run goes on
  } const table[] = {
      {"NSD-data", false, false, true,
       "Load Lib qrtrfnsd index 6\nQRT200W  <OPEN data 96 no module qrtrfnsd>"},
      {"XYZ-data", false, false, false, "QRT200W  <OPEN data 96 no module XYZ>"},
      {"KFS-data", false, false, false, "QRT200W  <OPEN data 39 >"},
      {"XYZ-data", true, false, true, ""},
      {"XYZ-data", false, true, true, ""},
  };
  for (const auto& row : table) {
    File other(row.assignment);
    if (!row.hasStatus) other.description.statusBase = &other.noArea;
    if (!row.hasExtended) other.description.status2Base = &other.noArea;
    if (!row.hasTable) other.own.useTable = nullptr;
    FileProgram main("MAIN", {&other});
    const Ended ended = inChild([&] { run(main, [&] { main.open(input); }); });
    EXPECT_EQ(ended.exitCode, *row.shown == 0 ? 0 : 3);
    EXPECT_TRUE(*row.shown == 0 ? ended.err.empty() : ended.err.starts_with(row.shown)) << ended.err;
  }
}

}  // namespace
