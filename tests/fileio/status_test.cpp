// Status areas in their forms, the verbs of a file in the wrong state, the end of a run by a file.
#include "file_program.h"
#include "frame/catalogue_writer.h"

using namespace qrt::test;

namespace {

struct Status : InFolder {
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
  struct {
    int16_t status;
    std::string plain, withSystem;
  } const table[] = {
      {35, "000051,name   ", "000051,name   "},
      {96, "000051         ", "000051,XYZ,name"},
      {33, "000051,na", "000051,na"},
      {96, "000051   ", "000051,XY"},
      {30, "000051  ", "000051  "},
      {35, "     ", "     "},
  };
  for (const auto& row : table)
    for (const bool system : {false, true}) {
      const auto length = static_cast<int32_t>(row.plain.size());
      GuardedArea area(row.plain.size());
      fcb.status = row.status;
      (system ? _qrt_filestat2x : _qrt_filestat2)(area.base, length, 51, &fcb, 0);
      EXPECT_EQ(area.text(), system ? row.withSystem : row.plain);
    }
}

TEST_F(Status, VerbsInTheWrongState) {
  constexpr uint32_t absent = QRT_FCB_ABSENT, placed = QRT_FCB_POSITIONED, readable = QRT_FCB_READ_POSITION;
  const QrtFileRoutine read = _qrtReadError, write = _qrtWriteError, start = _qrtStartError,
                       rewrite = _qrtRewriteError, remove = _qrtDeleteError, reopen = _qrtOpenError,
                       close = _qrtCloseError;
  constexpr uint8_t opened = QRT_VERB_OPEN, got = QRT_VERB_READ, began = QRT_VERB_START;
  struct Kind {
    uint8_t organization, access, statement;
  } const line{0, 0x80, 0}, bit{0x80, 0x80, 0}, relative{0x10, 0x80, 0}, random{0x20, 0, 0},
      next{0x10, 0, QRT_STATEMENT_READ_NEXT};
  struct {
    QrtFileRoutine verb;
    uint16_t state;
    uint32_t flags;
    uint8_t last;
    Kind kind;
    const char* status;
  } const table[] = {
      {read, 0, 0, 0, line, "47"},
      {read, input, readable, 0, line, "30"},
      {read, input, absent, opened, line, "10"},
      {read, input, absent, got, line, "46"},
      {read, input, absent | readable, got, line, "10"},
      {read, input, absent, began, relative, "46"},
      {read, input, absent | placed, began, next, "10"},
      {read, input, absent, opened, random, "23"},
      {read, input, absent, opened, next, "10"},
      {write, inputOutput, 0, 0, relative, "92"},
      {write, inputOutput, 0, 0, bit, "30"},
      {write, inputOutput, 0, 0, random, "30"},
      {write, input, 0, 0, line, "48"},
      {rewrite, input, 0, 0, line, "49"},
      {rewrite, inputOutput, 0, 0, line, "30"},
      {remove, extend, 0, 0, relative, "49"},
      {remove, inputOutput, 0, 0, relative, "30"},
      {start, output, placed, 0, relative, "47"},
      {start, input, absent | placed, 0, relative, "23"},
      {start, inputOutput, 0, 0, relative, "30"},
      {reopen, input, 0, 0, line, "41"},
      {reopen, 0, 0, 0, line, "30"},
      {close, 0, 0, 0, line, "42"},
      {close, input, 0, 0, line, "30"},
      {close, input, absent, 0, line, "00"},
  };
  // The procedure finds its statement's verb as the last one.
  static uint8_t lastSeen;
  for (QrtUsePair& pair : file.use)
    pair = {[](void* block) { lastSeen = static_cast<QrtFcb*>(block)->lastOperation; }, &fcb};
  for (const auto& row : table)
    run(program, [&] {
      fcb.openState = row.state;
      fcb.flags = row.flags;
      fcb.lastOperation = row.last;
      file.description.organization = row.kind.organization;
      file.description.accessMode = row.kind.access;
      fcb.statementFlags = row.kind.statement;
      lastSeen = 0;
      EXPECT_EQ(program.perform(row.verb), row.status) << &row - table;
      EXPECT_EQ(fcb.flags & (readable | placed), row.flags & (row.verb == read ? placed : 0u));
      EXPECT_EQ(lastSeen, row.status[0] == '0' ? 0 : fcb.currentOperation) << &row - table;
      EXPECT_EQ(file.extendedArea.text(), "000000" + std::string(18, ' '));
      fcb.openState = 0;
    });
}

TEST_F(Status, UseProcedureByModeUnlessTheStatementHandlesIt) {
  static char used;
  constexpr uint8_t key = QRT_STATEMENT_INVALID_KEY, atEnd = QRT_STATEMENT_AT_END, read = QRT_VERB_READ;
  struct {
    uint16_t state;
    uint8_t verb, statement;
    int16_t status;
    char used;
  } const table[] = {
      {input, read, 0, 30, 'i'},   {output, read, 0, 30, 'o'},  {inputOutput, read, 0, 30, 'x'},
      {extend, read, 0, 30, 'e'},  {0, read, 0, 47, 'f'},       {input, QRT_VERB_OPEN, 0, 30, 'f'},
      {input, read, key, 20, '-'}, {input, read, key, 10, 'i'}, {input, read, atEnd, 10, '-'},
      {input, read, key, 24, '-'}, {input, read, key, 25, 'i'}, {input, read, atEnd, 23, 'i'},
  };
  for (int row = 0; row < 5; ++row)
    file.use[row] = {[](void* mode) { used = *static_cast<char*>(mode); }, const_cast<char*>("ioxef" + row)};
  run(program, [&] {
    for (const auto& row : table) {
      used = '-';
      fcb.openState = row.state;
      fcb.currentOperation = row.verb;
      fcb.statementFlags = row.statement;
      fcb.status = row.status;
      _qrtCallUseProc(&fcb, 0, program.entries.data());
      EXPECT_EQ(used, row.used) << &row - table;
    }
    fcb.openState = 0;
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
