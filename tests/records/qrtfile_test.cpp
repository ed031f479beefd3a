// qrtfile as its users run it: text and back for any bytes, faults found, exit codes.
#include <sys/wait.h>

#include "record_program.h"

using namespace qrt::test;

namespace {

struct QrtFile : InFolder {
  // Exit code of the program; its output goes to the file "out", its complaints to "err".
  static int qrtfile(const std::string& arguments) {
    const std::string command = QRT_BUILD_DIRECTORY "/bin/qrtfile " + arguments + " >out 2>err";
    return WEXITSTATUS(system(command.c_str()));
  }
};

TEST_F(QrtFile, TextAndBackKeepsEveryByte) {
  std::mt19937 random(41);
  for (const int organization : {QRT_ORGANIZATION_SEQUENTIAL, QRT_ORGANIZATION_RELATIVE})
    for (const bool variable : {false, true}) {
      RecordFile file("data", static_cast<uint8_t>(organization), QRT_ACCESS_SEQUENTIAL, 30);
      if (variable) file.makeVariable(0);
      RecordProgram program("MAIN", {&file});
      run(program, [&] {
        program.open(output);
        for (int count = 0; count < 500; ++count) {
          std::string record(variable ? random() % 31 : 30, ' ');
          for (char& byte : record)
            byte = random() % 2 != 0 ? static_cast<char>(random()) : "# \\\nx"[random() % 5];
          program.write(record);
        }
        program.close();
        program.open(inputOutput);
        for (int count = 0; count < 200; ++count) {
          program.read();
          if (organization == QRT_ORGANIZATION_RELATIVE && count % 3 == 0) program.remove();
        }
        program.close();
      });
      EXPECT_EQ(qrtfile("unload data text"), 0) << contentOf("err");
      EXPECT_EQ(qrtfile("load again text"), 0) << contentOf("err");
      EXPECT_EQ(qrtfile("unload again text2"), 0);
      EXPECT_TRUE(contentOf("text") == contentOf("text2"));
      // A deleted record leaves its bytes behind, so that only these files are the same.
      if (organization == QRT_ORGANIZATION_SEQUENTIAL) {
        EXPECT_TRUE(contentOf("data").substr(128) == contentOf("again").substr(128));
      }
      EXPECT_EQ(qrtfile("check again"), 0);
      EXPECT_EQ(qrtfile("load again < text"), 1) << "a file that is there is kept";
      EXPECT_EQ(qrtfile("load -r again < text"), 0);
      EXPECT_EQ(qrtfile("show again"), 0);
      EXPECT_NE(contentOf("out").find(organization == QRT_ORGANIZATION_RELATIVE ? "433" : "500"),
                std::string::npos);
      EXPECT_EQ(contentOf("err"), "");
      std::filesystem::remove("again");
    }
}

TEST_F(QrtFile, TellsWhatIsWrong) {
  struct {
    const char *arguments, *text;
    int code;
    const char* told;
  } const table[] = {
      {"", "", 2, "subcommand"},
      {"show", "", 2, "FILE"},
      {"--version", "", 0, "qrtfile "},
      {"show absent", "", 1, "absent: No such file"},
      {"unload text", "no record file", 1, "text: not a record file"},
      {"load new text", "abc\n", 1, "text:1: the heading"},
      {"load new text", "#qrtfile 2 sequential fixed 3 3\n", 1, "text:1: written by a later version"},
      {"load new text", "#qrtfile 1 indexed fixed 3 3\n", 1, "text:1: keys belong to"},
      {"load new text", "#qrtfile 1 sequential fixed 3 3\nabc\nab\n", 1, "text:3: a record of 2 bytes"},
      {"load new text", "#qrtfile 1 sequential variable 2 3\nabcd\n", 1,
       "text:2: new.loading: the record is too"},
      {"load new text", "#qrtfile 1 sequential fixed 1 1\n\\x0g\n", 1, "text:2: a \\x wants"},
      {"load new text", "#qrtfile 1 relative fixed 1 1\n1 a\n1 b\n", 1, "status 22"},
      {"load new text", "#qrtfile 1 relative fixed 1 1\na\n", 1, "text:2: a record number"},
  };
  for (const auto& row : table) {
    makeFile("text", row.text);
    EXPECT_EQ(qrtfile(row.arguments), row.code) << row.arguments;
    EXPECT_NE((contentOf("out") + contentOf("err")).find(row.told), std::string::npos)
        << row.arguments << contentOf("err");
    EXPECT_FALSE(std::filesystem::exists("new") || std::filesystem::exists("new.loading"));
  }
  makeFile("text", "#qrtfile 1 sequential fixed 3 3\nabc\n");
  ASSERT_EQ(qrtfile("load data text"), 0);
  std::ofstream("data", std::ios::app) << "ab";
  EXPECT_EQ(qrtfile("check data"), 1);
  EXPECT_EQ(contentOf("out"), "data: 2 bytes behind the last record; the next writer cuts them off\n");
}

}  // namespace
