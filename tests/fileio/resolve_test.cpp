// From assignment, environment and options to file system, name and status.
#include "file_program.h"

using namespace qrt::test;

namespace {

class Resolve : public InFolder {};

void failQuietly(QrtFcb* file, QrtProgramEntry*, int32_t) {
  file->status = 30;
}

TEST_F(Resolve, NamesAndFileSystems) {
  scriptAdapter(failQuietly);
  constexpr uint8_t asIs = QRT_FILE_ASSIGN_AS_IS, text = QRT_FILE_ASSIGN_TEXT, variable = 0;
  const std::string noSystem(3, '\0');
  struct {
    uint8_t attributes;
    std::string assignment;
    const char* value;      // of the variable MYFILE; null for unset
    std::string described;  // three letters of the description
    char system;
    const char* letters;
    const char* name;
    const char* status;
    bool allocated = false;
  } const table[] = {
      {text, "data.txt", nullptr, noSystem, '5', "PLT", "data.txt", "30"},
      {text, "data.txt   ", nullptr, noSystem, '5', "PLT", "data.txt", "30", true},
      {text, "   ", nullptr, noSystem, '5', "PLT", " ", "30", true},
      {text, "PLT-data", nullptr, "NAT", '5', "PLT", "data", "30"},
      {text, "plt-data ", nullptr, "NAT", '5', "PLT", "data", "30", true},
      {text, "NSD-data", nullptr, noSystem, '6', "NSD", "data", "96"},
      {text, "btr-data", nullptr, noSystem, '3', "BTR", "data", "96"},
      {text, "GXM-data", nullptr, noSystem, '1', "HDU", "data", "96"},
      {text, "krd-data", nullptr, noSystem, '1', "HDU", "data", "96"},
      {text, "RDB-data", nullptr, noSystem, '8', "QDB", "data", "96"},
      {text, "EXT-data", nullptr, noSystem, '0', "EXT", "data", "96"},
      {text, "xyz-name", nullptr, noSystem, '0', "XYZ", "name", "96"},
      {text, "NAT-absent", nullptr, noSystem, '4', "NAT", "absent", "39"},
      {text, "a-data", nullptr, noSystem, '5', "PLT", "a-data", "30"},
      {text, "data-2.txt", nullptr, noSystem, '5', "PLT", "data-2.txt", "30"},
      {text, "da-PLT-x", nullptr, noSystem, '5', "PLT", "da-PLT-x", "30"},
      {text, "PL1-data", nullptr, noSystem, '5', "PLT", "PL1-data", "30"},
      {text, "PLT-", nullptr, noSystem, '5', "PLT", "PLT-", "30"},
      {text, "MYFILE", "NSD-x", noSystem, '5', "PLT", "MYFILE", "30"},
      {text, "data", nullptr, "nsd", '6', "NSD", "data", "96"},
      {text, "data", nullptr, "EXT", '5', "PLT", "data", "30"},
      {text, "data", nullptr, "???", '5', "PLT", "data", "30"},
      {asIs, "NSD-data ", nullptr, noSystem, '5', "PLT", "NSD-data ", "30"},
      {variable, "MYFILE", "NSD-data.txt", noSystem, '6', "NSD", "data.txt", "96"},
      {variable, "MYFILE", "other", "QDB", '8', "QDB", "other", "96"},
      {variable, "MYFILE", "", noSystem, '5', "PLT", "MYFILE", "30"},
      {variable, "NSD-MYFILE", nullptr, noSystem, '5', "PLT", "NSD-MYFILE", "30"},
      {text, "KFS-data", nullptr, noSystem, '2', "KFS", "data", "39"},
  };
  for (const auto& row : table) {
    File file(row.assignment, 10, QRT_ORGANIZATION_RELATIVE);
    file.description.attributes = row.attributes;
    row.described.copy(file.description.fileSystemCode + 1, 3);
    row.value != nullptr ? setenv("MYFILE", row.value, 1) : unsetenv("MYFILE");
    FileProgram program("MAIN", {&file});
    run(program, [&] {
      for (int attempt = 0; attempt < 2; ++attempt) {
        EXPECT_EQ(program.open(input), row.status) << row.assignment;
        EXPECT_EQ(program.fcb().fileSystemChar, row.system) << row.assignment;
        EXPECT_EQ(std::string(program.fcb().fileSystemName, 3), row.letters) << row.assignment;
        EXPECT_STREQ(program.fcb().fileName, row.name);
        EXPECT_EQ((program.fcb().flags & QRT_FCB_NAME_ALLOCATED) != 0, row.allocated) << row.assignment;
      }
    });
  }
  unsetenv("MYFILE");
}

TEST_F(Resolve, NamesOfFailedOpensGoWithTheRunUnit) {
  scriptAdapter(failQuietly);
  int32_t before = 0;
  for (int round = 0; round < 2; ++round) {
    before = liveBlocks();
    File file("data   ", 10, QRT_ORGANIZATION_RELATIVE);
    FileProgram program("MAIN", {&file});
    run(program, [&] {
      program.open(input);
      program.open(input);
    });
  }
  EXPECT_EQ(liveBlocks(), before);
}

TEST_F(Resolve, ServedFileSystem) {
  scriptAdapter(failQuietly);
  struct {
    const char* assignment;
    const char* root;  // null for unset
    const char* server;
    const char* letters;
    const char* name;
    const char* status;
  } const table[] = {
      {"KFS-/top/data", "/top", nullptr, "KFS", "/top/data", "96"},
      {"KFS-data", "/top", nullptr, "KFS", "data", "39"},
      {"KFS-data", nullptr, "srv", "KFS", "data", "39"},
      {"KFS-data", "/top", "srv", "KFS", "srv/data", "96"},
      {"KFS-data   ", "/top", "srv", "KFS", "srv/data", "96"},
      {"HDU-/top/data", "/top", nullptr, "KFS", "/top/data", "96"},
      {"HDU-data", "/top", "srv", "HDU", "data", "96"},
      {"PLT-/top/data", "/top", nullptr, "PLT", "/top/data", "30"},
  };
  for (const auto& row : table) {
    row.root != nullptr ? setenv("HELVA_CDS_ROOT", row.root, 1) : unsetenv("HELVA_CDS_ROOT");
    row.server != nullptr ? setenv("TRAX_TK_KFS_SERVER", row.server, 1) : unsetenv("TRAX_TK_KFS_SERVER");
    File file(row.assignment, 10, QRT_ORGANIZATION_RELATIVE);
    FileProgram program("MAIN", {&file});
    run(program, [&] {
      EXPECT_EQ(program.open(input), row.status) << row.assignment;
      EXPECT_EQ(std::string(program.fcb().fileSystemName, 3), row.letters);
      EXPECT_STREQ(program.fcb().fileName, row.name);
    });
  }
  unsetenv("HELVA_CDS_ROOT");
  unsetenv("TRAX_TK_KFS_SERVER");
}

TEST_F(Resolve, SizeOfFilesGoesByTheCompiler) {
  scriptAdapter(failQuietly);
  for (const uint8_t version : {uint8_t{5}, uint8_t{6}}) {
    File file("data", 10, QRT_ORGANIZATION_RELATIVE);
    FileProgram program("MAIN", {&file});
    program.setLevel(version, 0, 0);
    run(program, [&] {
      program.open(input);
      EXPECT_EQ(program.fcb().fileMode, version == 5 ? 'S' : 'L');
    });
  }
}

TEST_F(Resolve, MemoryShortageForTheName) {
  if (!canFailAllocations) GTEST_SKIP();
  scriptAdapter(failQuietly);
  File file("data   ", 10, QRT_ORGANIZATION_RELATIVE);
  FileProgram program("MAIN", {&file});
  run(program, [&] {
    const FailingAllocation failing(1);
    EXPECT_EQ(program.open(input), "34");
    EXPECT_EQ(program.fcb().openState, 0);
  });
}

}  // namespace
