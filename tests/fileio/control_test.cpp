// Binding of files at the first entry of a program, EXTERNAL files, the check that descriptions agree.
#include <regex>

#include "file_program.h"
#include "support/catalogue_writer.h"

using namespace qrt::test;

namespace {

using Control = InFolder;

TEST_F(Control, ProgramsShareAnExternalFile) {
  makeFile("data", "one\ntwo\n");
  File mine("data"), theirs("data"), before("x");
  mine.makeExternal();
  theirs.makeExternal();
  FileProgram main("MAIN", {&mine}), called("CALLED", {&before, &theirs});
  for (int runUnit = 0; runUnit < 2; ++runUnit)
    run(main, [&] {
      EXPECT_EQ(main.fcb().flags, 0u);
      EXPECT_EQ(main.fcb().recordLength, 10u);
      _qrtPgmInit(&called.block);
      EXPECT_EQ(&called.fcb(1), &main.fcb());
      EXPECT_EQ(theirs.record.base, mine.record.base);
      EXPECT_EQ((Texts{main.open(input), called.read(1), main.record(), main.read(), main.read()}),
                (Texts{"00", "00", "one       ", "00", "10"}));
      EXPECT_EQ(theirs.statusArea.text(), "00") << "a statement reports to the program that it stands in";
      EXPECT_EQ((Texts{called.read(1), main.close()}), (Texts{"46", "00"}));
      EXPECT_EQ(main.fcb().flags, QRT_FCB_SHARED);
      _qrtPgmTerm(&called.block);
    });
}

// A description with every block that the check looks into.
struct FullFile : File {
  struct {
    QrtFileDescription description;
    uint8_t linage[144], keys[24], relative[36], other[8];
  } laidOut{};
  QrtFileDescription& d = laidOut.description;

  explicit FullFile(uint8_t organization) : File("name", 10, organization) {
    makeExternal();
    d = description;
    d.linageFlags = 0xF0;
    d.keyCount = 2;
    d.linageOffset = sizeof(d);
    d.keyBlockOffset = d.linageOffset + 144;
    d.relativeKeyOffset = d.keyBlockOffset + 24;
    d.otherBlockOffset = d.relativeKeyOffset + 36;
  }
};

TEST_F(Control, DifferentDescriptionsEndTheRun) {
  constexpr uint8_t sequential = QRT_ORGANIZATION_SEQUENTIAL, indexed = QRT_ORGANIZATION_INDEXED,
                    relative = QRT_ORGANIZATION_RELATIVE;
  struct {
    std::string differences;  // empty when the run goes on
    uint8_t organization;
    void (*change)(FullFile& entering);
  } const table[] = {
      {"", sequential, [](FullFile& f) { f.d.assignName = "else"; }},
      {"", sequential, [](FullFile& f) { f.laidOut.other[7] = 1, f.d.linageFlags = 0; }},
      {"", indexed, [](FullFile& f) { f.laidOut.keys[11] = 1; }},
      {"FILE ASSIGNMENT NAME", sequential,
       [](FullFile& f) { f.d.assignName = "else", f.laidOut.other[0] = 1; }},
      {"FILE SYSTEM, ORGANIZATION, ACCESS MODE, RECORD FORMAT, MAXIMUM RECORD LENGTH, MINIMUM RECORD LENGTH, "
       "OPTIONAL, FILE ASSIGNMENT NAME, LINAGE FOOTING, LINAGE TOP, LINAGE BOTTOM, LINAGE NAME/VALUE",
       indexed,
       [](FullFile& f) {
         ++f.d.fileSystemCode[3], ++f.d.organization, ++f.d.accessMode, ++f.d.recordFormat, ++f.d.maxRecord;
         ++f.d.minRecord, f.d.attributes ^= QRT_FILE_OPTIONAL, --f.d.assignLength, f.d.linageFlags = 0x80;
         f.laidOut.linage[2] = f.laidOut.linage[38] = 'x';
       }},
      {"LINAGE FOOTING NAME/VALUE, LINAGE TOP NAME/VALUE, LINAGE BOTTOM NAME/VALUE", sequential,
       [](FullFile& f) { f.laidOut.linage[38 + 29] = f.laidOut.linage[104] = f.laidOut.linage[143] = 1; }},
      {"NUMBER OF KEYS", indexed, [](FullFile& f) { f.d.keyCount = 1; }},
      {"INDEXED KEY", indexed, [](FullFile& f) { f.laidOut.keys[12 + 8] = 1; }},
      {"RELATIVE KEY", relative, [](FullFile& f) { f.laidOut.relative[33] = 1; }},
  };
  const Catalogue catalogue({usualControl, {75, 1, "2 <%s|%s|%s>"}, {901, 1, "2 ended"}});
  for (const auto& row : table) {
    FullFile first(row.organization), second(row.organization);
    row.change(second);
    FileProgram main("MAIN", {&first}), called("CALLED", {&second});
    main.descriptions[0] = &first.d;
    called.descriptions[0] = &second.d;
    const Ended ended = inChild([&] { run(main, [&] { _qrtPgmInit(&called.block); }); });
    EXPECT_EQ(ended.exitCode, row.differences.empty() ? 0 : 3);
    const std::string shown = std::regex_replace(ended.err, std::regex("\\s+"), " ");
    EXPECT_EQ(shown.find("<SHARED|CALLED|" + row.differences + ">") != shown.npos, !row.differences.empty())
        << shown;
  }
}

TEST_F(Control, MemoryShortageEndsTheRun) {
  for (int32_t n = 1; canFailAllocations && n <= 3; ++n) {
    File file("name");
    file.makeExternal();
    FileProgram main("MAIN", {}), called("CALLED", {&file});
    const Ended ended = inChild([&] {
      run(main, [&] {
        const FailingAllocation failing(n);
        _qrtInitFCB(1, called.files.data(), called.descriptions.data(), &called.block);
      });
    });
    EXPECT_TRUE(ended.exitCode == 3 && ended.err.find("907") != std::string::npos) << n << ended.err;
  }
}

}  // namespace
