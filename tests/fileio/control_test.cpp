// Binding of files at the first entry of a program, EXTERNAL files, the check that descriptions agree.
#include "file_program.h"
#include "frame/catalogue_writer.h"

using namespace qrt::test;

namespace {

class Control : public InFolder {};

TEST_F(Control, BindsOwnFiles) {
  File file("name", 20, QRT_ORGANIZATION_INDEXED), second("other");
  file.description.keyCount = 3;
  FileProgram program("MAIN", {&file, &second});
  run(program, [&] {
    QrtFcb& fcb = program.fcb();
    EXPECT_EQ(fcb.description, &file.description);
    EXPECT_EQ(fcb.recordBase, file.record.base);
    EXPECT_EQ(fcb.record, file.record.base + 32);
    EXPECT_EQ(fcb.keyArea, &file.own.keys);
    EXPECT_EQ(fcb.defaultCode, 5);
    EXPECT_EQ(program.fcb(1).defaultCode, 4);
    EXPECT_EQ(std::string(program.fcb(1).defaultName, 3), "NAT");
    EXPECT_EQ(program.fcb(1).keyArea, nullptr);
    EXPECT_EQ(program.read(), "47");
    EXPECT_EQ(program.close(), "42");
  });
}

TEST_F(Control, DefaultFileSystemOfTheRun) {
  struct {
    const char* option;
    const char* name;  // also what the run unit's field becomes
    int code;
  } const table[] = {{"", "PLT", 5},    {"HDU", "HDU", 1}, {"KRD", "HDU", 1}, {"KFS", "KFS", 2},
                     {"BTR", "BTR", 3}, {"NAT", "NAT", 4}, {"PLT", "PLT", 5}, {"NSD", "NSD", 6},
                     {"EXT", "EXT", 7}, {"QDB", "QDB", 8}, {"RDB", "QDB", 8}, {"GXM", "PLT", 5},
                     {"XYZ", "PLT", 5}};
  for (const auto& row : table) {
    File file("name", 10, QRT_ORGANIZATION_SEQUENTIAL);
    FileProgram program("MAIN", {&file});
    startUp([&] {
      _qrtPgmInit(nullptr);
      memset(_qrtRuncom->fileSystem, 0, 3);
      memcpy(_qrtRuncom->fileSystem, row.option, strlen(row.option));
      _qrtPgmInit(&program.block);
      EXPECT_EQ(std::string(program.fcb().defaultName, 3), row.name);
      EXPECT_EQ(program.fcb().defaultCode, row.code) << row.option;
      EXPECT_EQ(std::string(_qrtRuncom->fileSystem, 3), row.name);
      _qrtRunUnitTerm(0);
    });
  }
}

TEST_F(Control, ProgramsShareAnExternalFile) {
  makeFile("data", "one\ntwo\n");
  File mine("data"), theirs("data");
  mine.makeExternal("SHARED");
  theirs.makeExternal("SHARED");
  File before("x"), ownFile("y");
  FileProgram main("MAIN", {&mine}), called("CALLED", {&before, &theirs, &ownFile});
  for (int runUnit = 0; runUnit < 2; ++runUnit)
    run(main, [&] {
      EXPECT_EQ(main.fcb().flags & QRT_FCB_SHARED, 0u);
      EXPECT_EQ(std::string(main.fcb().eyecatcher, 3), "FCB");
      EXPECT_EQ(main.fcb().recordLength, 10u);
      EXPECT_EQ(mine.record.base, main.fcb().recordBase);
      _qrtPgmInit(&called.block);
      EXPECT_EQ(&called.fcb(1), &main.fcb());
      EXPECT_EQ(theirs.record.base, mine.record.base);
      EXPECT_TRUE(main.fcb().flags & QRT_FCB_SHARED);

      EXPECT_EQ(main.open(input), "00");
      EXPECT_EQ(called.read(1), "00");
      EXPECT_EQ(main.record(), "one       ");
      EXPECT_EQ(main.read(), "00");
      theirs.statusArea.base[0] = '?';
      EXPECT_EQ(main.read(), "10");
      EXPECT_EQ(theirs.status(), "?0") << "a statement reports to the program that it stands in";
      EXPECT_EQ(called.read(1), "46");
      EXPECT_EQ(main.close(), "00");
      EXPECT_TRUE(main.fcb().flags & QRT_FCB_SHARED);
      _qrtPgmTerm(&called.block);
    });
}

// A description with every block that the check looks into.
struct FullFile : File {
  struct {
    QrtFileDescription description;
    uint8_t linage[144], keys[24], relative[36], other[8];
  } laidOut{};

  explicit FullFile(uint8_t organization) : File("name", 10, organization) {
    makeExternal("SHARED");
    description.linageFlags = 0xF0;
    description.keyCount = 2;
    description.linageOffset = 136;
    description.keyBlockOffset = 136 + 144;
    description.relativeKeyOffset = 136 + 144 + 24;
    description.otherBlockOffset = 136 + 144 + 24 + 36;
    laidOut.description = description;
  }
};

TEST_F(Control, DifferentDescriptionsEndTheRun) {
  constexpr uint8_t sequential = QRT_ORGANIZATION_SEQUENTIAL, indexed = QRT_ORGANIZATION_INDEXED,
                    relative = QRT_ORGANIZATION_RELATIVE;
  struct {
    const char* differences;  // empty when the run goes on
    uint8_t organization;
    void (*change)(FullFile& entering);
  } const table[] = {
      {"", sequential, [](FullFile&) {}},
      {"", sequential, [](FullFile& f) { f.laidOut.description.assignName = "elsewhere"; }},
      {"", sequential, [](FullFile& f) { f.laidOut.other[7] = 1; }},
      {"", indexed, [](FullFile& f) { f.laidOut.keys[11] = 1; }},
      {"MAXIMUM RECORD LENGTH", sequential, [](FullFile& f) { f.laidOut.description.maxRecord = 11; }},
      {"FILE ASSIGNMENT NAME", sequential,
       [](FullFile& f) {
         f.laidOut.description.assignName = "else";
         f.laidOut.other[0] = 1;
       }},
      {"FILE SYSTEM, ORGANIZATION, ACCESS MODE, RECORD FORMAT, MAXIMUM RECORD LENGTH, MINIMUM RECORD LENGTH, "
       "OPTIONAL, FILE ASSIGNMENT NAME, LINAGE FOOTING, LINAGE TOP, LINAGE BOTTOM, LINAGE NAME/VALUE",
       indexed,
       [](FullFile& f) {
         QrtFileDescription& d = f.laidOut.description;
         ++d.fileSystemCode[3], ++d.organization, ++d.accessMode, ++d.recordFormat, ++d.maxRecord,
             ++d.minRecord;
         d.attributes ^= QRT_FILE_OPTIONAL;
         --d.assignLength;
         d.linageFlags = 0x80;
         f.laidOut.linage[2] = 'x';
         f.laidOut.linage[38] = 'x';
       }},
      {"LINAGE FOOTING NAME/VALUE, LINAGE TOP NAME/VALUE, LINAGE BOTTOM NAME/VALUE", sequential,
       [](FullFile& f) { f.laidOut.linage[38 + 29] = f.laidOut.linage[104] = f.laidOut.linage[143] = 1; }},
      {"", sequential, [](FullFile& f) { f.laidOut.description.linageFlags = 0; }},
      {"NUMBER OF KEYS", indexed, [](FullFile& f) { f.laidOut.description.keyCount = 1; }},
      {"INDEXED KEY", indexed, [](FullFile& f) { f.laidOut.keys[12 + 8] = 1; }},
      {"RELATIVE KEY", relative, [](FullFile& f) { f.laidOut.relative[33] = 1; }},
      {"", relative, [](FullFile& f) { f.laidOut.relative[34] = 1; }},
  };
  const Catalogue catalogue({usualControl, {75, 1, "2 <%s|%s|%s>"}, {901, 1, "2 ended"}});
  for (const auto& row : table) {
    FullFile first(row.organization), second(row.organization);
    row.change(second);
    FileProgram main("MAIN", {&first}), called("CALLED", {&second});
    main.descriptions[0] = &first.laidOut.description;
    called.descriptions[0] = &second.laidOut.description;
    const Ended ended = inChild([&] {
      run(main, [&] {
        _qrtPgmInit(&called.block);
        puts("went on");
      });
    });
    std::string shown;
    for (char character : ended.err)
      if (!isspace(static_cast<unsigned char>(character)))
        shown += character;
      else if (!shown.empty() && shown.back() != ' ')
        shown += ' ';
    if (row.differences[0] == 0) {
      EXPECT_EQ(ended.out, "went on\n");
      EXPECT_EQ(shown, "");
    } else {
      EXPECT_EQ(ended.exitCode, 3);
      EXPECT_NE(shown.find("<SHARED|CALLED|" + std::string(row.differences) + ">"), std::string::npos)
          << shown;
    }
  }
}

TEST_F(Control, MemoryShortageEndsTheRun) {
  if (!canFailAllocations) GTEST_SKIP();
  for (int32_t n = 1; n <= 3; ++n) {
    File file("name");
    file.makeExternal("SHARED");
    FileProgram main("MAIN", {}), called("CALLED", {&file});
    const Ended ended = inChild([&] {
      run(main, [&] {
        const FailingAllocation failing(n);
        _qrtInitFCB(1, called.files.data(), called.descriptions.data(), &called.block);
        puts("went on");
      });
    });
    EXPECT_EQ(ended.exitCode, 3) << ended.err;
    EXPECT_NE(ended.err.find("907"), std::string::npos) << n << ended.out << ended.err;
  }
}

}  // namespace
