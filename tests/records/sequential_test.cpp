// Sequential record files: the bytes on disk and concatenations; and OPEN with its statuses for both plain
// organizations.
#include <map>
#include <regex>

#include "fileio/generations.h"
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

// The kinds of files that are read through concatenations, with the letters of their file system.
const struct Kind {
  uint8_t organization;
  bool variable;
  const char* letters;
} kinds[] = {{QRT_ORGANIZATION_LINE_SEQUENTIAL, false, "NAT"},
             {QRT_ORGANIZATION_SEQUENTIAL, false, "PLT"},
             {QRT_ORGANIZATION_SEQUENTIAL, true, "PLT"}};

struct Member : RecordFile {
  Member(const std::string& name, const Kind& kind)
      : RecordFile(name, kind.organization, QRT_ACCESS_SEQUENTIAL, 2) {
    if (kind.variable) makeVariable(1);
    noteUse();
  }
};

// What a program sees of an assignment, "?" ahead of an OPTIONAL one: the status of OPEN, records, statuses
// of two READs at the end and of CLOSE, the USE procedures, and the extended status of a member's failure.
std::string readThrough(const std::string& assigned, const Kind& kind) {
  const bool optional = assigned[0] == '?';
  Member file(assigned.substr(optional), kind);
  if (optional) file.description.attributes |= QRT_FILE_OPTIONAL;
  used.clear();
  RecordProgram program("MAIN", {&file});
  std::string seen, extended;
  run(program, [&] {
    seen = program.open(input);
    std::string status;
    while ((status = program.read()) == "00") seen += " " + program.taken();
    EXPECT_EQ(verbSeen, QRT_VERB_READ);
    if (status == "33") extended = " " + file.extendedArea.text();
    seen += " " + status + program.read();
    seen += " " + program.close();
  });
  return seen + " " + used + extended.substr(0, extended.find(' ', 1));
}

TEST_F(Sequential, ReadsOnAcrossMembers) {
  // A member that can't be opened ends the reading, and the file is closed. %- for the file system.
  const auto rows = rowsOf(
      "a;b = 00 a1 a2 b1 1046 00 ii | %-;empty;a;;empty;%-b;empty; = 00 a1 a2 b1 1046 00 ii | "
      "a;G(*) = 00 a1 a2 g2 g1 g9 1046 00 ii | G = 00 g2 g1 g9 1046 00 ii | G(-1) = 00 g1 1046 00 ii | "
      "?x;a;y;b;z = 00 a1 a2 b1 1046 00 ii | ?x;y = 05 1046 00 ii | x;a = 35 4747 42 ifff | "
      "a;x;b = 00 a1 a2 3347 42 iff 000035,x | a;text;b = 00 a1 a2 3347 42 iff 000039,text");
  const std::map<std::string, Texts> members = {{"a", {"a1", "a2"}},    {"b", {"b1"}},
                                                {"empty", {}},          {"G.g9999v00", {"g9"}},
                                                {"G.g0001v00", {"g1"}}, {"G.g0002v00", {"g2"}}};
  makeGroup("G", {9999, 1, 2});
  makeFile("text", std::string(500, 'x'));
  for (const Kind& kind : kinds) {
    for (const auto& [name, records] : members) {
      Member file(name, kind);
      RecordProgram program("MAIN", {&file});
      run(program, [&] {
        EXPECT_EQ(program.open(output), "00");
        for (const std::string& record : records) program.write(record);
      });
    }
    readThrough("a;G;x", kind);  // what is kept for good
    const int32_t before = liveBlocks();
    for (const auto& [assigned, seen] : rows) {
      if (kind.organization == QRT_ORGANIZATION_LINE_SEQUENTIAL && assigned == "a;text;b") continue;
      EXPECT_EQ(readThrough(std::regex_replace(assigned, std::regex("%"), kind.letters), kind), seen)
          << assigned;
    }
    EXPECT_EQ(liveBlocks(), before) << "lists go with their CLOSE or their run unit";
  }
}

TEST_F(Files, OpenByModeAndPresence) {
  enum Kinds { all, records, lines };
  constexpr uint16_t both = QRT_OPEN_INPUT | QRT_OPEN_OUTPUT, noRewind = input | QRT_OPEN_NO_REWIND;
  // A file there holds "0"; what may be written writes "a". The last: statuses of two READs where the file is
  // open for them; and what another OPEN INPUT finds behind the CLOSE.
  struct {
    Kinds kinds;
    const char* name;
    uint16_t mode;
    const char *open, *extended, *read, *left;
    bool optional = false;
  } const table[] = {
      {all, "there", input, "00", "000000", "0010", "00 0"},
      {all, "there", extend, "00", "000000", "", "00 0a"},
      {all, "there", output, "00", "000000", "", "00 a"},
      {records, "there", inputOutput, "00", "000000", "0010", "00 0"},
      {lines, "there", inputOutput, "37", "000037", "", "00 0"},
      {records, "there", both, "37", "000037", "", "00 0"},
      {all, "there", noRewind, "07", "000000", "0010", "00 0"},
      {all, "absent", input, "35", "000035,absent", "", "35 "},
      {all, "absent", extend, "35", "000035,absent", "", "35 "},
      {all, "absent", output, "00", "000000", "", "00 a"},
      {all, "absent", input, "05", "000005", "1046", "05 ", true},
      {records, "absent", inputOutput, "05", "000005", "1046", "00 ", true},
      {lines, "absent", inputOutput, "05", "000005", "1046", "05 ", true},
      {all, "absent", extend, "05", "000005", "", "00 a", true},
      {all, "empty", input, "00", "000000", "1046", "00 "},
      {all, "empty", extend, "00", "000000", "", "00 a"},
      {all, ".", input, "37", "000021", "", "37 "},
      {records, "/dev/null", output, "37", "000021", "", "37 "},
      {all, "no/where", output, "30", "000002", "", "35 "},
      {records, "there/in", input, "30", "000003", "", "30 "},
      {records, "text", input, "39", "000039", "", "39 "},
      {records, "short", extend, "39", "000039", "", "39 "},
      {records, "future", input, "39", "000039", "", "39 "},
  };
  for (const int organization :
       {QRT_ORGANIZATION_SEQUENTIAL, 0x80, QRT_ORGANIZATION_RELATIVE, QRT_ORGANIZATION_LINE_SEQUENTIAL})
    for (const auto& row : table) {
      SCOPED_TRACE(testing::Message() << row.name << " " << row.mode << " organization " << organization);
      const bool isLines = organization == QRT_ORGANIZATION_LINE_SEQUENTIAL;
      if (row.kinds == (isLines ? records : lines)) continue;
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
        makeFile("short", header.substr(0, header.size() - 1));
        header[8] = 2;
        makeFile("future", header);
        EXPECT_EQ(program.open(row.mode, 1), row.open);
        if (!isLines) {
          EXPECT_EQ(file.extendedArea.text(), (row.extended + std::string(24, ' ')).substr(0, 24));
        }
        const bool open = file.own.openState != 0;
        EXPECT_EQ(open, *row.open == '0');
        if (*row.read != 0) {
          const std::string first = program.read(1);
          EXPECT_EQ(first + program.read(1), row.read);
        }
        if ((row.mode & (QRT_OPEN_CAN_WRITE | QRT_OPEN_IO)) == QRT_OPEN_CAN_WRITE && open) {
          EXPECT_EQ(program.write("abcdefghij", 1), "00");
        }
        EXPECT_EQ(program.close(0, 1), open ? "00" : "42");
        std::string left = program.open(input, 1) + " ";
        while (program.read(1) == "00") left += program.record(1)[0];
        EXPECT_EQ(left, row.left);
      });
      const auto files = std::distance(std::filesystem::directory_iterator("."), {});
      EXPECT_LE(files, 6) << "OPEN leaves nothing behind";
    }
}

}  // namespace
