// Sequential record files: the bytes on disk and concatenations; and OPEN with its statuses for both plain
// organizations.
#include <map>

#include "record_program.h"

using namespace qrt::test;

namespace {

struct Sequential : InFolder {};
using Files = Sequential;

std::string prefixed(const std::string& record) {
  const auto length = static_cast<uint32_t>(record.size());
  return std::string(reinterpret_cast<const char*>(&length), sizeof(length)) + record;
}

TEST_F(Sequential, LayoutOnDisk) {
  RecordFile file("data", QRT_ORGANIZATION_SEQUENTIAL, QRT_ACCESS_SEQUENTIAL, 5);
  file.makeVariable(2);
  RecordProgram program("MAIN", {&file});
  program.block.flags |= QRT_PROGRAM_EBCDIC;
  run(program, [&] {
    program.open(output);
    EXPECT_EQ(
        (Texts{program.write("ab"), program.write("a"), program.write("abcdef"), program.write("12345")}),
        (Texts{"00", "44", "44", "00"}));
    EXPECT_EQ((Texts{program.close(QRT_CLOSE_UNIT), program.close(QRT_CLOSE_REEL), program.write("end")}),
              (Texts{"07", "07", "00"}));
    program.close();
    std::string header("QRTRECS\n\1\0\0\x40\5\0\0\0\2\0\0\0", 20);
    const std::string content = contentOf("data");
    EXPECT_EQ(content.substr(0, 20), header);
    EXPECT_EQ(content.substr(128), prefixed("ab") + prefixed("12345") + prefixed("end"));
    // Lengths that only others store: told where the record can be had, an error where the file hasn't got
    // it.
    makeFile("data", content + prefixed("x") + prefixed("too long") + "\xff\xff\xff\xff..");
    program.open(input);
    Texts statuses, records;
    for (int count = 0; count < 6; ++count)
      statuses.push_back(program.read()), records.push_back(program.record());
    EXPECT_EQ(statuses, (Texts{"00", "00", "00", "04", "04", "30"}));
    EXPECT_EQ(records, (Texts{"ab@@@", "12345", "end@@", "x@@@@", "too l", "too l"}));
    EXPECT_EQ(file.own.readLength, 8u);
    program.close();
  });
}

// What a program sees of an assignment: the status of OPEN, records, statuses of two READs at the end and of
// CLOSE, the USE procedures, and the extended status of the first of these READs.
std::string readThrough(const std::string& assigned, bool optional, bool variable) {
  RecordFile file(assigned, QRT_ORGANIZATION_SEQUENTIAL, QRT_ACCESS_SEQUENTIAL, 2);
  if (variable) file.makeVariable(1);
  if (optional) file.description.attributes |= QRT_FILE_OPTIONAL;
  file.noteUse();
  used.clear();
  RecordProgram program("MAIN", {&file});
  std::string seen, extended;
  run(program, [&] {
    seen = program.open(input);
    std::string status;
    while ((status = program.read()) == "00") seen += " " + program.taken();
    EXPECT_EQ(verbSeen, QRT_VERB_READ);
    extended = file.extendedArea.text();
    seen += " " + status + program.read();
    seen += " " + program.close();
  });
  return seen + " " + used + " " + extended.substr(0, extended.find(' '));
}

TEST_F(Sequential, ReadsOnAcrossMembers) {
  const struct {
    const char *assigned, *seen;
    bool optional = false;
  } table[] = {{"a;b", "00 a1 a2 b1 1046 00 ii 000010"},
               {"empty;a;;empty;PLT-b;empty", "00 a1 a2 b1 1046 00 ii 000010"},
               {"x;a;y;b;z", "00 a1 a2 b1 1046 00 ii 000010", true},
               {"x;y", "05 1046 00 ii 000000", true},
               {"a;text;b", "00 a1 a2 3347 42 iff 000039,text"},
               {"a;x", "00 a1 a2 3347 42 iff 000035,x"}};
  makeFile("text", std::string(500, 'x'));
  for (const bool variable : {false, true}) {
    for (const auto& [name, records] :
         std::map<std::string, Texts>{{"a", {"a1", "a2"}}, {"b", {"b1"}}, {"empty", {}}}) {
      RecordFile file(name, QRT_ORGANIZATION_SEQUENTIAL, QRT_ACCESS_SEQUENTIAL, 2);
      if (variable) file.makeVariable(1);
      RecordProgram program("MAIN", {&file});
      run(program, [&] {
        program.open(output);
        for (const std::string& record : records) program.write(record);
      });
    }
    const int32_t before = liveBlocks();
    for (const auto& row : table)
      EXPECT_EQ(readThrough(row.assigned, row.optional, variable), row.seen) << row.assigned;
    EXPECT_EQ(liveBlocks(), before);
  }
}

// --- OPEN, for both plain organizations
// --------------------------------------------------------------------------

TEST_F(Files, OpenByModeAndPresence) {
  struct {
    const char* name;
    uint16_t mode;
    bool optional;
    const char* open;
    const char* extended;
    const char* read;  // the first two READs, of a file open for them
  } const table[] = {
      {"there", input, false, "00", "000000", "0010"},
      {"there", input, true, "00", "000000", "0010"},
      {"there", extend, false, "00", "000000", ""},
      {"there", output, false, "00", "000000", ""},
      {"there", inputOutput, false, "00", "000000", "0010"},
      {"there", QRT_OPEN_INPUT | QRT_OPEN_OUTPUT, false, "37", "000037", ""},
      {"there", input | QRT_OPEN_NO_REWIND, false, "07", "000000", "0010"},
      {"absent", input, false, "35", "000035,absent", ""},
      {"absent", inputOutput, false, "35", "000035,absent", ""},
      {"absent", extend, false, "35", "000035,absent", ""},
      {"absent", output, false, "00", "000000", ""},
      {"absent", input, true, "05", "000005", "1046"},
      {"absent", inputOutput, true, "05", "000005", "1046"},
      {"absent", extend, true, "05", "000005", ""},
      {"empty", input, false, "00", "000000", "1046"},
      {"empty", inputOutput, false, "00", "000000", "1046"},
      {"empty", extend, false, "00", "000000", ""},
      {".", input, false, "37", "000021", ""},
      {"/dev/null", output, false, "37", "000021", ""},
      {"no/where", output, false, "30", "000002", ""},
      {"there/in", input, false, "30", "000003", ""},
      {"text", input, false, "39", "000039", ""},
      {"short", extend, false, "39", "000039", ""},
      {"future", input, false, "39", "000039", ""},
  };
  for (const int organization : {QRT_ORGANIZATION_SEQUENTIAL, 0x80, QRT_ORGANIZATION_RELATIVE})
    for (const auto& row : table) {
      SCOPED_TRACE(testing::Message() << row.name << " " << row.mode << " organization " << organization);
      const auto as = static_cast<uint8_t>(organization);
      RecordFile made("there", as, QRT_ACCESS_SEQUENTIAL, 10);
      RecordFile file(row.name, as, QRT_ACCESS_SEQUENTIAL, 10);
      if (row.optional) file.description.attributes |= QRT_FILE_OPTIONAL;
      RecordProgram program("MAIN", {&made, &file});
      run(program, [&] {
        program.open(output);
        program.write("0123456789");
        program.close();
        std::filesystem::remove("absent");
        makeFile("empty", "");
        makeFile("text", std::string(500, 'x'));
        std::string header = contentOf("there").substr(0, 128);
        makeFile("short", header.substr(0, 127));
        header[8] = 2;
        makeFile("future", header);
        EXPECT_EQ(program.open(row.mode, 1), row.open);
        EXPECT_EQ(file.extendedArea.text(), (row.extended + std::string(24, ' ')).substr(0, 24));
        const bool open = file.own.openState != 0;
        EXPECT_EQ(open, *row.open == '0');
        if (*row.read != 0) {
          const std::string first = program.read(1);
          EXPECT_EQ(first + program.read(1), row.read);
        }
        if ((row.mode & QRT_OPEN_CAN_WRITE) != 0 && open && (row.mode & QRT_OPEN_IO) == 0) {
          EXPECT_EQ(program.write("abcdefghij", 1), "00");
        }
        EXPECT_EQ(program.close(0, 1), open ? "00" : "42");
        // What has been made by an OPEN is a file.
        if (row.optional && row.mode != input) {
          EXPECT_EQ(program.open(input, 1), "00");
        }
      });
      const auto left = std::distance(std::filesystem::directory_iterator("."), {});
      EXPECT_LE(left, 6) << "OPEN leaves nothing behind";
    }
}

TEST_F(Files, StatusAreasInEachForm) {
  struct {
    uint8_t flags;
    std::string status, extended;
  } const table[] = {
      {0, "43##", "000043  "},
      {0x80, "\xf4\xf3##", "000043  "},
      {0x40, "43##", "\xf0\xf0\xf0\xf0\xf4\xf3\x40\x40"},
      {0x10, {"4\0003\0", 4}, "000043  "},
  };
  for (const auto& row : table) {
    GuardedArea status(4), extended(8);
    RecordFile file("data", QRT_ORGANIZATION_SEQUENTIAL, QRT_ACCESS_SEQUENTIAL, 10);
    file.noteUse();
    file.description.statusBase = &status.base;
    file.description.status2Base = &extended.base;
    file.description.status2Length = 8;
    file.description.statusFlags = row.flags;
    RecordProgram program("MAIN", {&file});
    used.clear();
    run(program, [&] {
      program.open(output);
      program.close();
      program.open(inputOutput);
      program.rewrite("x");
      EXPECT_EQ(verbSeen, QRT_VERB_REWRITE);
      EXPECT_EQ(status.text(), row.status);
      EXPECT_EQ(extended.text(), row.extended);
      file.own.statementFlags = QRT_STATEMENT_AT_END;
      program.read();
      program.close();
      EXPECT_EQ(extended.text(), (row.flags & 0x40) != 0 ? "\xf0\xf0\xf0\xf0\xf0\xf0\x40\x40" : "000000  ");
    });
    EXPECT_EQ(used, "x") << "one USE procedure, of I-O; AT END is the statement's own";
  }
}

}  // namespace
