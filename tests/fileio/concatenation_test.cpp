// Concatenations: lists of names, and files that are opened through them.

#include "generations.h"

using namespace qrt::test;

namespace {

struct Concatenations : InFolder {};

// The verdict on a name and what its list hands out, as "1: a b"; "0" for a single plain file.
std::string handedOut(const std::string& name, bool create = false) {
  int32_t verdict = 7;
  QrtConcatenation* const list = _qrt_Concat_Check(name.c_str(), &verdict, create ? 1 : 0, "PLTx");
  std::string text = std::to_string(verdict);
  if (list == nullptr) return text;
  EXPECT_STREQ(list->fileSystem, "PLT");
  text += ":";
  while (const char* const next = _qrt_Concat_Next(list)) text += std::string(" ") + next;
  EXPECT_EQ(_qrt_Concat_Next(list), nullptr);
  _qrt_Concat_Free(list);
  return text;
}

std::string repeated(const std::string& text, int times) {
  std::string all;
  while (times-- > 0) all += text;
  return all;
}

TEST_F(Concatenations, ListsHandOutTheirNames) {
  makeGroup("G", {1, 2, 3});
  makeGroup("EMPTY", {});
  const std::string group = " G.g0003v00 G.g0002v00 G.g0001v00";
  const int32_t before = liveBlocks();
  for (const auto& [name, handed] :
       rowsOf("a;b;c = 1: a b c | ;a;;b; = 1: a b | ;; = 1: | a = 0 | G = 1:" + group +
              " | G(*) = 1:" + group + " | a;G;EMPTY(*);b;G(*) = 1: a" + group + " b" + group +
              " | EMPTY = 1: | a;G(-1);G(7);G(+1) = 1: a G.g0002v00 G(7) G(+1) | G(0) = 0: G.g0003v00 | "
              "G(+1) = 0"))
    EXPECT_EQ(handedOut(name), handed) << name;
  EXPECT_EQ(handedOut(repeated("a;", 256)), "1:" + repeated(" a", 256));
  EXPECT_EQ(handedOut(repeated("a;", 257)), "1");
  EXPECT_EQ(handedOut("EMPTY(+1)", true), "0: EMPTY.g0001v00");
  EXPECT_EQ(liveBlocks(), before);
}

TEST_F(Concatenations, RefusalsTellTheirCode) {
  makeFile("a", "");
  makeGroup("NONE", {});
  // The second OPEN starts from the assignment again; the status of a failed member's open is the code.
  struct {
    std::string assigned;
    const char *statuses, *extended;
    uint16_t mode = input;
    uint8_t organization = QRT_ORGANIZATION_LINE_SEQUENTIAL, access = 0x80;
  } const table[] = {{"NONE", "3333", "000034,NONE"},
                     {";", "3333", "000034,;"},
                     {repeated("a;", 257), "3333", "000034,a;a;a;a;a;a;a;a;a"},
                     {"a;b", "3333", "000037,a", output},
                     {"a;b", "3333", "000037,a", input, QRT_ORGANIZATION_RELATIVE},
                     {"a;b", "3333", "000037,a", input, QRT_ORGANIZATION_SEQUENTIAL, 0x40},
                     {"a;x", "00-1", "000035,x"},
                     {"a;.", "00-1", "000037,."},
                     {"a;PLT-b", "00-1", "000039,b"},
                     {"a;krd-b", "00-1", "000039,b"}};
  for (const bool ebcdic : {false, true})
    for (const auto& row : table) {
      File file(row.assigned, 8, row.organization);
      file.description.accessMode = row.access;
      if (ebcdic) file.description.statusFlags = 0x40;
      FileProgram program("MAIN", {&file});
      run(program, [&] {
        std::string statuses = program.open(row.mode);
        statuses += statuses == "00" ? std::to_string(_qrtLineSeqNext(&file.own, program.entries.data()))
                                     : program.open(row.mode);
        EXPECT_EQ(statuses, row.statuses) << row.assigned;
        EXPECT_EQ(file.statusArea.text(), "33");
        std::string expected = row.extended;
        expected.resize(24, ' ');
        int32_t length = 24;
        if (ebcdic) qrtConvToEBCDIC(std::string(expected).data(), 24, expected.data(), &length);
        EXPECT_EQ(file.extendedArea.text(), expected) << row.assigned;
      });
    }
}

TEST_F(Concatenations, WritingMakesTheGeneration) {
  makeGroup("G", {1});
  makeFile("a", "a1\n");
  for (const char* const name : {"G.g0002v00", "G.g0003v00"}) {
    File file("G(+1)", 10);
    FileProgram program("WRITER", {&file});
    run(program, [&] {
      EXPECT_EQ(program.open(input), "35") << "reading makes none";
      EXPECT_EQ(program.open(output), "00");
      EXPECT_STREQ(file.own.fileName, name);
      program.write(name);
      EXPECT_EQ(program.close(), "00");
      EXPECT_STREQ(file.own.fileName, "G(+1)");
    });
    EXPECT_EQ(contentOf(name), std::string(name) + "\n");
  }
  // With each request for memory that fails in turn, it never becomes a file of another name.
  for (int32_t n = 1; canFailAllocations && n < 24; ++n) {
    File file(n % 2 != 0 ? "a;G" : "G(+1)", 8);
    FileProgram program("MAIN", {&file});
    run(program, [&] {
      const FailingAllocation failing(n / 2);
      const std::string status = program.open(n % 2 != 0 ? input : output);
      EXPECT_TRUE(status == "00" || status == "33" || status == "34" || status == "30") << n << status;
      if (status == "00") program.close();
    });
    EXPECT_FALSE(std::filesystem::exists("G(+1)"));
  }
}

}  // namespace
