// Status areas in their forms, the verbs of a file in the wrong state, the end of a run by a file.
#include "file_program.h"
#include "frame/catalogue_writer.h"

using namespace qrt::test;

namespace {

class Status : public InFolder {
 protected:
  File file{"data", 10, QRT_ORGANIZATION_SEQUENTIAL};
  FileProgram program{"MAIN", {&file}};
  QrtFcb& fcb = file.own.block;
};

std::string bytes(std::initializer_list<int> values) {
  return {values.begin(), values.end()};
}

TEST_F(Status, AreasInEachForm) {
  struct {
    uint8_t flags;
    size_t extendedLength;
    std::string status, extended;
  } const table[] = {
      {0, 8, "47", "000000  "},
      {0x80, 3, bytes({0xF4, 0xF7}), "000"},
      {0x10, 6, std::string("4\0007\0", 4), "000000"},
      {0x40, 8, "47", bytes({0xF0, 0xF0, 0xF0, 0xF0, 0xF0, 0xF0, 0x40, 0x40})},
      {0x90, 0, bytes({0xF4, 0xF7}), ""},
  };
  for (const auto& row : table) {
    GuardedArea status(row.status.size()), extended(row.extendedLength);
    file.description.statusFlags = row.flags;
    file.description.status2Length = static_cast<uint16_t>(row.extendedLength);
    // The areas lie behind their bases.
    uint8_t *statusBase = status.base - 3, *extendedBase = extended.base - 5;
    file.description.statusBase = &statusBase;
    file.description.status2Base = &extendedBase;
    file.description.statusOffset = 3;
    file.description.status2Offset = 5;
    run(program, [&] { program.read(); });
    EXPECT_EQ(status.text(), row.status);
    EXPECT_EQ(extended.text(), row.extended);
    EXPECT_TRUE(status.guarded() && extended.guarded());
  }
}

TEST_F(Status, ExtendedStatusOfAnAdapter) {
  memcpy(fcb.fileSystemName, "XYZ", 3);
  fcb.fileName = "name";
  struct {
    int16_t status;
    int32_t code;
    int32_t length;
    const char* plain;
    const char* withSystem;
  } const table[] = {
      {35, 35, 14, "000035,name   ", "000035,name   "},
      {33, 37, 9, "000037,na", "000037,na"},
      {35, 1, 6, "000001", "000001"},
      {35, 1, 5, "     ", "     "},
      {30, 123456, 8, "123456  ", "123456  "},
      {96, 51, 16, "000051          ", "000051,XYZ,name "},
      {96, 51, 9, "000051   ", "000051,XY"},
      {35, 1, 7, "000001,", "000001,"},
      {0, 0, 0, "", ""},
  };
  for (const auto& row : table) {
    GuardedArea plain(row.length), withSystem(row.length);
    fcb.status = row.status;
    _qrt_filestat2(plain.base, row.length, row.code, &fcb, 0);
    _qrt_filestat2x(withSystem.base, row.length, row.code, &fcb, 0);
    EXPECT_EQ(plain.text(), row.plain);
    EXPECT_EQ(withSystem.text(), row.withSystem);
    EXPECT_TRUE(plain.guarded() && withSystem.guarded());
  }
}

TEST_F(Status, VerbsInTheWrongState) {
  constexpr uint8_t sequential = 0, relative = QRT_ORGANIZATION_RELATIVE, random = 0, inSequence = 0x80;
  constexpr uint8_t next = QRT_STATEMENT_READ_NEXT;
  constexpr uint32_t absent = QRT_FCB_ABSENT, positioned = QRT_FCB_POSITIONED,
                     readable = QRT_FCB_READ_POSITION;
  struct {
    QrtFileRoutine verb;
    uint16_t state;
    uint32_t flags;
    uint8_t last, organization, access, statement;
    const char* status;
    uint32_t flagsAfter;
  } const table[] = {
      {_qrtReadError, 0, 0, 0, sequential, inSequence, 0, "47", 0},
      {_qrtReadError, output, 0, 0, sequential, inSequence, 0, "47", 0},
      {_qrtReadError, input, readable, 0, sequential, inSequence, 0, "30", 0},
      {_qrtReadError, input, absent, QRT_VERB_OPEN, sequential, inSequence, 0, "10", absent},
      {_qrtReadError, input, absent, QRT_VERB_READ, sequential, inSequence, 0, "46", absent},
      {_qrtReadError, input, absent | readable, QRT_VERB_READ, sequential, inSequence, 0, "10", absent},
      {_qrtReadError, input, absent, QRT_VERB_START, relative, inSequence, 0, "46", absent},
      {_qrtReadError, input, absent | positioned, QRT_VERB_START, relative, inSequence, 0, "10",
       absent | positioned},
      {_qrtReadError, input, absent, QRT_VERB_OPEN, relative, random, 0, "23", absent},
      {_qrtReadError, input, absent, QRT_VERB_OPEN, relative, random, next, "10", absent},
      {_qrtWriteError, inputOutput, 0, 0, relative, inSequence, 0, "92", 0},
      {_qrtWriteError, inputOutput, 0, 0, 0x80, inSequence, 0, "30", 0},
      {_qrtWriteError, inputOutput, 0, 0, relative, random, 0, "30", 0},
      {_qrtWriteError, input, 0, 0, sequential, inSequence, 0, "48", 0},
      {_qrtRewriteError, input, 0, 0, sequential, inSequence, 0, "49", 0},
      {_qrtRewriteError, inputOutput, 0, 0, sequential, inSequence, 0, "30", 0},
      {_qrtDeleteError, extend, 0, 0, relative, inSequence, 0, "49", 0},
      {_qrtDeleteError, inputOutput, 0, 0, relative, inSequence, 0, "30", 0},
      {_qrtStartError, output, positioned, 0, relative, inSequence, 0, "47", 0},
      {_qrtStartError, input, absent | positioned, 0, relative, inSequence, 0, "23", absent},
      {_qrtStartError, inputOutput, 0, 0, relative, inSequence, 0, "30", 0},
      {_qrtOpenError, input, 0, 0, sequential, inSequence, 0, "41", 0},
      {_qrtOpenError, 0, 0, 0, sequential, inSequence, 0, "30", 0},
      {_qrtCloseError, 0, 0, 0, sequential, inSequence, 0, "42", 0},
      {_qrtCloseError, input, 0, 0, sequential, inSequence, 0, "30", 0},
      {_qrtCloseError, input, absent, 0, sequential, inSequence, 0, "00", 0},
  };
  for (const auto& row : table)
    run(program, [&] {
      fcb.openState = row.state;
      fcb.flags = row.flags;
      fcb.lastOperation = row.last;
      file.description.organization = row.organization;
      file.description.accessMode = row.access;
      fcb.statementFlags = row.statement;
      row.verb(&fcb, program.entries.data());
      EXPECT_EQ(file.status(), row.status) << &row - table;
      EXPECT_EQ(fcb.flags, row.flagsAfter) << &row - table;
      EXPECT_EQ(fcb.lastOperation, fcb.currentOperation);
      EXPECT_EQ(file.extendedArea.text(), "000000" + std::string(18, ' '));
      fcb.openState = 0;
    });
}

TEST_F(Status, UseProcedureByModeUnlessTheStatementHandlesIt) {
  static std::string used;
  struct {
    uint16_t state;
    uint8_t operation, statement;
    int16_t status;
    const char* used;
  } const table[] = {
      {input, QRT_VERB_READ, 0, 30, "0"},
      {output, QRT_VERB_WRITE, 0, 30, "1"},
      {inputOutput, QRT_VERB_READ, 0, 30, "2"},
      {extend, QRT_VERB_WRITE, 0, 30, "3"},
      {0, QRT_VERB_READ, 0, 47, "4"},
      {input, QRT_VERB_OPEN, 0, 30, "4"},
      {input, QRT_VERB_READ, QRT_STATEMENT_AT_END, 10, ""},
      {input, QRT_VERB_READ, QRT_STATEMENT_INVALID_KEY, 10, "0"},
      {input, QRT_VERB_READ, QRT_STATEMENT_INVALID_KEY, 20, ""},
      {input, QRT_VERB_READ, QRT_STATEMENT_INVALID_KEY, 24, ""},
      {input, QRT_VERB_READ, QRT_STATEMENT_INVALID_KEY, 25, "0"},
      {input, QRT_VERB_READ, QRT_STATEMENT_AT_END, 23, "0"},
  };
  for (int row = 0; row < 5; ++row)
    file.use[row] = {[](void* argument) { used += static_cast<const char*>(argument); },
                     const_cast<char*>(std::to_array({"0", "1", "2", "3", "4"})[row])};
  run(program, [&] {
    for (const auto& row : table) {
      used.clear();
      fcb.openState = row.state;
      fcb.currentOperation = row.operation;
      fcb.statementFlags = row.statement;
      fcb.status = row.status;
      _qrtCallUseProc(&fcb, 0, program.entries.data());
      EXPECT_EQ(used, row.used) << &row - table;
    }
    fcb.openState = 0;
  });
}

TEST_F(Status, UnheardPermanentErrorEndsTheRun) {
  const Catalogue catalogue({usualControl, {200, 1, "1 <%s %s %d %s>"}, {901, 1, "2 ended"}});
  struct {
    int16_t status;
    bool hasStatus, hasExtended, hasTable;
    const char* name;
    const char* shown;  // null when the run goes on
  } const table[] = {
      {30, false, false, true, "named", "<REWRITE named 30 >"},
      {30, false, false, false, "named", "<REWRITE named 30 >"},
      {30, false, false, false, nullptr, "<REWRITE data 30 >"},
      {29, false, false, true, "named", nullptr},
      {30, true, false, true, "named", nullptr},
      {30, false, true, true, "named", nullptr},
  };
  for (const auto& row : table) {
    file.description.statusBase = row.hasStatus ? &file.statusArea.base : &file.noArea;
    file.description.status2Base = row.hasExtended ? &file.extendedArea.base : &file.noArea;
    fcb.useTable = row.hasTable ? file.use : nullptr;
    const Ended ended = inChild([&] {
      run(program, [&] {
        fcb.currentOperation = QRT_VERB_REWRITE;
        fcb.status = row.status;
        fcb.fileName = row.name;
        _qrtCallUseProc(&fcb, 0, program.entries.data());
      });
    });
    EXPECT_EQ(ended.exitCode, row.shown != nullptr ? 3 : 0);
    if (row.shown != nullptr) {
      EXPECT_NE(ended.err.find(row.shown), std::string::npos) << ended.err;
    }
  }
}

}  // namespace
